#pragma once

#include "mqtt/CenterState.h"
#include "platform/MsgCenter.h"

namespace QoPlayer {

/// Sends through whatever sender `cmd` has on its center, which outlives this.
struct MsgSender::Impl {
    mqtt::CenterState& state;
    const int cmd;
};

}  // namespace QoPlayer
