// lifetime_host LIBRARY SCENARIO [PORT]: one life of the library in a host process. PORT is that of an MQTT server on this
// machine. The exit code is 0 when everything went as it has to; a hang is the caller's to notice.

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
void spin(std::chrono::microseconds duration) {
    const auto until = std::chrono::steady_clock::now() + duration;
    while (std::chrono::steady_clock::now() < until) {
    }
}

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

// Objects of the process end in reverse order of their making: one that is made first uses the centers last.
int returnWithStreamsMadeFirst(const Arguments& arguments) {
    Host host(arguments.library);
    check(host.streams_is_connected() == 0, "nothing is connected yet");
    return returnWhileRunning(arguments);
}

int returnWithHeartbeatMadeFirst(const Arguments& arguments) {
    Host host(arguments.library);
    check(host.heartbeat_is_connecting() == 0, "nothing is connected yet");
    return returnWhileRunning(arguments);
}

int exitFromThread(const Arguments& arguments) {
    static Host host(arguments.library);
    logQuietly(host);
    host.runConnected(arguments.port);
    sayEnding();
    std::thread([] { EndProcess(0); }).detach();
    for (;;)
        pause(1000);
}

int exitFromThreadWithStreamsMadeFirst(const Arguments& arguments) {
    Host host(arguments.library);
    check(host.streams_is_connected() == 0, "nothing is connected yet");
    return exitFromThread(arguments);
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
        {"return-with-streams-made-first", returnWithStreamsMadeFirst},
        {"return-with-heartbeat-made-first", returnWithHeartbeatMadeFirst},
        {"exit-from-thread", exitFromThread},
        {"exit-from-thread-with-streams-made-first", exitFromThreadWithStreamsMadeFirst},
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
