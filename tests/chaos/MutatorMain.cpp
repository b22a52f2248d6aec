#include <signal.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <random>
#include <stdexcept>
#include <string>

#include "chaos/Trial.h"

namespace {

constexpr char kUsage[] =
    "usage: mutator [OPTION...] -- HOST [ARGUMENT...]\n"
    "\n"
    "Runs HOST, to which two ports are added as its last arguments, and is a hostile\n"
    "MQTT server on both.\n"
    "Exit status 0: the host came through; 1: something was found; 2: wrong use.\n"
    "\n"
    "  --packets N     ends after N packets\n"
    "  --seconds S     ends after S seconds (default 3600)\n"
    "  --seed N        the same conversations again (default: a new one, printed)\n"
    "  --replay FILE   plays what an earlier run has kept\n"
    "  --keep FILE     where the last shots go when something is found\n"
    "                  (default mutator-SEED.packets)\n"
    "  --growth M      MiB that the host may grow by once it is warm (default 32)\n"
    "  --heartbeat S   seconds within which a heartbeat must come after the hostility\n"
    "                  (default 20)\n"
    "  --slack S       seconds that a stop may take beyond its promise (default 1)\n"
    "  --version       prints the version\n";

void Set(chaos::Options& options, const std::string& name, const std::string& value) {
    if (name == "--packets")
        options.packets = std::stoull(value);
    else if (name == "--seconds")
        options.seconds = std::stod(value);
    else if (name == "--seed")
        options.seed = std::stoull(value);
    else if (name == "--replay")
        options.replay = value;
    else if (name == "--keep")
        options.keep = value;
    else if (name == "--growth")
        options.growthMiB = std::stod(value);
    else if (name == "--heartbeat")
        options.heartbeatSeconds = std::stod(value);
    else if (name == "--slack")
        options.slackSeconds = std::stod(value);
    else
        throw std::invalid_argument("unknown option " + name);
}

chaos::Options Read(int argc, char** argv) {
    chaos::Options options;
    options.seed = std::random_device()();
    options.keep = "mutator-%.packets";
    int at = 1;
    for (; at + 1 < argc && std::string(argv[at]) != "--"; at += 2)
        Set(options, argv[at], argv[at + 1]);
    if (at < argc && std::string(argv[at]) != "--")
        throw std::invalid_argument(argv[at] + std::string(" is not an option with a value"));
    for (++at; at < argc; ++at)
        options.host.emplace_back(argv[at]);
    if (options.host.empty()) throw std::invalid_argument("no host");
    return options;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string first = argc > 1 ? argv[1] : "";
    if (first == "--help" || first == "-h") return std::fputs(kUsage, stdout) < 0;
    if (first == "--version") return std::puts("mutator (QoLiveReport) " QOLIVE_VERSION) < 0;
    chaos::Options options;
    try {
        options = Read(argc, argv);
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "mutator: %s\n%s", problem.what(), kUsage);
        return 2;
    }
    signal(SIGPIPE, SIG_IGN);
    try {
        return chaos::Trial(options).run() ? 0 : 1;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "mutator: %s\n", problem.what());
        return 2;
    }
}
