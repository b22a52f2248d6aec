#include "mqtt/StatusBoard.h"

#include <chrono>
#include <exception>
#include <utility>

namespace QoPlayer {
namespace mqtt {
namespace {

std::int64_t NowMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

}  // namespace

StatusBoard::StatusBoard() {
    m_status.state = MsgCenterState::Stopped;
    m_status.reason = "not started";
    m_status.sinceMs = NowMs();
}

void StatusBoard::setListener(MsgCenterWatch::Listener listener, void* user) {
    m_listener = listener;
    m_user = user;
}

void StatusBoard::set(MsgCenterState state, const std::string& reason) noexcept {
    note(state, reason);
    {
        const qolive::MutexLock lock(m_mutex);
        if (!std::exchange(m_untold, false)) return;
    }
    if (m_listener) m_listener(m_user, state, reason.c_str());
}

void StatusBoard::note(MsgCenterState state, const std::string& reason) noexcept {
    const qolive::MutexLock lock(m_mutex);
    if (m_status.state == state && m_status.reason == reason) return;
    if (m_status.state != state) m_status.sinceMs = NowMs();
    m_status.state = state;
    try {
        m_status.reason = reason;
    } catch (const std::exception&) {
        m_status.reason.clear();
    }
    m_untold = true;
}

MsgCenterStatus StatusBoard::get() const {
    const qolive::MutexLock lock(m_mutex);
    return m_status;
}

MsgCenterState StatusBoard::state() const {
    const qolive::MutexLock lock(m_mutex);
    return m_status.state;
}

}  // namespace mqtt
}  // namespace QoPlayer
