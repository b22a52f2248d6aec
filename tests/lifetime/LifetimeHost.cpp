// lifetime_host LIBRARY SCENARIO [PORT]: one life of the library in a host process. PORT is that of an MQTT server on this
// machine. The exit code is 0 when everything went as it has to; a hang is the caller's to notice.

#include <qolive_report.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <new>
#include <string>
#include <thread>

#include "SharedLibrary.h"

namespace {

using std::chrono::milliseconds;

constexpr char kStream[] = "anchor";
constexpr std::size_t kStreamLength = sizeof kStream - 1;

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "failed: %s\n", what);
    std::_Exit(3);
}

void check(bool good, const char* what) {
    if (!good) fail(what);
}

void pause(int ms) {
    std::this_thread::sleep_for(milliseconds(ms));
}

/// To the caller: the work is done, and from here on it counts how long the process takes to end.
void sayEnding() {
    std::puts("ending");
    std::fflush(stdout);
}

/// Gives the processor to nobody: on a busy machine it would be long in coming back.
void spin(std::chrono::microseconds duration) {
    const auto until = std::chrono::steady_clock::now() + duration;
    while (std::chrono::steady_clock::now() < until) {
    }
}

bool becomesTrue(const std::function<bool()>& condition) {
    for (int waited = 0; waited < 4000; waited += 5) {
        if (condition()) return true;
        pause(5);
    }
    return false;
}

