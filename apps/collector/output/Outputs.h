#pragma once

#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "collector/output/Output.h"
#include "collector/output/Writer.h"

namespace collector {

/// Passes the findings on to several outputs, and waits for none: each has a writer of its own. What a slow
/// reader leaves no room for is dropped, counted and told in that output as soon as it reads again. One that
/// cannot be written to any more is told about, once, and left out from then on.
class Outputs : public Output {
public:
    /// What could not be written, in one line without its end.
    using Complain = std::function<void(const std::string&)>;
    using Make = std::function<std::unique_ptr<Output>(std::ostream&)>;

    explicit Outputs(Complain complain) : m_complain(std::move(complain)) {}

    /// What the output of `make` writes to its stream goes to `descriptor`, which outlives this object.
    /// `name` is for the complaint. At most `mostBytes` wait.
    void Add(const Make& make, int descriptor, std::string name, std::size_t mostBytes = 4U << 20U);

    /// Looks whether all can still be written to.
    bool AnyLeft();

    /// Waits until all is written, at most `patience`; complains of what never will be.
    void Finish(Millis patience);

    bool AnyFailed() const { return m_failed; }

    void Show(const Received& received, const Message& message, const Outcome& outcome) override;
    void Show(std::int64_t wallMs, const Notice& notice) override;
    void Remark(std::int64_t wallMs, const std::string& text) override;
    void Summarise(std::int64_t wallMs, const Fleet& fleet) override;

private:
    struct Entry {
        std::string name;
        std::unique_ptr<std::ostringstream> text;
        std::unique_ptr<Output> output;
        std::unique_ptr<Writer> writer;
        std::int64_t dropped = 0;  ///< since it was told last
    };
    using Action = std::function<void(Output&)>;

    void ForEach(std::int64_t wallMs, const Action& action);
    static void Say(Entry& entry, std::int64_t wallMs, const Action& action);
    static bool Write(Entry& entry, const Action& action);
    void DropFailed();

    const Complain m_complain;
    std::vector<Entry> m_outputs;
    bool m_failed = false;
};

}  // namespace collector
