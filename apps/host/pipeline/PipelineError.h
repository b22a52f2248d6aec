#pragma once

#include <stdexcept>
#include <string>

#include "host/pipeline/StreamFeed.h"

namespace host {

/// Ends a stream; the text is for the user to read.
class PipelineError : public std::runtime_error {
public:
    PipelineError(EndCode code, const std::string& reason) : std::runtime_error(reason), m_code(code) {}
    EndCode Code() const { return m_code; }

private:
    EndCode m_code;
};

}  // namespace host