#define LOADED(name) \
    decltype(qolive_##name)* const name = library.find<decltype(qolive_##name)>("qolive_" #name)

/// What a host does with the library, found at run time.
struct Host {
    explicit Host(const char* path) : library(path) {}

    void startAll(const std::string& port) const {
        const std::string address = "\"127.0.0.1:" + port + "\"";
        const std::string servers =
            R"({"gatewayDns":{"main":[)" + address + R"(],"backup":[)" + address + "]}}";
        qolive_heart_base_config base{};
        base.size = sizeof base;
        std::int32_t mode = 0;
        check(centers_start(servers.data(), servers.size(), &base) == QOLIVE_DONE, "centers start");
        check(heartbeat_manager_start("{}", 2, &mode) == QOLIVE_DONE, "heartbeat starts");
        check(streams_init() == QOLIVE_DONE, "streams start");
        feed();
    }

    void feed() const {
        constexpr char ip[] = "127.0.0.1";
        streams_report_start(kStream, kStreamLength, QOLIVE_STREAM_SAMPLED);
        streams_add_report_string_data(kStream, kStreamLength, QOLIVE_STRING_SERVER_IP, ip, sizeof ip - 1);
        streams_add_report_data(kStream, kStreamLength, QOLIVE_DATA_VIDEO_FRAMES_SENT, 1);
        streams_report_event_data(kStream, kStreamLength, QOLIVE_EVENT_STREAM_START, "{}", 2);
        heartbeat_update_live_status(1);
        heartbeat_update_live_stream_info(kStream, kStreamLength, 1, 2, 3, 4);
        heartbeat_send_command(1, "{}", 2);
    }

    void awaitConnections() const {
        check(becomesTrue([this] { return heartbeat_is_connecting() == 1; }), "heartbeat connects");
        check(becomesTrue([this] { return streams_is_connected() == 1; }), "streams connect");
    }

    void runConnected(const std::string& port) const {
        startAll(port);
        awaitConnections();
        feed();
    }

    void stopAll() const {
        heartbeat_manager_stop();
        streams_report_stop(kStream, kStreamLength);
        check(centers_stop() == QOLIVE_DONE, "centers stop");
    }

    SharedLibrary library;
    LOADED(set_log_sink);
    LOADED(centers_start);
    LOADED(centers_stop);
    LOADED(heartbeat_manager_start);
    LOADED(heartbeat_manager_stop);
    LOADED(heartbeat_start);
    LOADED(heartbeat_stop);
    LOADED(heartbeat_is_connecting);
    LOADED(heartbeat_update_live_status);
    LOADED(heartbeat_update_live_stream_info);
    LOADED(heartbeat_send_command);
    LOADED(streams_init);
    LOADED(streams_is_connected);
    LOADED(streams_report_start);
    LOADED(streams_report_stop);
    LOADED(streams_add_report_data);
    LOADED(streams_add_report_string_data);
    LOADED(streams_report_event_data);
};

struct Arguments {
    const char* library;
    std::string port;
};

/// Receives lines as a host's logger does: under a lock, allocating. Never destroyed, because threads of the library log
/// until the process is gone.
struct Logger {
    std::mutex mutex;
    std::string last;

    static void receive(void* user, int level, const char* line) {
        auto& self = *static_cast<Logger*>(user);
        const std::lock_guard<std::mutex> lock(self.mutex);
        std::string text = std::to_string(level) + " " + line;
        text.append(64, '.');
        self.last = std::move(text);
    }
};

void logQuietly(const Host& host) {
    static Logger& logger = *new Logger;
    host.set_log_sink(Logger::receive, &logger);
}

int loadAndFree(const Arguments& arguments) {
    SharedLibrary library(arguments.library);
    sayEnding();
    library.free();
    return 0;
}

int useStopFree(const Arguments& arguments) {
    Host host(arguments.library);
    logQuietly(host);
    host.runConnected(arguments.port);
    sayEnding();
    host.stopAll();
    host.set_log_sink(nullptr, nullptr);
    host.library.free();
    return 0;
}

int freeWhileRunning(const Arguments& arguments) {
    Host host(arguments.library);
    logQuietly(host);
    host.runConnected(arguments.port);
    sayEnding();
    host.library.free();
    pause(300);  // its threads go on
    return 0;
}

int returnWhileRunning(const Arguments& arguments) {
    Host host(arguments.library);
    logQuietly(host);
    host.runConnected(arguments.port);
    sayEnding();
    return 0;
}

int returnWhileConnecting(const Arguments& arguments) {
    Host host(arguments.library);
    logQuietly(host);
    host.startAll(arguments.port);
    sayEnding();
    return 0;
}

int exitFromThread(const Arguments& arguments) {
    static Host host(arguments.library);
    logQuietly(host);
    host.runConnected(arguments.port);
    sayEnding();
    std::thread([] { exitProcess(0); }).detach();
    for (;;)
        pause(1000);
}

int callFromThreadThatEnds(const Arguments& arguments) {
    Host host(arguments.library);
    logQuietly(host);
    std::thread([&] { host.runConnected(arguments.port); }).join();
    host.awaitConnections();
    sayEnding();
    std::thread([&] { host.stopAll(); }).join();
    return 0;
}

// The pauses let the stop meet the heartbeat thread everywhere: starting, at work, in its pause.
int startAndStopOften(const Arguments& arguments) {
    Host host(arguments.library);
    logQuietly(host);
    host.runConnected(arguments.port);
    host.heartbeat_stop();
    for (int round = 0; round < 2000; ++round) {
        check(host.heartbeat_start() == QOLIVE_DONE, "heartbeat starts again");
        host.heartbeat_send_command(1, "{}", 2);
        spin(std::chrono::microseconds(round % 8 * 50));
        host.heartbeat_stop();
    }
    sayEnding();
    host.stopAll();
    return 0;
}

const std::map<std::string, int (*)(const Arguments&)>& scenarios() {
    static const std::map<std::string, int (*)(const Arguments&)> all = {
        {"load-and-free", loadAndFree},
        {"use-stop-free", useStopFree},
        {"free-while-running", freeWhileRunning},
        {"return-while-running", returnWhileRunning},
        {"return-while-connecting", returnWhileConnecting},
        {"exit-from-thread", exitFromThread},
        {"call-from-thread-that-ends", callFromThreadThatEnds},
        {"start-and-stop-often", startAndStopOften}};
    return all;
}

}  // namespace

int main(int argc, char** argv) {
    const auto scenario = argc < 3 ? scenarios().end() : scenarios().find(argv[2]);
    if (scenario == scenarios().end()) {
        std::fprintf(stderr, "usage: lifetime_host LIBRARY SCENARIO [PORT]\n");
        return 2;
    }
    return scenario->second({argv[1], argc > 3 ? argv[3] : ""});
}
