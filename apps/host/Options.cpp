#include "host/Options.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <limits>
#include <optional>
#include <sstream>

#include "common/CommandLine.h"
#include "common/Json.h"
#include "host/Catalogue.h"

namespace host {
namespace {

using apps::UsageError;

const char kIntroduction[] =
    "usage: QoLive [OPTION ...]\n"
    "\n"
    "Behaves as a broadcaster's program does: loads the reporting library, connects\n"
    "to MQTT 5 brokers, reports a heartbeat and follows a script of what happens in\n"
    "the show. Ctrl-C ends it in good order.\n";

constexpr auto kMost32 = std::numeric_limits<std::int32_t>::max();
constexpr auto kMost64 = std::numeric_limits<std::int64_t>::max();

void CheckAddress(const std::string& name, const std::string& address) {
    const std::size_t colon = address.find(':');
    if (colon == 0 || colon == std::string::npos)
        throw UsageError(name + " is not HOST:PORT[,HOST:PORT...]: " + address);
    apps::ParseWhole("a port in " + name, address.substr(colon + 1), 1, 65535);
}

// The library splits an address at its first colon, so it takes IPv6 literals as Windows writes them in names
// of shares: [2001:db8::1]:8883 becomes 2001-db8--1.ipv6-literal.net:8883.
std::string WithoutColons(const std::string& name, const std::string& address) {
    const auto end = address.find("]:");
    const std::string literal = address.substr(1, end == std::string::npos ? end : end - 1);
    const bool plausible = literal.find(':') != std::string::npos &&
                           literal.find_first_not_of("0123456789abcdefABCDEF:.%") == std::string::npos;
    if (end == std::string::npos || !plausible)
        throw UsageError(name +
                         " has an IPv6 address that is not of the form [2001:db8::1]:8883: " + address);
    std::string host = literal;
    std::replace(host.begin(), host.end(), ':', '-');
    std::replace(host.begin(), host.end(), '%', 's');
    return host + ".ipv6-literal.net" + address.substr(end + 1);
}

std::vector<std::string> ParseAddresses(const std::string& name, const std::string& text) {
    std::vector<std::string> addresses;
    std::istringstream list(text);
    for (std::string address; std::getline(list, address, ',');) {
        if (address.rfind('[', 0) == 0) address = WithoutColons(name, address);
        CheckAddress(name, address);
        addresses.push_back(address);
    }
    if (addresses.empty()) throw UsageError(name + " names no address");
    return addresses;
}

constexpr int kTlsButToLoopback = 0;
constexpr int kTlsAlways = 1;
constexpr int kTlsNever = 2;

int ParseTlsMode(const std::string& text) {
    if (text == "auto") return kTlsButToLoopback;
    if (text == "always") return kTlsAlways;
    if (text == "never") return kTlsNever;
    throw UsageError("--tls is none of auto, always, never: " + text);
}

std::vector<apps::Option> ConnectionOptions(Options& options) {
    return {
        {"main", "HOST:PORT,...",
         "main servers, tried in order (127.0.0.1:1883); an IPv6 address as [2001:db8::1]:8883",
         [&](const std::string& text) { options.main = ParseAddresses("--main", text); }},
        {"backup", "HOST:PORT,...", "backup servers (the main ones)",
         [&](const std::string& text) { options.backup = ParseAddresses("--backup", text); }},
        {"config", "FILE",
         "read the servers from this JSON file instead: {\"gatewayDns\":{\"main\":[\"HOST:PORT\"],\"backup\":[]}}",
         [&](const std::string& path) { options.configFile = path; }},
        {"token-file", "FILE",
         "file whose first line is the access token; without it the environment variable QOLIVE_TOKEN",
         [&](const std::string& path) { options.token = apps::ReadSecretFile(path); }},
        {"token-expires", "TIME", "when the token expires, seconds since 1970 (0: never)",
         [&](const std::string& text) {
             options.tokenExpires = apps::ParseWhole("--token-expires", text, 0, kMost64);
         }},
        {"tls", "MODE", "auto: TLS but to loopback addresses; always; never (auto; with --ca: always)",
         [&](const std::string& text) {
             options.base.intValue2 = ParseTlsMode(text);
             options.tlsChosen = true;
         }},
        {"ca", "FILE", "trust the certificates in this PEM file, not the system's",
         [&](const std::string& path) { options.base.textValue2 = path; }},
        {"client", "NAME", "name of this installation: letters, digits, _ and - (random)",
         [&](const std::string& name) { options.base.textValue1 = name; }},
        {"user-id", "N", "user id, offered as the user name (the client name)",
         [&](const std::string& text) {
             options.base.int64Value2 = apps::ParseWhole("--user-id", text, 0, kMost64);
         }},
        {"keep-alive", "SECONDS", "keep-alive of the connections (15)",
         [&](const std::string& text) {
             options.base.intValue1 = static_cast<int>(apps::ParseWhole("--keep-alive", text, 1, 65535));
         }},
        {"longest-pause", "MS", "longest pause between connection attempts (30000)",
         [&](const std::string& text) {
             options.base.int64Value1 = apps::ParseWhole("--longest-pause", text, 1, kMost32);
         }},
    };
}

int ParseInt(const char* name, const std::string& text, int least, int most) {
    return static_cast<int>(apps::ParseWhole(name, text, least, most));
}

void ParseSize(const std::string& text, StreamSettings& settings) {
    const std::size_t x = text.find('x');
    if (x == std::string::npos) throw UsageError("--size is not WIDTHxHEIGHT: " + text);
    settings.width = ParseInt("the width in --size", text.substr(0, x), 16, 3840);
    settings.height = ParseInt("the height in --size", text.substr(x + 1), 16, 2160);
}

std::vector<apps::Option> StreamOptions(BroadcastOptions& options) {
    StreamSettings& settings = options.settings;
    return {
        {"publish", "URL",
         "encode and send video, and report how well it goes: udp://HOST:PORT (MPEG-TS) or rtmp://HOST/APP/KEY; tried again when lost",
         [&](const std::string& url) { settings.publishUrl = url; }},
        {"input", "FILE", "media file to play in a loop (a moving picture and a tone)",
         [&](const std::string& path) { settings.inputFile = path; }},
        {"streams", "N",
         "streams at once: anchor, co-host, mix, ... (1); over UDP they go to PORT, PORT+2, PORT+4, ...",
         [&](const std::string& text) { options.streams = ParseInt("--streams", text, 1, 16); }},
        {"size", "WIDTHxHEIGHT", "of the picture (640x360)",
         [&](const std::string& text) { ParseSize(text, settings); }},
        {"fps", "N", "pictures per second (30)",
         [&](const std::string& text) { settings.fps = ParseInt("--fps", text, 1, 120); }},
        {"video-kbps", "N", "bitrate of the video (800)",
         [&](const std::string& text) { settings.videoKbps = ParseInt("--video-kbps", text, 16, 100000); }},
        {"audio-kbps", "N", "bitrate of the sound (64)",
         [&](const std::string& text) { settings.audioKbps = ParseInt("--audio-kbps", text, 16, 320); }},
        {"load", "PERCENT",
         "burn so much of each picture's time before encoding it; above 100 pictures are lost (0)",
         [&](const std::string& text) { settings.loadPercent = ParseInt("--load", text, 0, 10000); }},
        {"figures", "FILE", "write the encoders' own figures, one JSON line a second",
         [&](const std::string& path) { options.figuresFile = path; }},
    };
}

std::vector<apps::Option> RunOptions(Options& options) {
    return {
        {"script", "FILE", "what happens in the show (a show of 15 s, see below)",
         [&](const std::string& path) { options.scriptFile = path; }},
        {"duration", "SECONDS", "end after so long (4 s after the script's last step)",
         [&](const std::string& text) { options.duration = apps::ParseSeconds("--duration", text); }},
        {"log", "FILE", "write the library's log to this file (standard error)",
         [&](const std::string& path) { options.logFile = path; }},
        {"quiet", "", "no log and no word about what is being done",
         [&](const std::string&) { options.quiet = true; }},
    };
}

apps::CommandLine CommandLineOf(Options& options, const std::string& epilogue) {
    std::vector<apps::Option> all = ConnectionOptions(options);
    for (const auto& more : {StreamOptions(options.broadcast), RunOptions(options),
                             apps::UsualOptions(options.help, options.version)})
        all.insert(all.end(), more.begin(), more.end());
    return apps::CommandLine(kIntroduction, std::move(all), epilogue);
}

std::string ScriptHelp(const Actions& actions) {
    const StreamSettings usual;
    std::string text =
        "Script: one line per action, <seconds> <action> <arguments>, seconds from the\n"
        "program's start. Lines that begin with # are skipped. A text with blanks stands\n"
        "in double quotes, but for a TEXT at the end of a line, which is taken as it\n"
        "stands.\n";
    for (const Action& action : actions)
        text += "  " + Usage(action) + "\n      " + action.help + "\n";
    return text + "\nThe script that is followed without --script:\n" +
           DefaultScript(usual.width, usual.height) +
           "\nAt the end, however it comes, what is still live is reported as over.\n"
           "\nExit status: 0 when it ran to its end; 1 when no server was reached, a stream\n"
           "was not being sent at the end or a file could not be written; 2 for a wrong\n"
           "option, script or input file.\n";
}

Json::Value ToJson(const std::vector<std::string>& addresses) {
    Json::Value list(Json::arrayValue);
    for (const std::string& address : addresses)
        list.append(address);
    return list;
}

Json::Value ReadConfigFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw UsageError("cannot read the configuration " + path);
    const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    try {
        const std::optional<Json::Value> config = apps::ReadJson(text);
        if (config && config->isObject()) return *config;
    } catch (const Json::Exception&) {  // it nests too deep
    }
    throw UsageError("the configuration is not a JSON object: " + path);
}

Json::Value ServerLists(const Options& options) {
    Json::Value config;
    config["gatewayDns"]["main"] = ToJson(options.main);
    config["gatewayDns"]["backup"] = ToJson(options.backup);
    return config;
}

}  // namespace

Options ParseOptions(const std::vector<std::string>& arguments) {
    Options options;
    if (const char* token =
            std::getenv("QOLIVE_TOKEN"))  // NOLINT(concurrency-mt-unsafe): no thread writes it
        options.token = token;
    CommandLineOf(options, {}).Parse(arguments);
    // Who names an authority wants its certificates checked, on this machine as well.
    if (!options.tlsChosen && !options.base.textValue2.empty()) options.base.intValue2 = kTlsAlways;
    return options;
}

std::string HelpText(const Actions& actions) {
    Options unused;
    return CommandLineOf(unused, ScriptHelp(actions)).Help();
}

std::string FactoryConfig(const Options& options) {
    Json::Value config =
        options.configFile.empty() ? ServerLists(options) : ReadConfigFile(options.configFile);
    if (!options.token.empty()) config["accessToken"] = options.token;
    if (options.tokenExpires != 0) config["expireTime"] = static_cast<Json::Int64>(options.tokenExpires);
    return apps::CompactJson(config);
}

}  // namespace host
