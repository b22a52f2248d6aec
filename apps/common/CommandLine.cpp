#include "common/CommandLine.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fstream>
#include <sstream>
#include <utility>

#include "common/TextWidth.h"

namespace apps {
namespace {

constexpr std::size_t kHelpColumn = 26;
constexpr std::size_t kHelpWidth = 80;
constexpr double kSecondsPerYear = 366.0 * 86400.0;

std::string Label(const Option& option) {
    return option.argument.empty() ? "--" + option.name : "--" + option.name + " " + option.argument;
}

std::string HelpEntry(const Option& option) {
    const std::string label = "  " + Label(option);
    const std::string begin = label.size() + 2 > kHelpColumn ? label + "\n" + std::string(kHelpColumn, ' ')
                                                             : Padded(label, kHelpColumn);
    return begin + Paragraph(option.help, kHelpWidth - kHelpColumn, kHelpColumn) + "\n";
}

}  // namespace

std::vector<Option> UsualOptions(bool& help, bool& version) {
    return {{"help", "", "this text, also -h", [&help](const std::string&) { help = true; }},
            {"version", "", "the version", [&version](const std::string&) { version = true; }}};
}

std::string VersionText(const std::string& program) {
    return program + " (QoLiveReport) " + QOLIVE_VERSION + "\n";
}

CommandLine::CommandLine(std::string introduction, std::vector<Option> options, std::string epilogue)
    : m_introduction(std::move(introduction)),
      m_options(std::move(options)),
      m_epilogue(std::move(epilogue)) {}

const Option& CommandLine::Find(const std::string& argument) const {
    const std::string name = argument == "-h" ? "--help" : argument.substr(0, argument.find('='));
    const auto found = std::find_if(m_options.begin(), m_options.end(),
                                    [&](const Option& option) { return "--" + option.name == name; });
    if (found == m_options.end()) throw UsageError(name + " is not an option; --help lists them");
    return *found;
}

void CommandLine::Parse(const std::vector<std::string>& arguments) const {
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const Option& option = Find(arguments[i]);
        const std::size_t equals = arguments[i].find('=');
        const bool attached = equals != std::string::npos;
        if (option.argument.empty()) {
            if (attached) throw UsageError("--" + option.name + " takes no value");
            option.apply({});
        } else if (attached) {
            option.apply(arguments[i].substr(equals + 1));
        } else if (i + 1 < arguments.size()) {
            option.apply(arguments[++i]);
        } else {
            throw UsageError(Label(option) + ": the value is missing");
        }
    }
}

std::string CommandLine::Help() const {
    std::string text = m_introduction + "\nOptions:\n";
    for (const Option& option : m_options)
        text += HelpEntry(option);
    if (!m_epilogue.empty()) text += "\n" + m_epilogue;
    return text;
}

std::int64_t ParseWhole(const std::string& what, const std::string& text, std::int64_t least,
                        std::int64_t most) {
    std::int64_t value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || value < least || value > most)
        throw UsageError(what + " is not a whole number from " + std::to_string(least) + " to " +
                         std::to_string(most) + ": " + text);
    return value;
}

double ParseSeconds(const std::string& what, const std::string& text) {
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    double value = -1;
    if (!(stream >> value) || !stream.eof() || !std::isfinite(value) || value < 0 || value > kSecondsPerYear)
        throw UsageError(what + " is not a number of seconds: " + text);
    return value;
}

std::string ReadSecretFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string line;
    if (!file || !std::getline(file, line)) throw UsageError("no secret can be read from the file " + path);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return line;
}

}  // namespace apps
