#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

#include "SharedLibrary.h"

namespace {

template <class Result>
Result OrExit(Result result) {
    if (result) return result;
    std::fprintf(stderr, "%s\n", dlerror());
    std::_Exit(2);
}

}  // namespace

SharedLibrary::SharedLibrary(const std::string& path) : m_handle(OrExit(dlopen(path.c_str(), RTLD_NOW))) {}

SharedLibrary::Address SharedLibrary::address(const char* name) const {
    return reinterpret_cast<Address>(OrExit(dlsym(m_handle, name)));
}

void SharedLibrary::free() {
    if (dlclose(m_handle) != 0) OrExit<void*>(nullptr);
}

void EndProcess(int code) {
    std::exit(code);
}
