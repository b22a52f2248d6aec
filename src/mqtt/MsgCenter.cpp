#include "platform/MsgCenter.h"

#include "mqtt/Center.h"
#include "platform/Kernel.h"
#include "platform/MsgCenterWatch.h"

namespace QoPlayer {

struct MsgCenter::Impl {
    mqtt::Center center;
};

MsgCenter::MsgCenter() : m_impl(new Impl) {}

MsgCenter::~MsgCenter() {
    // The network thread is gone then, with whatever it held.
    if (IsProcessEnding()) static_cast<void>(m_impl.release());
}

bool MsgCenter::start(const MsgCenterConfig& config) {
    return m_impl->center.start(config);
}

void MsgCenter::stop() {
    m_impl->center.stop();
}

MsgSender* MsgCenter::createSender(int cmd, MsgSenderCallback cb, void* user) {
    return m_impl->center.createSender(cmd, cb, user);
}

void MsgCenter::closeSender(int cmd) {
    m_impl->center.closeSender(cmd);
}

void MsgCenterWatch::setName(const std::string& name) {
    m_center.m_impl->center.setName(name);
}

bool MsgCenterWatch::renewAccessToken(const std::string& token, std::int64_t expireTime) {
    return m_center.m_impl->center.renewAccessToken(token, expireTime);
}

bool MsgCenterWatch::setOptions(const MsgCenterOptions& options) {
    m_center.m_impl->center.setOptions(options);
    return true;
}

void MsgCenterWatch::setListener(Listener listener, void* user) {
    m_center.m_impl->center.setListener(listener, user);
}

MsgCenterStatus MsgCenterWatch::status() const {
    return m_center.m_impl->center.status();
}

MsgCenterCounters MsgCenterWatch::counters() const {
    return m_center.m_impl->center.counters();
}

}  // namespace QoPlayer
