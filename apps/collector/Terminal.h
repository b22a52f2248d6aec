#pragma once

#include <ostream>

#include "collector/Output.h"

namespace collector {

/// One line for a person per message; a quality record takes three.
class Terminal : public Output {
public:
    /// `stream` outlives this object.
    Terminal(std::ostream& stream, bool colours) : m_stream(stream), m_colours(colours) {}

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
    void WriteMore(const std::string& text);
    void ShowSamples(const Json::Value& record);

    std::ostream& m_stream;
    bool m_colours;
};

}  // namespace collector
