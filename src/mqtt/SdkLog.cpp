#include "mqtt/SdkLog.h"

#include <atomic>

#include "platform/GuardedPass.h"
#include "platform/MsgCenter.h"

namespace QoPlayer {
namespace {

constexpr char kOrigin[] = "mqtt";

using Sink = void (*)(int level, const char* text1, const char* text2);
std::atomic<Sink> currentSink{nullptr};

const char* SeverityOf(LogLevel level) {
    switch (level) {
        case LogLevel::Warning:
            return "warning: ";
        case LogLevel::Error:
            return "error: ";
        default:
            return "info: ";
    }
}

}  // namespace

void SetLogPtr(Sink sink) {
    currentSink.store(sink);
}

namespace mqtt {

void SdkLog::write(LogLevel level, const std::string& line) const {
    const Sink sink = currentSink.load();
    if (!sink) return;
    const std::string name = m_name.empty() ? m_name : m_name + ": ";
    sink(static_cast<int>(level), kOrigin, (SeverityOf(level) + name + line).c_str());
}

void NoteDroppedSdkPass(const char* line) noexcept {
    CountDroppedPass();
    if (const Sink sink = currentSink.load()) sink(static_cast<int>(LogLevel::Error), kOrigin, line);
}

std::string Shortened(const std::string& text) {
    constexpr std::size_t kLongest = 200;
    return text.size() <= kLongest ? text : text.substr(0, kLongest) + "...";
}

}  // namespace mqtt
}  // namespace QoPlayer
