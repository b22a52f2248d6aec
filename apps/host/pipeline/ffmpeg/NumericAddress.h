#pragma once

#include <string>

namespace host {

/// The first address of a host, in numbers. Waits for the system's name look-up. Raises a PipelineError
/// (PublishFailed) when the host is unknown.
std::string NumericAddress(const std::string& host);

}  // namespace host
