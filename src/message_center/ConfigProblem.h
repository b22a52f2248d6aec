#pragma once

#include <stdexcept>
#include <string>

namespace Bas {

/// Raised for a configuration that cannot be used. What it says goes to the log, so it holds nothing that may
/// be secret: names, places and types, but no value.
class ConfigProblem : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Why and where `text`, which the JSON reader has refused, is not JSON.
std::string WhyNotJson(const std::string& text);

}  // namespace Bas
