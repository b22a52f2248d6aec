#pragma once

#include <string>
#include <vector>

#include "collector/model/Fleet.h"
#include "collector/source/BrokerLink.h"

namespace collector {

struct Options {
    BrokerOptions broker;
    FleetRules rules;
    bool json = false;
    std::string recordFile;
    double seconds = 0;  ///< 0: until stopped
    bool summary = false;
    bool help = false;
    bool version = false;
};

/// Throws apps::UsageError.
Options ParseOptions(const std::vector<std::string>& arguments);

std::string HelpText();

}  // namespace collector
