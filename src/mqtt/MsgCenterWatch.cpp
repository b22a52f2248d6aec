#include "platform/MsgCenterWatch.h"

#include "mqtt/MsgCenterImpl.h"

namespace QoPlayer {

void MsgCenterWatch::setName(const std::string& name) {
    m_center.m_impl->state.log.setName(name);
}

void MsgCenterWatch::setListener(Listener listener, void* user) {
    m_center.m_impl->state.status.setListener(listener, user);
}

bool MsgCenterWatch::setOptions(const MsgCenterOptions& options) {
    m_center.m_impl->options = options;
    return true;
}

MsgCenterStatus MsgCenterWatch::status() const {
    return m_center.m_impl->state.status.get();
}

MsgCenterCounters MsgCenterWatch::counters() const {
    mqtt::CenterState& state = m_center.m_impl->state;
    MsgCenterCounters counters = state.outbox.counters(state.waiter->now());
    counters.notAcceptedUnconnected += state.sentUnconnected.load(std::memory_order_relaxed);
    counters.reconnects = state.reconnects.load(std::memory_order_relaxed);
    return counters;
}

bool MsgCenterWatch::renewAccessToken(const std::string& token, std::int64_t expireTime) {
    mqtt::CenterState& state = m_center.m_impl->state;
    const std::string problem = mqtt::TokenProblem(token);
    if (!problem.empty()) {
        state.log.write(LogLevel::Error, "the access token was not renewed: " + problem);
        return false;
    }
    if (!state.token.renew(token, expireTime)) {
        state.log.write(LogLevel::Warning, "the access token was not renewed: not started");
        return false;
    }
    state.log.write(LogLevel::Info, "a new access token");
    state.waiter->wake();
    return true;
}

}  // namespace QoPlayer
