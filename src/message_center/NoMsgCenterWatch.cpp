#include "platform/MsgCenterWatch.h"

// For a message-center library that has no watch.

namespace QoPlayer {

void MsgCenterWatch::setName(const std::string& /*name*/) {}

bool MsgCenterWatch::renewAccessToken(const std::string& /*token*/, std::int64_t /*expireTime*/) {
    return false;
}

bool MsgCenterWatch::setOptions(const MsgCenterOptions& /*options*/) {
    return false;
}

void MsgCenterWatch::setListener(Listener /*listener*/, void* /*user*/) {}

MsgCenterStatus MsgCenterWatch::status() const {
    return {};
}

MsgCenterCounters MsgCenterWatch::counters() const {
    return {};
}

}  // namespace QoPlayer
