#include "heartbeat/PauseHandshake.h"

#include "platform/Kernel.h"

namespace live_heartbeat {
namespace {

std::uint64_t working(std::uint64_t id) {
    return id << 1U;
}

std::uint64_t paused(std::uint64_t id) {
    return working(id) | 1U;
}

bool isPaused(std::uint64_t current) {
    return (current & 1U) != 0;
}

}  // namespace

void PauseHandshake::threadStarted(std::uint64_t id) {
    ++m_threads;
    m_current = working(id);
}

bool PauseHandshake::giveUpThread() {
    const bool inPause = isPaused(m_current.exchange(kNone));
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
    return m_current == working(id);
}

bool PauseHandshake::beginPause(std::uint64_t id) {
    std::uint64_t expected = working(id);
    return m_current.compare_exchange_strong(expected, paused(id));
}

bool PauseHandshake::endPause(std::uint64_t id) {
    std::uint64_t expected = paused(id);
    return m_current.compare_exchange_strong(expected, working(id));
}

void PauseHandshake::threadLeft() {
    --m_threads;
}

}  // namespace live_heartbeat
