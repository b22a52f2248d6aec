// Every request of the process: C++'s operator new asks here as well.
#include <cerrno>
#include <cstddef>

#include "ShortMemory.h"

extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);

void* malloc(std::size_t size) {
    if (!short_memory::RefusesThis()) return __libc_malloc(size);
    errno = ENOMEM;
    return nullptr;
}

void* calloc(std::size_t count, std::size_t size) {
    if (!short_memory::RefusesThis()) return __libc_calloc(count, size);
    errno = ENOMEM;
    return nullptr;
}

void* realloc(void* memory, std::size_t size) {
    if (!short_memory::RefusesThis()) return __libc_realloc(memory, size);
    errno = ENOMEM;
    return nullptr;
}
}
