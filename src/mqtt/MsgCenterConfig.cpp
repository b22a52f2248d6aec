#include "platform/MsgCenter.h"

namespace QoPlayer {

MsgCenterConfig::MsgCenterConfig() = default;

MsgCenterConfig::~MsgCenterConfig() {
    delete[] addrs;
}

}  // namespace QoPlayer
