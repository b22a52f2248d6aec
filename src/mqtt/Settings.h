#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/MsgCenter.h"
#include "platform/MsgCenterOptions.h"

namespace QoPlayer {
namespace mqtt {

struct ServerAddress {
    std::string host;  ///< name or literal address
    int port = 0;
};

enum class TlsUse { ExceptLoopback = 0, Always = 1, Never = 2 };

/// A MsgCenterConfig, read and checked.
struct Settings {
    std::vector<ServerAddress> addresses;
    std::string client;
    std::string userName;
    std::string token;
    std::int64_t tokenExpiry = 0;  ///< seconds since 1970; 0 = never
    std::string caFile;            ///< empty: the system's trust store
    MsgCenterOptions options;
    TlsUse tls = TlsUse::ExceptLoopback;
    int keepAliveSeconds = 0;
    std::int64_t longestPauseMs = 0;
};

/// What came of reading a configuration: settings, or the one reason why they cannot be used.
struct ReadSettingsResult {
    Settings settings;
    std::string problem;             ///< empty when the settings can be used
    std::vector<std::string> notes;  ///< what was skipped or adjusted
};

/// Reads and checks `config` and `options`. `randomClient` is the client name when the configuration has
/// none.
ReadSettingsResult ReadSettings(const MsgCenterConfig& config, const MsgCenterOptions& options,
                                const std::string& randomClient);

/// Why `token` cannot be offered to a server; empty when it can. Does not show it.
std::string TokenProblem(const std::string& token);

}  // namespace mqtt
}  // namespace QoPlayer
