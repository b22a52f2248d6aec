#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "collector/Output.h"

namespace collector {

/// Passes the findings on to several outputs. One that cannot be written to any more is told about, once, and
/// left out from then on.
class Outputs : public Output {
public:
    /// `complaints` outlives this object.
    explicit Outputs(std::ostream& complaints) : m_complaints(complaints) {}

    /// `stream` is where `output` writes to; it outlives this object. `name` is for the complaint.
    void Add(std::unique_ptr<Output> output, std::ostream& stream, std::string name);

    bool AnyLeft() const { return !m_outputs.empty(); }
    bool AnyFailed() const { return m_failed; }

    void Show(const Received& received, const Message& message, const Outcome& outcome) override;
    void Show(std::int64_t wallMs, const Notice& notice) override;
    void Remark(std::int64_t wallMs, const std::string& text) override;
    void Summarise(std::int64_t wallMs, const Fleet& fleet) override;

private:
    struct Entry {
        std::unique_ptr<Output> output;
        std::ostream* stream;
        std::string name;
    };

    template <class Action>
    void ForEach(Action action);

    std::ostream& m_complaints;
    std::vector<Entry> m_outputs;
    bool m_failed = false;
};

}  // namespace collector
