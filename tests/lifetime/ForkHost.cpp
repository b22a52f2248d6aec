// fork_host LIBRARY SCENARIO PORT: a host that forks. As lifetime_host.

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "Host.h"

namespace {

using namespace lifetime;

constexpr unsigned kLongestChildSeconds = 30;
constexpr int kForksUnderLoad = 40;

void IgnoreLine(void*, int32_t, const char*) {}

/// Runs `work` in a child, which then ends as any process does, and waits for it: 0 when all went well.
template <class Work>
int InChild(Work work) {
    const pid_t child = fork();
    Check(child >= 0, "fork");
    if (child == 0) {
        alarm(kLongestChildSeconds);
        work();
        std::exit(0);  // NOLINT(concurrency-mt-unsafe): the child's one thread
    }
    int status = -1;
    Check(waitpid(child, &status, 0) == child, "waitpid");
    return status;
}

/// Every operation of the host, each of which has nothing to say in a child.
void CallEverything(const Host& host) {
    qolive_heart_base_config base{};
    base.size = sizeof base;
    std::int32_t mode = 0;
    char text[8];
    std::size_t length = 0;
    constexpr char kServers[] = R"({"gatewayDns":{"main":["127.0.0.1:1"],"backup":[]}})";
    Check(host.centers_start(kServers, sizeof kServers - 1, &base) == 0, "centers start in the child");
    Check(host.centers_is_main_start_ok() == 0, "main center is started in the child");
    Check(host.centers_is_have_backup() == 0, "backup center is started in the child");
    Check(host.heartbeat_manager_start("{}", 2, &mode) == 0, "heartbeat starts in the child");
    Check(host.heartbeat_start() == 0, "heartbeat starts in the child");
    Check(host.heartbeat_start_backup() == 0, "backup heartbeat starts in the child");
    Check(host.heartbeat_is_connecting() == 0, "heartbeat is connected in the child");
    Check(host.streams_init() == 0, "streams start in the child");
    Check(host.streams_is_connected() == 0, "streams are connected in the child");
    Check(host.heartbeat_send_command(1, "{}", 2) == 0, "a command is queued in the child");
    Check(host.heartbeat_get_session_id(text, sizeof text, &length) == QOLIVE_DONE && length == 0,
          "session id");
    qolive_command_counters commands{};
    commands.size = sizeof commands;
    Check(host.heartbeat_get_command_counters(&commands) == QOLIVE_DONE && commands.queued == 0,
          "command counters");
    qolive_record_counters records{};
    records.size = sizeof records;
    Check(host.streams_get_record_counters(&records) == QOLIVE_DONE && records.queued == 0,
          "record counters");
    Check(host.streams_set_record_bound(1, 1) == QOLIVE_DONE, "record bound");
    host.feed();
    host.heartbeat_update_live_id("x", 1);
    host.live_info_set_talk_living(1, 2);
    Check(host.live_info_is_talk_living() == 0, "talk is live in the child");
    host.set_log_sink(IgnoreLine, nullptr);
    host.set_log_sink(nullptr, nullptr);
    Check(host.heartbeat_manager_stop() == 0, "heartbeat stops in the child");
    host.streams_report_stop(kStream, kStreamLength);
    Check(host.centers_stop() == QOLIVE_DONE, "centers stop in the child");
}

void CheckThatTheParentGoesOn(const Host& host) {
    Pause(300);
    Check(host.heartbeat_is_connecting() == 1, "the parent's heartbeat is still connected");
    Check(host.streams_is_connected() == 1, "the parent's streams are still connected");
    SayEnding();
    host.stopAll();
}

int ForkAndExit(const Host& host, const std::string& port) {
    host.runConnected(port);
    Check(InChild([] {}) == 0, "a child exits");
    CheckThatTheParentGoesOn(host);
    return 0;
}

int ForkAndCall(const Host& host, const std::string& port) {
    host.runConnected(port);
    Check(InChild([&] { CallEverything(host); }) == 0, "a child calls everything");
    CheckThatTheParentGoesOn(host);
    return 0;
}

// At each fork, some lock of the library is held by a thread that the child does not have.
int ForkUnderLoad(const Host& host, const std::string& port) {
    host.runConnected(port);
    std::atomic<bool> over{false};
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 3; ++i)
        threads.emplace_back([&] {
            while (!over) {
                host.feed();
                host.heartbeat_update_live_id("a live session with a name that is long", 39);
                host.live_info_set_talk_living(1, 2);
            }
        });
    threads.emplace_back([&] {
        for (int32_t i = 0; !over; ++i)
            host.set_log_sink(IgnoreLine, nullptr);
    });
    for (int i = 0; i < kForksUnderLoad; ++i)
        Check(InChild([&] { CallEverything(host); }) == 0, "a child of a busy process calls everything");
    over = true;
    for (std::thread& thread : threads)
        thread.join();
    CheckThatTheParentGoesOn(host);
    return 0;
}

int ForkBeforeUse(const Host& host, const std::string& port) {
    const int status = InChild([&] {
        host.runConnected(port);
        host.stopAll();
    });
    SayEnding();
    Check(status == 0, "a child that was forked before the first use has a working library");
    return 0;
}

const std::map<std::string, int (*)(const Host&, const std::string&)>& Scenarios() {
    static const std::map<std::string, int (*)(const Host&, const std::string&)> all = {
        {"fork-and-exit", ForkAndExit},
        {"fork-and-call", ForkAndCall},
        {"fork-under-load", ForkUnderLoad},
        {"fork-before-use", ForkBeforeUse}};
    return all;
}

}  // namespace

int main(int argc, char** argv) {
    const auto scenario = argc < 4 ? Scenarios().end() : Scenarios().find(argv[2]);
    if (scenario == Scenarios().end()) {
        std::fprintf(stderr, "usage: fork_host LIBRARY SCENARIO PORT\n");
        return 2;
    }
    const Host host(argv[1]);
    host.set_log_sink(IgnoreLine, nullptr);
    return scenario->second(host, argv[3]);
}
