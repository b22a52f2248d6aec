#include "collector/Options.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>
#include <utility>

#include "common/CommandLine.h"

namespace collector {
namespace {

const char kIntroduction[] =
    "usage: qolive-collector [OPTION ...]\n"
    "\n"
    "Receives what broadcasters report through an MQTT 5 broker, shows it, and\n"
    "answers as a server does: it asks for a full heartbeat when it does not know a\n"
    "broadcaster's state, and accepts streams. Ctrl-C ends it.\n";

const char kEpilogue[] =
    "Example: a broker on this machine, and what it carries\n"
    "  mosquitto -p 1883 &\n"
    "  qolive-collector --summary\n"
    "\n"
    "Exit status: 0 when it ran to its end, 1 when the broker could not be reached or\n"
    "something could not be written, 2 for a wrong option.\n";

void SetBroker(BrokerOptions& broker, const std::string& text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos) throw apps::UsageError("--broker is not HOST:PORT: " + text);
    broker.host = text.substr(0, colon);
    if (broker.host.size() > 1 && broker.host.front() == '[' && broker.host.back() == ']')
        broker.host = broker.host.substr(1, broker.host.size() - 2);
    if (broker.host.empty()) throw apps::UsageError("--broker names no host: " + text);
    broker.port =
        static_cast<int>(apps::ParseWhole("the port in --broker", text.substr(colon + 1), 1, 65535));
}

using Arguments = std::vector<apps::Option>;

Arguments OfTheBroker(BrokerOptions& broker) {
    return {
        {"broker", "HOST:PORT", "the broker (127.0.0.1:1883)",
         [&](const std::string& text) { SetBroker(broker, text); }},
        {"user", "NAME", "user name for the broker", [&](const std::string& text) { broker.user = text; }},
        {"token-file", "FILE", "file whose first line is the password for the broker",
         [&](const std::string& path) { broker.token = apps::ReadSecretFile(path); }},
        {"tls", "", "use TLS, and trust what the system trusts",
         [&](const std::string&) { broker.tls = true; }},
        {"ca", "FILE", "use TLS, and trust the certificates in this PEM file alone",
         [&](const std::string& path) {
             broker.tls = true;
             broker.caFile = path;
         }},
    };
}

Arguments OfTheFleet(FleetRules& rules) {
    constexpr std::int64_t kMostBroadcasters = 10000000;
    constexpr auto kMostCode = std::numeric_limits<std::int32_t>::max();
    return {
        {"keep-alive", "SECONDS", "a connection silent for so long is dark (15)",
         [&](const std::string& text) {
             rules.keepAlive = 1000 * apps::ParseWhole("--keep-alive", text, 1, 86400);
         }},
        {"refuse", "CODE", "answer stream records with this code instead of 0, which accepts them",
         [&](const std::string& text) {
             rules.answerCode = static_cast<int>(apps::ParseWhole("--refuse", text, -kMostCode, kMostCode));
         }},
        {"most-broadcasters", "N", "remember no more than so many (200000)",
         [&](const std::string& text) {
             rules.mostBroadcasters = static_cast<std::size_t>(
                 apps::ParseWhole("--most-broadcasters", text, 1, kMostBroadcasters));
         }},
        {"watch", "", "only watch: answer nobody and ask for nothing",
         [&](const std::string&) { rules.watchOnly = true; }},
    };
}

Arguments OfTheOutput(Options& options) {
    return {
        {"json", "", "one JSON object per line instead of text",
         [&](const std::string&) { options.json = true; }},
        {"record", "FILE", "also write the JSON lines to this file",
         [&](const std::string& path) { options.recordFile = path; }},
        {"seconds", "N", "end after so long",
         [&](const std::string& text) { options.seconds = apps::ParseSeconds("--seconds", text); }},
        {"summary", "", "end with a summary", [&](const std::string&) { options.summary = true; }},
    };
}

apps::CommandLine Understood(Options& options) {
    Arguments all = OfTheBroker(options.broker);
    for (Arguments& more : std::array<Arguments, 3>{OfTheFleet(options.rules), OfTheOutput(options),
                                                    apps::UsualOptions(options.help, options.version)})
        std::move(more.begin(), more.end(), std::back_inserter(all));
    return apps::CommandLine(kIntroduction, std::move(all), kEpilogue);
}

}  // namespace

Options ParseOptions(const std::vector<std::string>& arguments) {
    Options options;
    Understood(options).Parse(arguments);
    return options;
}

std::string HelpText() {
    Options unused;
    return Understood(unused).Help();
}

}  // namespace collector
