#include "heartbeat/PauseHandshake.h"

#include "platform/Kernel.h"

namespace live_heartbeat {
namespace {

std::uint64_t Working(std::uint64_t id) {
    return id << 1U;
}

std::uint64_t Paused(std::uint64_t id) {
    return Working(id) | 1U;
}

bool IsPaused(std::uint64_t current) {
    return (current & 1U) != 0;
}

}  // namespace

void PauseHandshake::threadStarted(std::uint64_t id) {
    ++m_threads;
    m_current = Working(id);
}

bool PauseHandshake::giveUpThread() {
    const bool inPause = IsPaused(m_current.exchange(kNone));
    if (inPause) --m_threads;
    return inPause;
}

bool PauseHandshake::waitUntilAllLeft(unsigned milliseconds) const {
    const unsigned long long deadline = GetTickCount64() + milliseconds;
    while (m_threads > 0) {
        if (GetTickCount64() >= deadline) return false;
        Sleep(1);
    }
    return true;
}

bool PauseHandshake::isCurrent(std::uint64_t id) const {
    return m_current == Working(id);
}

bool PauseHandshake::beginPause(std::uint64_t id) {
    std::uint64_t expected = Working(id);
    return m_current.compare_exchange_strong(expected, Paused(id));
}

bool PauseHandshake::endPause(std::uint64_t id) {
    std::uint64_t expected = Paused(id);
    return m_current.compare_exchange_strong(expected, Working(id));
}

void PauseHandshake::threadLeft() {
    --m_threads;
}

}  // namespace live_heartbeat
