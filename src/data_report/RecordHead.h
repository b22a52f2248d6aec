#pragma once

#include <cstdint>

namespace Json {
class Value;
}

namespace data_report {

/// What a record is, as the head's "type" tells the servers.
enum class RecordKind : std::int32_t { Stream = 1, Quality = 2, Host = 3, FirstFrame = 4 };

/// Writes "type" and "event" into `head`; raises what jsoncpp raises when that is neither null nor an object.
void WriteHead(Json::Value& head, RecordKind kind);

}  // namespace data_report
