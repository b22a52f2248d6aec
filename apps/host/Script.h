#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace host {

enum class ParameterKind {
    Int32,
    Int64,
    OnOff,
    Word,  ///< one word, or several in double quotes
    Rest,  ///< everything up to the end of the line, as it stands
    Json,  ///< the same, and it is JSON; nothing stands for null
};

struct Parameter {
    std::string name;
    ParameterKind kind = ParameterKind::Word;
};

/// The values of an action's parameters. Asking for one by another kind than it was declared with is a
/// mistake of the program.
class Arguments {
public:
    void Add(std::int64_t number) { m_values.push_back({number, {}}); }
    void Add(std::string text) { m_values.push_back({0, std::move(text)}); }

    int Int(std::size_t index) const { return static_cast<int>(m_values.at(index).number); }
    std::int64_t Int64(std::size_t index) const { return m_values.at(index).number; }
    bool On(std::size_t index) const { return m_values.at(index).number != 0; }
    const std::string& Text(std::size_t index) const { return m_values.at(index).text; }

private:
    struct Value {
        std::int64_t number;
        std::string text;
    };
    std::vector<Value> m_values;
};

/// Something that a script can ask for.
struct Action {
    std::string name;
    std::vector<Parameter> parameters;
    std::string help;
    std::function<void(const Arguments&)> run;
};

using Actions = std::vector<Action>;

/// "live on|off", as the help shows it.
std::string Usage(const Action& action);

/// One line of a script, ready to run.
struct Step {
    double seconds = 0;
    std::string text;  ///< the action and its arguments as they were written
    std::function<void()> run;
};

/// Reads a script: one `<seconds> <action> <argument ...>` per line; empty lines and lines that begin with #
/// are skipped. The steps come in the order of their times, those of one time in the order of their lines.
/// Throws apps::UsageError naming `source`, the line and the reason.
std::vector<Step> ParseScript(const std::string& source, const std::string& text, const Actions& actions);

/// The text of a script file. Throws apps::UsageError.
std::string ReadScriptFile(const std::string& path);

}  // namespace host
