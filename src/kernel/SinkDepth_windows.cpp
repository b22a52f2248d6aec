#include "kernel/SinkDepth.h"

#include <cstdint>

#include "platform/Kernel.h"

namespace {

// The compiler's own thread-local variables are allocated at the first use, and end the process where that
// fails.
struct Slot {
    Slot() : index(TlsAlloc()) {}
    ~Slot() { TlsFree(index); }
    Slot(const Slot&) = delete;
    Slot& operator=(const Slot&) = delete;

    const DWORD index;
};
const Slot slot;

std::uintptr_t Depth() {
    return reinterpret_cast<std::uintptr_t>(TlsGetValue(slot.index));
}

void SetDepth(std::uintptr_t value) {
    TlsSetValue(slot.index, reinterpret_cast<void*>(value));
}

}  // namespace

void EnterSink() {
    SetDepth(Depth() + 1);
}

void LeaveSink() {
    SetDepth(Depth() - 1);
}

bool IsInSink() {
    return Depth() > 0;
}
