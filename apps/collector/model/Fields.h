#pragma once

#include <json/json.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

// What a message must hold for the collector to believe it. Members beyond these are let through, so that a
// newer broadcaster can say more.

namespace collector {

struct MalformedMessage : std::runtime_error {
    using std::runtime_error::runtime_error;
};

enum class Type { Text, Int32, UInt32, Int64, UInt64 };

/// A text of a host's may have so many bytes.
constexpr std::size_t kMostFieldBytes = 4096;

struct Field {
    const char* name;
    Type type;
    std::size_t mostBytes = kMostFieldBytes;  ///< of a text
};

using Fields = std::vector<Field>;

const Fields& HeartbeatFields();
const Fields& StateFields();
const Fields& LiveFields();
const Fields& MicFields();
const Fields& CommandFields();
const Fields& StreamFields();
const Fields& FirstFrameFields();
const Fields& QualityFields();
const Fields& StreamSampleFields();
const Fields& DeviceSampleFields();

// Each throws MalformedMessage with a reason for a person.
void RequireObject(const Json::Value& value, const std::string& what);
void RequireFields(const Json::Value& object, const Fields& fields);
void CheckPart(const Json::Value& body, const char* name, const Fields& fields);
void CheckSamples(const Json::Value& body, const char* name, const Fields& fields);

}  // namespace collector
