#pragma once

#include <functional>
#include <ostream>
#include <string>

#include "collector/output/Output.h"

namespace collector {

/// Every message as a line for a person, or as many as it takes in the width that there is. A wide terminal
/// has a column for the broadcaster's name; else the name stands above what comes from another one than
/// before.
class Terminal : public Output {
public:
    using Width = std::function<std::size_t()>;

    /// `stream` outlives this object. `width` is asked for before each message.
    Terminal(std::ostream& stream, bool colours, Width width)
        : m_stream(stream), m_colours(colours), m_width(std::move(width)) {}

    void Show(const Received& received, const Message& message, const Outcome& outcome) override;
    void Show(std::int64_t wallMs, const Notice& notice) override;
    void Remark(std::int64_t wallMs, const std::string& text) override;
    void Summarise(std::int64_t wallMs, const Fleet& fleet) override;

private:
    enum class Colour { None, Dim, Bold, Red, Green, Yellow, Blue, Magenta, Cyan };

    static Colour ColourOf(Kind kind);
    std::string Paint(Colour colour, const std::string& text) const;
    void WriteLine(std::int64_t wallMs, const Source& source, Colour colour, const std::string& label,
                   const std::string& details);
    void WriteWrapped(const std::string& begin, std::size_t indent, Colour colour, const std::string& text);
    void WriteName(const std::string& client);
    void ShowSamples(const Json::Value& record);
    void SummariseBroadcaster(const Broadcaster& broadcaster);
    bool IsWide() const;

    std::ostream& m_stream;
    const bool m_colours;
    const Width m_width;
    std::string m_named;  ///< the broadcaster whose name was written last
};

}  // namespace collector
