#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "collector/model/Fleet.h"
#include "collector/source/Received.h"

namespace collector {

/// Where the collector's findings go.
class Output {
public:
    Output() = default;
    virtual ~Output() = default;
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    virtual void Show(const Received& received, const Message& message, const Outcome& outcome) = 0;
    virtual void Show(std::int64_t wallMs, const Notice& notice) = 0;

    /// A remark of the collector about itself.
    virtual void Remark(std::int64_t wallMs, const std::string& text) = 0;

    virtual void Summarise(std::int64_t wallMs, const Fleet& fleet) = 0;
};

/// `connection` of `broadcaster` carries what only a main connection carries, or another one does, or neither
/// is known: "main", "backup" or "".
const char* Role(const Broadcaster& broadcaster, const Connection& connection);

const char* Name(Link link);

/// "1.5 s".
std::string Seconds(Millis duration);

/// The numbers that a record's samples hold under `key`, oldest first.
std::vector<std::int64_t> Samples(const Json::Value& record, const char* list, const char* key);

}  // namespace collector
