// The host under trial: a broadcaster's program reduced to what the library sees of it. It uses the C
// interface, so that it can be built by any compiler and run under Wine.
//
//   chaos_host [--fault FAULT] MAIN-PORT BACKUP-PORT
//
// It writes "ready" once everything runs. "restart" on its standard input stops the library and starts it
// again; the end of the input stops it for good. Each stop is answered by "stopped" with how many
// milliseconds the heartbeat and the centers took. FAULT makes it behave as if the library had failed, to try
// what watches it: "end", "hang", "grow" or "slow-stop".

#include <qolive_report.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// A host goes from one address to the next without a pause, so that the trial is a dense one.
constexpr int kAddresses = 256;
constexpr int64_t kShortestPauseMs = 500;
const std::vector<std::string> kStreams = {"anchor", "cohost", "mix"};

std::atomic<unsigned long> linesLogged{0};

void CountLine(void*, int, const char*) {
    ++linesLogged;
}

std::string Addresses(const std::string& port) {
    std::string list;
    for (int i = 0; i < kAddresses; ++i)
        list += (i == 0 ? "\"127.0.0.1:" : ",\"127.0.0.1:") + port + "\"";
    return "[" + list + "]";
}

std::string Configuration(const std::string& mainPort, const std::string& backupPort) {
    return R"({"gatewayDns":{"main":)" + Addresses(mainPort) + R"(,"backup":)" + Addresses(backupPort) + "}}";
}

void Require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "chaos_host: %s\n", what);
    std::exit(3);
}

void Start(const std::string& servers) {
    static const std::string kClient = "studio-7";
    qolive_heart_base_config base = {};
    base.size = sizeof base;
    base.int_value1 = 5;
    base.int64_value1 = kShortestPauseMs;
    base.text_value1 = {kClient.data(), kClient.size()};
    int32_t mode = 1;
    Require(qolive_centers_start(servers.data(), servers.size(), &base) == QOLIVE_DONE,
            "the centers do not start");
    Require(qolive_heartbeat_manager_start("{}", 2, &mode) == QOLIVE_DONE, "the heartbeat does not start");
    Require(qolive_streams_init() == QOLIVE_DONE, "the streams do not start");
    qolive_heartbeat_update_live_status(1);
    for (const std::string& id : kStreams) {
        qolive_streams_report_start(id.data(), id.size(), QOLIVE_STREAM_SAMPLED);
        qolive_streams_report_event_data(id.data(), id.size(), QOLIVE_EVENT_STREAM_START, "{}", 2);
    }
}

long MillisecondsOf(int32_t (*stop)()) {
    const auto begin = Clock::now();
    stop();
    return static_cast<long>(std::chrono::duration_cast<milliseconds>(Clock::now() - begin).count());
}

void Stop(bool slow) {
    const long heartbeat = MillisecondsOf(qolive_heartbeat_manager_stop);
    for (const std::string& id : kStreams)
        qolive_streams_report_stop(id.data(), id.size());
    const long centers = MillisecondsOf(qolive_centers_stop);
    std::printf("stopped %ld %ld\n", heartbeat, centers + (slow ? 60'000 : 0));
    std::fflush(stdout);
}

void Feed(const std::atomic<bool>& done) {
    for (unsigned round = 0; !done; ++round) {
        for (const std::string& id : kStreams) {
            for (int32_t counter = QOLIVE_DATA_VIDEO_FRAMES_CAPTURED; counter <= QOLIVE_DATA_AUDIO_BYTES_SENT;
                 ++counter)
                qolive_streams_add_report_data(id.data(), id.size(), counter, 1);
            if (round % 100 == 0)
                qolive_streams_report_event_data(id.data(), id.size(), QOLIVE_EVENT_HOST_RECORD, "{}", 2);
        }
        if (round % 20 == 0) qolive_heartbeat_update_push_status(static_cast<int32_t>(round % 7));
        std::this_thread::sleep_for(milliseconds(10));
    }
}

// Once the trial is well under way.
void Commit(const std::string& fault, const std::atomic<bool>& done) {
    constexpr std::size_t kStep = std::size_t{1024} * 1024;
    const auto begin = Clock::now();
    while (!done && Clock::now() - begin < std::chrono::seconds(2))
        std::this_thread::sleep_for(milliseconds(10));
    if (fault == "end") std::abort();
    if (fault == "hang") qolive_heartbeat_manager_stop();
    while (!done && fault == "grow") {
        static std::vector<std::string> kept;
        kept.emplace_back(kStep, 'x');
        std::this_thread::sleep_for(milliseconds(50));
    }
}

int Run(const std::string& fault, const std::string& servers) {
    qolive_set_log_sink(CountLine, nullptr);
    Start(servers);
    std::atomic<bool> done{false};
    std::thread feeding([&] { Feed(done); });
    std::thread failing([&] { Commit(fault, done); });
    std::puts("ready");
    std::fflush(stdout);
    for (std::string line; std::getline(std::cin, line);) {
        Stop(fault == "slow-stop");
        Start(servers);
    }
    done = true;
    feeding.join();
    failing.join();
    Stop(fault == "slow-stop");
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.size() == 2) return Run("", Configuration(arguments[0], arguments[1]));
    if (arguments.size() == 4 && arguments[0] == "--fault")
        return Run(arguments[1], Configuration(arguments[2], arguments[3]));
    std::fprintf(stderr, "usage: %s [--fault FAULT] MAIN-PORT BACKUP-PORT\n", argv[0]);
    return 2;
}
