#pragma once

#include <string>

#include "platform/Log.h"

namespace QoPlayer {
namespace mqtt {

/// Hands one line of the message center to the sink set with SetLogPtr; nothing without one. Any thread.
void SdkLog(LogLevel level, const std::string& line);

/// `text` as it may appear in a line: cut when it is very long.
std::string Shortened(const std::string& text);

}  // namespace mqtt
}  // namespace QoPlayer
