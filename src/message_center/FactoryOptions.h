#pragma once

#include <json/json.h>

#include <string>

#include "platform/MsgCenterOptions.h"

namespace Bas {

/// The object "options" of the factory's configuration.
struct FactoryOptions {
    QoPlayer::MsgCenterOptions center;
    std::string hostProcess;  ///< empty: the usual one
};

/// Reads "options" of `root`; where that is missing nothing is set. Raises ConfigProblem when a member has a
/// wrong type. Members that are not known are left out, each with a line of the log.
FactoryOptions ReadFactoryOptions(const Json::Value& root);

}  // namespace Bas
