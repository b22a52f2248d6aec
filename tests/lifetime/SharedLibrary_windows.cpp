#include <windows.h>

#include <cstdio>
#include <cstdlib>

#include "SharedLibrary.h"

namespace {

template <class Result>
Result OrExit(Result result) {
    if (result) return result;
    std::fprintf(stderr, "Windows error %lu\n", GetLastError());
    std::_Exit(2);
}

}  // namespace

SharedLibrary::SharedLibrary(const std::string& path) : m_handle(OrExit(LoadLibraryA(path.c_str()))) {}

SharedLibrary::Address SharedLibrary::address(const char* name) const {
    return reinterpret_cast<Address>(OrExit(GetProcAddress(static_cast<HMODULE>(m_handle), name)));
}

void SharedLibrary::free() {
    OrExit(FreeLibrary(static_cast<HMODULE>(m_handle)));
}

void EndProcess(int code) {
    ExitProcess(static_cast<UINT>(code));
}
