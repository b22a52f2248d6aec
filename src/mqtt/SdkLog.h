#pragma once

#include <string>

#include "platform/Log.h"

namespace QoPlayer {
namespace mqtt {

/// The lines of one center, for the sink set with SetLogPtr. Each begins with its severity, because who takes
/// the text alone must see it, and names the center: "warning: main: connection to a.example:8883 lost:
/// closed".
class SdkLog {
public:
    /// Later lines carry `name`; without one they name no center. To be called before any other thread
    /// writes.
    void setName(const std::string& name) { m_name = name; }

    /// Hands one line over; nothing without a sink. Any thread.
    void write(LogLevel level, const std::string& line) const;

private:
    std::string m_name;
};

/// Counts a dropped pass and hands `line` over, which is complete with its severity; asks for no memory.
void NoteDroppedSdkPass(const char* line) noexcept;

/// RunPass, with a line of the message center.
template <class Pass>
bool RunSdkPass(const char* line, const Pass& pass) noexcept {
    try {
        pass();
        return true;
    } catch (...) {
        NoteDroppedSdkPass(line);
        return false;
    }
}

/// `text` as it may appear in a line: cut when it is very long.
std::string Shortened(const std::string& text);

}  // namespace mqtt
}  // namespace QoPlayer
