// glibc's resolver (2.36) does not outlive a lack of memory at its first look-up: an access through null in
// nss_database_check_reload_and_get. Nothing that calls it can help that, so it always gets what it asks for.
#include <dlfcn.h>
#include <netdb.h>

#include "ShortMemory.h"

extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* hints, addrinfo** found) {
    using LookUp = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
    static const auto lookUp = reinterpret_cast<LookUp>(dlsym(RTLD_NEXT, "getaddrinfo"));
    const short_memory::SystemCall inside;
    return lookUp(name, service, hints, found);
}
