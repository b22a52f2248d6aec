#pragma once

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace apps {

/// What a person typed cannot be used; the text says what and why.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// One `--name`. With an empty `argument` it takes no value; otherwise `argument` is the value's name in the
/// help. `apply` may throw UsageError.
struct Option {
    std::string name;
    std::string argument;
    std::string help;
    std::function<void(const std::string& value)> apply;
};

/// The options that every program has, `--help` (or `-h`) and `--version`: each sets its flag.
std::vector<Option> UsualOptions(bool& help, bool& version);

/// What `--version` prints.
std::string VersionText(const std::string& program);

/// Long options, `--name value` or `--name=value`, and `-h` for `--help`.
class CommandLine {
public:
    CommandLine(std::string introduction, std::vector<Option> options, std::string epilogue = {});

    /// Applies every argument in order. Throws UsageError on the first that cannot be used.
    void Parse(const std::vector<std::string>& arguments) const;

    /// Fits into 80 columns, as far as the introduction and the epilogue do.
    std::string Help() const;

private:
    const Option& Find(const std::string& argument) const;

    std::string m_introduction;
    std::vector<Option> m_options;
    std::string m_epilogue;
};

/// `text` as a whole number from `least` to `most`. Throws UsageError naming `what`.
std::int64_t ParseWhole(const std::string& what, const std::string& text, std::int64_t least,
                        std::int64_t most);

/// `text` as seconds, whole or with a fraction, 0 to a year. Throws UsageError naming `what`.
double ParseSeconds(const std::string& what, const std::string& text);

/// The first line of a file that holds a secret, without its line break. Throws UsageError.
std::string ReadSecretFile(const std::string& path);

}  // namespace apps
