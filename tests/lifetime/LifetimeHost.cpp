// lifetime_host LIBRARY SCENARIO [PORT]: one life of the library in a host process. PORT is that of an MQTT
// server on this machine. The exit code is 0 when everything went as it has to; a hang is the caller's to
// notice.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "Host.h"

namespace {

using namespace lifetime;

/// Gives the processor to nobody: on a busy machine it would be long in coming back.
void Spin(std::chrono::microseconds duration) {
    const auto until = std::chrono::steady_clock::now() + duration;
    while (std::chrono::steady_clock::now() < until) {
    }
}

struct Arguments {
    const char* library;
    std::string port;
};

/// Receives lines as a host's logger does: under a lock, allocating. Never destroyed, because threads of the
/// library log until the process is gone.
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

void LogQuietly(const Host& host) {
    static Logger& logger = *new Logger;
    host.set_log_sink(Logger::receive, &logger);
}

int LoadAndFree(const Arguments& arguments) {
    SharedLibrary library(arguments.library);
    SayEnding();
    library.free();
    return 0;
}

int UseStopFree(const Arguments& arguments) {
    Host host(arguments.library);
    LogQuietly(host);
    host.runConnected(arguments.port);
    SayEnding();
    host.stopAll();
    host.set_log_sink(nullptr, nullptr);
    host.library.free();
    return 0;
}

int FreeWhileRunning(const Arguments& arguments) {
    Host host(arguments.library);
    LogQuietly(host);
    host.runConnected(arguments.port);
    SayEnding();
    host.library.free();
    Pause(300);  // its threads go on
    return 0;
}

int ReturnWhileRunning(const Arguments& arguments) {
    Host host(arguments.library);
    LogQuietly(host);
    host.runConnected(arguments.port);
    SayEnding();
    return 0;
}

int ReturnWhileConnecting(const Arguments& arguments) {
    Host host(arguments.library);
    LogQuietly(host);
    host.startAll(arguments.port);
    SayEnding();
    return 0;
}

// Objects of the process end in reverse order of their making: one that is made first uses the centers last.
int ReturnWithStreamsMadeFirst(const Arguments& arguments) {
    Host host(arguments.library);
    Check(host.streams_is_connected() == 0, "nothing is connected yet");
    return ReturnWhileRunning(arguments);
}

int ReturnWithHeartbeatMadeFirst(const Arguments& arguments) {
    Host host(arguments.library);
    Check(host.heartbeat_is_connecting() == 0, "nothing is connected yet");
    return ReturnWhileRunning(arguments);
}

int ExitFromThread(const Arguments& arguments) {
    static Host host(arguments.library);
    LogQuietly(host);
    host.runConnected(arguments.port);
    SayEnding();
    std::thread([] { EndProcess(0); }).detach();
    for (;;)
        Pause(1000);
}

int ExitFromThreadWithStreamsMadeFirst(const Arguments& arguments) {
    Host host(arguments.library);
    Check(host.streams_is_connected() == 0, "nothing is connected yet");
    return ExitFromThread(arguments);
}

int CallFromThreadThatEnds(const Arguments& arguments) {
    Host host(arguments.library);
    LogQuietly(host);
    std::thread([&] { host.runConnected(arguments.port); }).join();
    host.awaitConnections();
    SayEnding();
    std::thread([&] { host.stopAll(); }).join();
    return 0;
}

// The pauses let the stop meet the heartbeat thread everywhere: starting, at work, in its pause.
int StartAndStopOften(const Arguments& arguments) {
    Host host(arguments.library);
    LogQuietly(host);
    host.runConnected(arguments.port);
    host.heartbeat_stop();
    for (int round = 0; round < 2000; ++round) {
        Check(host.heartbeat_start() == QOLIVE_DONE, "heartbeat starts again");
        host.heartbeat_send_command(1, "{}", 2);
        Spin(std::chrono::microseconds(round % 8 * 50));
        host.heartbeat_stop();
    }
    SayEnding();
    host.stopAll();
    return 0;
}

const std::map<std::string, int (*)(const Arguments&)>& Scenarios() {
    static const std::map<std::string, int (*)(const Arguments&)> all = {
        {"load-and-free", LoadAndFree},
        {"use-stop-free", UseStopFree},
        {"free-while-running", FreeWhileRunning},
        {"return-while-running", ReturnWhileRunning},
        {"return-while-connecting", ReturnWhileConnecting},
        {"return-with-streams-made-first", ReturnWithStreamsMadeFirst},
        {"return-with-heartbeat-made-first", ReturnWithHeartbeatMadeFirst},
        {"exit-from-thread", ExitFromThread},
        {"exit-from-thread-with-streams-made-first", ExitFromThreadWithStreamsMadeFirst},
        {"call-from-thread-that-ends", CallFromThreadThatEnds},
        {"start-and-stop-often", StartAndStopOften}};
    return all;
}

}  // namespace

int main(int argc, char** argv) {
    const auto scenario = argc < 3 ? Scenarios().end() : Scenarios().find(argv[2]);
    if (scenario == Scenarios().end()) {
        std::fprintf(stderr, "usage: lifetime_host LIBRARY SCENARIO [PORT]\n");
        return 2;
    }
    return scenario->second({argv[1], argc > 3 ? argv[3] : ""});
}
