#pragma once

#include <string>

/// A shared library loaded by hand, as a host does that finds it at run time. Exits the process with code 2
/// when it cannot be loaded or lacks a function.
class SharedLibrary {
public:
    explicit SharedLibrary(const std::string& path);

    template <class Function>
    Function* find(const char* name) const {
        return reinterpret_cast<Function*>(address(name));
    }

    /// Hands the library back to the system; nothing of it may be called any more.
    void free();

private:
    using Address = void (*)();
    Address address(const char* name) const;

    void* m_handle;
};

/// Ends the process in the system's own way, on any thread: static destructors run where the system runs them
/// then.
[[noreturn]] void EndProcess(int code);
