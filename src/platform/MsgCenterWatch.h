#pragma once

#include <string>

#include "platform/MsgCenter.h"
#include "platform/MsgCenterOptions.h"

namespace QoPlayer {

/// What a message center tells of itself and takes while it runs, beside the calls of MsgCenter. Made where it is
/// needed; it must not outlive the center. With a message-center library that has none of this, every operation does
/// nothing.
class MsgCenterWatch {
public:
    explicit MsgCenterWatch(MsgCenter& center) : m_center(center) {}

    /// What the center is called in its log lines. To be called before it is used otherwise.
    void setName(const std::string& name);

    /// What the next starts of the center go by; they fail when it cannot be used. False when the message-center
    /// library has no such options. Not while a start or stop of the center runs.
    bool setOptions(const MsgCenterOptions& options);

private:
    MsgCenter& m_center;
};

}  // namespace QoPlayer
