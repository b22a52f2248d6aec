#include "platform/mqtt/SdkLog.h"

#include <atomic>

#include "platform/MsgCenter.h"

namespace QoPlayer {
namespace {

using Sink = void (*)(int level, const char* text1, const char* text2);
std::atomic<Sink> currentSink{nullptr};

}  // namespace

void SetLogPtr(Sink sink) {
    currentSink.store(sink);
}

namespace mqtt {

void SdkLog(LogLevel level, const std::string& line) {
    if (const Sink sink = currentSink.load()) sink(static_cast<int>(level), "mqtt", line.c_str());
}

std::string Shortened(const std::string& text) {
    constexpr std::size_t kLongest = 200;
    return text.size() <= kLongest ? text : text.substr(0, kLongest) + "...";
}

}  // namespace mqtt
}  // namespace QoPlayer
