#include "mqtt/Settings.h"

#include <algorithm>
#include <cstddef>

#include "mqtt/SdkLog.h"
#include "network/Host.h"

namespace QoPlayer {
namespace mqtt {
namespace {

constexpr std::size_t kLongestClient = 128;
constexpr std::size_t kLongestToken = 65535;
constexpr std::size_t kLongestAlpn = 255;         // RFC 7301, 3.1
constexpr std::size_t kLongestProxySecret = 255;  // RFC 1929, 2
constexpr int kUsualKeepAlive = 15;
constexpr int kShortestKeepAlive = 5;  // the client library takes no shorter one
constexpr int kLongestKeepAlive = 65535;
constexpr std::int64_t kUsualPauseMs = 30'000;
constexpr std::int64_t kShortestPauseMs = 500;
constexpr std::int64_t kLongestPauseMs = std::int64_t{24} * 3600 * 1000;

bool IsClientByte(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
}

bool IsClientName(const std::string& name) {
    return name.size() <= kLongestClient && std::all_of(name.begin(), name.end(), IsClientByte);
}

bool IsHostByte(char c) {
    return c > ' ' && c < '\x7f';
}

bool IsUsable(const std::string& host, int port) {
    return port >= 1 && port <= 65535 && qolive::IsPossibleHost(host) && host != "0.0.0.0" && host != "::" &&
           std::all_of(host.begin(), host.end(), IsHostByte);
}

void ReadAddresses(const MsgCenterConfig& config, ReadSettingsResult& result) {
    const std::uint32_t count = config.addrs ? config.addrCount : 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        const MsgCenterAddr& address = config.addrs[i];
        if (IsUsable(address.ip, address.port))
            result.settings.addresses.push_back({address.ip, address.port});
        else
            result.notes.push_back("unusable server address skipped: " + Shortened(address.ip) + ":" +
                                   std::to_string(address.port));
    }
}

template <class Number>
Number Within(Number value, Number usual, Number least, Number most, const char* what,
              ReadSettingsResult& result) {
    if (value == 0) return usual;
    const Number used = std::clamp(value, least, most);
    if (used != value)
        result.notes.push_back(std::string(what) + " " + std::to_string(value) + " taken as " +
                               std::to_string(used));
    return used;
}

bool HoldsZeroByte(const std::string& text) {
    return text.find('\0') != std::string::npos;
}

std::string ProblemOf(const MsgCenterOptions& options) {
    if (HoldsZeroByte(options.clientCertificate) || HoldsZeroByte(options.clientKey))
        return "the file name of the client certificate or of its key holds a zero byte";
    if (options.clientCertificate.empty() && !options.clientKey.empty())
        return "there is a client key, but no client certificate";
    if (options.alpn.size() > kLongestAlpn) return "the ALPN protocol is longer than 255 bytes";
    if (options.proxyHost.empty()) {
        const bool lost =
            options.proxyPort != 0 || !options.proxyUser.empty() || !options.proxyPassword.empty();
        return lost ? "the SOCKS5 proxy has no host" : "";
    }
    if (!IsUsable(options.proxyHost, options.proxyPort))
        return "unusable SOCKS5 proxy: " + Shortened(options.proxyHost) + ":" +
               std::to_string(options.proxyPort);
    if (options.proxyUser.size() > kLongestProxySecret ||
        options.proxyPassword.size() > kLongestProxySecret || HoldsZeroByte(options.proxyUser) ||
        HoldsZeroByte(options.proxyPassword))
        return "the user name or password of the SOCKS5 proxy is longer than 255 bytes or holds a zero byte";
    return {};
}

std::string ProblemOf(const MsgCenterConfig& config, const Settings& settings) {
    if (!IsClientName(config.textValue1))
        return "the client name may hold up to 128 letters, digits, '_' and '-' only";
    if (config.intValue2 < 0 || config.intValue2 > 2)
        return "unknown TLS mode " + std::to_string(config.intValue2);
    if (std::string problem = TokenProblem(config.accessToken); !problem.empty()) return problem;
    if (HoldsZeroByte(config.textValue2)) return "the CA file name holds a zero byte";
    if (settings.addresses.empty()) return "no usable server address";
    return ProblemOf(settings.options);
}

}  // namespace

ReadSettingsResult ReadSettings(const MsgCenterConfig& config, const MsgCenterOptions& options,
                                const std::string& randomClient) {
    ReadSettingsResult result;
    Settings& settings = result.settings;
    settings.options = options;
    ReadAddresses(config, result);
    result.problem = ProblemOf(config, settings);
    if (!result.problem.empty()) return result;

    settings.client = config.textValue1.empty() ? randomClient : config.textValue1;
    settings.userName = config.int64Value2 ? std::to_string(config.int64Value2) : settings.client;
    settings.token = config.accessToken;
    settings.tokenExpiry = config.expireTime;
    settings.caFile = config.textValue2;
    settings.tls = static_cast<TlsUse>(config.intValue2);
    settings.keepAliveSeconds = Within(config.intValue1, kUsualKeepAlive, kShortestKeepAlive,
                                       kLongestKeepAlive, "keep-alive", result);
    settings.longestPauseMs =
        Within(config.int64Value1, kUsualPauseMs, kShortestPauseMs, kLongestPauseMs, "longest pause", result);
    return result;
}

std::string TokenProblem(const std::string& token) {
    if (token.size() > kLongestToken || HoldsZeroByte(token))
        return "the access token is longer than 65535 bytes or holds a zero byte";
    return {};
}

}  // namespace mqtt
}  // namespace QoPlayer
