#include "host/pipeline/StreamSettings.h"

namespace host {

namespace {

std::string OutOfRange(const char* name, int value, int lowest, int highest) {
    if (value >= lowest && value <= highest) return {};
    return std::string(name) + " " + std::to_string(value) + " is not within " + std::to_string(lowest) +
           " to " + std::to_string(highest);
}

std::string Odd(const char* name, int value) {
    return value % 2 == 0 ? std::string() : std::string(name) + " " + std::to_string(value) + " is not even";
}

}  // namespace

std::string WhyUnusable(const StreamSettings& settings) {
    const std::string faults[] = {
        OutOfRange("width", settings.width, 16, 3840),
        OutOfRange("height", settings.height, 16, 2160),
        Odd("width", settings.width),
        Odd("height", settings.height),
        OutOfRange("frame rate", settings.fps, 1, 120),
        OutOfRange("video bitrate (kbps)", settings.videoKbps, 16, 100000),
        OutOfRange("audio bitrate (kbps)", settings.audioKbps, 16, 320),
        OutOfRange("load (percent)", settings.loadPercent, 0, 10000),
    };
    for (const std::string& fault : faults) {
        if (!fault.empty()) return fault;
    }
    return {};
}

StreamFacts FactsOf(const StreamSettings& settings) {
    StreamFacts facts;
    facts.url = settings.publishUrl;
    facts.width = settings.width;
    facts.height = settings.height;
    facts.fps = settings.fps;
    facts.videoKbps = settings.videoKbps;
    facts.audioKbps = settings.audioKbps;
    return facts;
}

}  // namespace host
