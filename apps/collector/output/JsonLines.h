#pragma once

#include <ostream>

#include "collector/output/Output.h"

namespace collector {

/// One JSON object per line: every message ("kind" says which) with head and body as they came, every notice
/// and, at the end, the summary.
class JsonLines : public Output {
public:
    /// `stream` outlives this object.
    explicit JsonLines(std::ostream& stream) : m_stream(stream) {}

    void Show(const Received& received, const Message& message, const Outcome& outcome) override;
    void Show(std::int64_t wallMs, const Notice& notice) override;
    void Remark(std::int64_t wallMs, const std::string& text) override;
    void Summarise(std::int64_t wallMs, const Fleet& fleet) override;

private:
    void Write(const Json::Value& line);

    std::ostream& m_stream;
};

/// "2026-01-31T12:34:56.789Z".
std::string UtcTime(std::int64_t wallMs);

}  // namespace collector
