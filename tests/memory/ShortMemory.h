#pragma once

#include <cstddef>

// Refuses memory to the library at a chosen place: a point is a call stack that asks for memory, told apart
// by a number that is the same in every process of the same build. Only what the library asks for counts:
// everything on its own threads, and on host threads what happens inside LibraryCall.
namespace short_memory {

enum class Extent {
    Once,  ///< the point's first request
    All,   ///< every request on every thread for a tenth of a second, beginning with it
};

/// Marks this thread as the host's for as long as it lives.
void BeHostThread();

class LibraryCall {
public:
    LibraryCall();
    ~LibraryCall();
    LibraryCall(const LibraryCall&) = delete;
    LibraryCall& operator=(const LibraryCall&) = delete;
};

/// What the system asks for on its own account, on any thread, is not the library's.
class SystemCall {
public:
    SystemCall();
    ~SystemCall();
    SystemCall(const SystemCall&) = delete;
    SystemCall& operator=(const SystemCall&) = delete;
};

/// From now on; once in a process.
void RefuseAt(unsigned long long point, Extent extent);

/// From now on until the process ends: every point that is met goes to the file, one number a line.
void RecordPoints(const char* file);

/// The point has been met. Memory may still be short.
bool HasRefused();

/// The point has been met, and memory is to be had again.
bool IsOver();

/// For those who hand out memory: whether this request is to be refused.
bool RefusesThis() noexcept;

}  // namespace short_memory
