#include "collector/output/Output.h"

#include <algorithm>
#include <cstdio>

namespace collector {
namespace {

bool CarriesMainTraffic(const Connection& connection) {
    return connection.counters.commands > 0 || connection.counters.streamMessages > 0;
}

}  // namespace

const char* Role(const Broadcaster& broadcaster, const Connection& connection) {
    if (CarriesMainTraffic(connection)) return "main";
    const bool mainIsKnown = std::any_of(broadcaster.connections.begin(), broadcaster.connections.end(),
                                         [](const auto& entry) { return CarriesMainTraffic(entry.second); });
    return mainIsKnown ? "backup" : "";
}

const char* Name(Link link) {
    switch (link) {
        case Link::Up:
            return "up";
        case Link::Silent:
            return "silent";
        case Link::Gone:
            return "gone";
    }
    return "";
}

std::vector<std::int64_t> Samples(const Json::Value& record, const char* list, const char* key) {
    std::vector<std::int64_t> values;
    const Json::Value samples = record.get(list, Json::Value(Json::arrayValue));
    values.reserve(samples.size());
    for (const Json::Value& sample : samples)
        values.push_back(sample[key].asInt64());
    return values;
}

std::string Seconds(Millis duration) {
    char text[40];
    std::snprintf(text, sizeof text, "%.1f s", static_cast<double>(duration) / 1000.0);
    return text;
}

}  // namespace collector
