#include "host/Script.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <sstream>
#include <utility>

#include "common/CommandLine.h"
#include "common/Json.h"
#include "common/Printable.h"

namespace host {
namespace {

using apps::UsageError;

constexpr std::size_t kMostScriptBytes = 1U << 20U;
constexpr std::size_t kMostQuotedBytes = 60;

std::string Quoted(const std::string& text) {
    return "\"" + apps::Printable(text, kMostQuotedBytes) + "\"";
}

/// What is left of a line.
class Line {
public:
    explicit Line(std::string text) : m_rest(std::move(text)) { SkipBlanks(); }

    bool IsEmpty() const { return m_rest.empty(); }
    const std::string& Rest() const { return m_rest; }

    std::string TakeWord() {
        std::string word = m_rest.empty() || m_rest.front() != '"' ? TakePlain() : TakeQuoted();
        SkipBlanks();
        return word;
    }

    std::string TakeRest() { return std::exchange(m_rest, {}); }

private:
    static bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

    std::string TakePlain() {
        const auto end = std::find_if(m_rest.begin(), m_rest.end(), IsBlank);
        std::string word(m_rest.begin(), end);
        m_rest.erase(m_rest.begin(), end);
        return word;
    }

    std::string TakeQuoted() {
        const std::size_t end = m_rest.find('"', 1);
        if (end == std::string::npos) throw UsageError("the closing quote is missing");
        std::string word = m_rest.substr(1, end - 1);
        m_rest.erase(0, end + 1);
        if (!m_rest.empty() && !IsBlank(m_rest.front())) throw UsageError("a blank is missing after a quote");
        return word;
    }

    void SkipBlanks() {
        m_rest.erase(m_rest.begin(), std::find_if_not(m_rest.begin(), m_rest.end(), IsBlank));
        while (!m_rest.empty() && IsBlank(m_rest.back()))
            m_rest.pop_back();
    }

    std::string m_rest;
};

std::int64_t ParseOnOff(const std::string& word) {
    if (word == "on") return 1;
    if (word == "off") return 0;
    throw UsageError(Quoted(word) + " is neither on nor off");
}

template <class Integer>
std::int64_t ParseInteger(const std::string& name, const std::string& word) {
    using Limits = std::numeric_limits<Integer>;
    return apps::ParseWhole(name, apps::Printable(word, kMostQuotedBytes), Limits::min(), Limits::max());
}

std::string CheckedJson(const std::string& name, const std::string& text) {
    try {
        if (text.empty() || apps::ReadJson(text)) return text;
    } catch (const Json::Exception&) {
        throw UsageError(name + " nests too deep");
    }
    throw UsageError(name + " is not JSON: " + Quoted(text));
}

bool MayBeEmpty(ParameterKind kind) {
    return kind == ParameterKind::Rest || kind == ParameterKind::Json;
}

void AddArgument(Arguments& arguments, const Parameter& parameter, Line& line) {
    switch (parameter.kind) {
        case ParameterKind::Int32:
            return arguments.Add(ParseInteger<std::int32_t>(parameter.name, line.TakeWord()));
        case ParameterKind::Int64:
            return arguments.Add(ParseInteger<std::int64_t>(parameter.name, line.TakeWord()));
        case ParameterKind::OnOff:
            return arguments.Add(ParseOnOff(line.TakeWord()));
        case ParameterKind::Word:
            return arguments.Add(line.TakeWord());
        case ParameterKind::Rest:
            return arguments.Add(line.TakeRest());
        case ParameterKind::Json:
            return arguments.Add(CheckedJson(parameter.name, line.TakeRest()));
    }
}

const Action& Find(const Actions& actions, const std::string& name) {
    const auto found = std::find_if(actions.begin(), actions.end(),
                                    [&](const Action& action) { return action.name == name; });
    if (found == actions.end())
        throw UsageError("there is no action " + Quoted(name) + "; --help lists them");
    return *found;
}

Arguments ParseArguments(const Action& action, Line& line) {
    Arguments arguments;
    for (const Parameter& parameter : action.parameters) {
        if (line.IsEmpty() && !MayBeEmpty(parameter.kind))
            throw UsageError(parameter.name + " is missing: " + Usage(action));
        AddArgument(arguments, parameter, line);
    }
    if (!line.IsEmpty()) throw UsageError(Quoted(line.Rest()) + " is too much: " + Usage(action));
    return arguments;
}

Step ParseLine(const std::string& text, const Actions& actions) {
    Line line(text);
    Step step;
    const std::string seconds = line.TakeWord();
    step.seconds = apps::ParseSeconds("the line does not begin with a time: it",
                                      apps::Printable(seconds, kMostQuotedBytes));
    if (line.IsEmpty()) throw UsageError("the action is missing");
    step.text = line.Rest();
    const Action& action = Find(actions, line.TakeWord());
    step.run = [run = action.run, arguments = ParseArguments(action, line)] { run(arguments); };
    return step;
}

std::string Show(const Parameter& parameter) {
    return parameter.kind == ParameterKind::OnOff ? "on|off" : parameter.name;
}

}  // namespace

std::string Usage(const Action& action) {
    std::string usage = action.name;
    for (const Parameter& parameter : action.parameters)
        usage += " " + Show(parameter);
    return usage;
}

std::vector<Step> ParseScript(const std::string& source, const std::string& text, const Actions& actions) {
    std::vector<Step> steps;
    std::istringstream lines(text);
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        const Line content(line);
        if (content.IsEmpty() || content.Rest().front() == '#') continue;
        try {
            steps.push_back(ParseLine(line, actions));
        } catch (const UsageError& error) {
            throw UsageError(source + ":" + std::to_string(number) + ": " + error.what());
        }
    }
    std::stable_sort(steps.begin(), steps.end(),
                     [](const Step& a, const Step& b) { return a.seconds < b.seconds; });
    return steps;
}

std::string ReadScriptFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text(kMostScriptBytes + 1, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.gcount()));
    if (!file.eof() && text.empty()) throw UsageError("cannot read the script " + path);
    if (text.size() > kMostScriptBytes) throw UsageError("the script is larger than 1 MiB: " + path);
    return text;
}

}  // namespace host
