#pragma once

#include <qolive_report.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <thread>

#include "SharedLibrary.h"

namespace lifetime {

using std::chrono::milliseconds;

constexpr char kStream[] = "anchor";
constexpr std::size_t kStreamLength = sizeof kStream - 1;

[[noreturn]] inline void Fail(const char* what) {
    std::fprintf(stderr, "failed: %s\n", what);
    std::_Exit(3);
}

inline void Check(bool good, const char* what) {
    if (!good) Fail(what);
}

inline void Pause(int ms) {
    std::this_thread::sleep_for(milliseconds(ms));
}

/// To the caller: the work is done, and from here on it counts how long the process takes to end.
inline void SayEnding() {
    std::puts("ending");
    std::fflush(stdout);
}

inline bool BecomesTrue(const std::function<bool()>& condition) {
    for (int waited = 0; waited < 4000; waited += 5) {
        if (condition()) return true;
        Pause(5);
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
        Check(centers_start(servers.data(), servers.size(), &base) == QOLIVE_DONE, "centers start");
        Check(heartbeat_manager_start("{}", 2, &mode) == QOLIVE_DONE, "heartbeat starts");
        Check(streams_init() == QOLIVE_DONE, "streams start");
        feed();
    }

    void feed() const {
        constexpr char kIp[] = "127.0.0.1";
        streams_report_start(kStream, kStreamLength, QOLIVE_STREAM_SAMPLED);
        streams_add_report_string_data(kStream, kStreamLength, QOLIVE_STRING_SERVER_IP, kIp, sizeof kIp - 1);
        streams_add_report_data(kStream, kStreamLength, QOLIVE_DATA_VIDEO_FRAMES_SENT, 1);
        streams_report_event_data(kStream, kStreamLength, QOLIVE_EVENT_STREAM_START, "{}", 2);
        heartbeat_update_live_status(1);
        heartbeat_update_live_stream_info(kStream, kStreamLength, 1, 2, 3, 4);
        heartbeat_send_command(1, "{}", 2);
    }

    void awaitConnections() const {
        Check(BecomesTrue([this] { return heartbeat_is_connecting() == 1; }), "heartbeat connects");
        Check(BecomesTrue([this] { return streams_is_connected() == 1; }), "streams connect");
    }

    void runConnected(const std::string& port) const {
        startAll(port);
        awaitConnections();
        feed();
    }

    void stopAll() const {
        heartbeat_manager_stop();
        streams_report_stop(kStream, kStreamLength);
        Check(centers_stop() == QOLIVE_DONE, "centers stop");
    }

    SharedLibrary library;
    LOADED(set_log_sink);
    LOADED(centers_start);
    LOADED(centers_stop);
    LOADED(centers_is_main_start_ok);
    LOADED(centers_is_have_backup);
    LOADED(heartbeat_manager_start);
    LOADED(heartbeat_manager_stop);
    LOADED(heartbeat_start);
    LOADED(heartbeat_stop);
    LOADED(heartbeat_start_backup);
    LOADED(heartbeat_get_session_id);
    LOADED(heartbeat_update_live_id);
    LOADED(live_info_set_talk_living);
    LOADED(live_info_is_talk_living);
    LOADED(heartbeat_is_connecting);
    LOADED(heartbeat_update_live_status);
    LOADED(heartbeat_update_live_stream_info);
    LOADED(heartbeat_send_command);
    LOADED(heartbeat_get_command_counters);
    LOADED(streams_init);
    LOADED(streams_get_record_counters);
    LOADED(streams_set_record_bound);
    LOADED(streams_is_connected);
    LOADED(streams_report_start);
    LOADED(streams_report_stop);
    LOADED(streams_add_report_data);
    LOADED(streams_add_report_string_data);
    LOADED(streams_report_event_data);
};

#undef LOADED

}  // namespace lifetime
