#include "platform/MsgCenterWatch.h"

// For a message-center library that has no watch.

namespace QoPlayer {

void MsgCenterWatch::setName(const std::string& /*name*/) {}

bool MsgCenterWatch::setOptions(const MsgCenterOptions& /*options*/) {
    return false;
}

}  // namespace QoPlayer
