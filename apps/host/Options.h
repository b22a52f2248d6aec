#pragma once

#include <string>
#include <vector>

#include <qolive_report/message_center/HeartBaseConfig.h>
#include "host/Broadcast.h"
#include "host/Script.h"

namespace host {

struct Options {
    std::string configFile;                           ///< used instead of the two lists
    std::vector<std::string> main{"127.0.0.1:1883"};  ///< HOST:PORT each
    std::vector<std::string> backup;                  ///< empty: the main servers
    std::string token;                                ///< secret
    std::int64_t tokenExpires = 0;                    ///< seconds since 1970-01-01 UTC; 0 = never
    Bas::HeartBaseConfig base;
    bool tlsChosen = false;
    double duration = -1;  ///< seconds; below 0: until a while after the script's last step
    std::string scriptFile;
    std::string logFile;
    BroadcastOptions broadcast;
    bool quiet = false;
    bool help = false;
    bool version = false;
};

/// Throws apps::UsageError.
Options ParseOptions(const std::vector<std::string>& arguments);

std::string HelpText(const Actions& actions);

/// The text that CMsgCenterFactory::Start takes. Throws apps::UsageError when the configuration file cannot
/// be used. The text holds the token.
std::string FactoryConfig(const Options& options);

}  // namespace host
