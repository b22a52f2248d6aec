// memory_host PORT record FILE | memory_host PORT once|all POINT: a whole life of the library, from its start
// to the end of the process, in which memory is refused at one point. Whatever is refused, a host that tries
// again gets everything, and everything goes on. Exit code 0: so it was; 10: the point was not met;
// everything else: what must not be.

#include <qolive_report.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <thread>

#include "ShortMemory.h"

namespace {

constexpr int kNotMet = 10;
constexpr int kAttempts = 100;
constexpr char kSampled[] = "anchor";
constexpr char kPlain[] = "co-host";

std::atomic<int> recordsSent{0};
std::atomic<int> answers{0};

bool Begins(const char* line, const char* beginning) {
    return std::strncmp(line, beginning, std::strlen(beginning)) == 0;
}

[[noreturn]] void Fail(const char* what, int code = 0) {
    std::fprintf(stderr, "failed: %s (%d)\n", what, code);
    std::_Exit(3);
}

/// On the library's threads, and without memory of its own.
void Follow(void*, int, const char* line) {
    if (Begins(line, "SendStreamReport success")) ++recordsSent;
    if (Begins(line, "[StreamQualityReport] OnDisponseData")) ++answers;
    if (std::strstr(line, "-00000000")) Fail("a connection without a name of its own");
    [[maybe_unused]] const auto text = write(STDERR_FILENO, line, std::strlen(line));
    [[maybe_unused]] const auto end = write(STDERR_FILENO, "\n", 1);
}

void Pause(int ms) {
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

/// Within a limit that is the caller's.
template <class Condition>
void Await(const char* what, Condition condition) {
    std::fprintf(stderr, "host: awaiting %s\n", what);
    while (!condition())
        Pause(300);
}

template <class Call>
std::int32_t Library(Call call) {
    const short_memory::LibraryCall inside;
    return call();
}

bool IsShortage(std::int32_t result) {
    return result == QOLIVE_FAILED || result == QOLIVE_OUT_OF_MEMORY || result == QOLIVE_INTERNAL;
}

/// A host that tries again.
template <class Call>
void Insist(const char* what, Call call) {
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const std::int32_t result = Library(call);
        if (result == QOLIVE_DONE || result == QOLIVE_ALREADY) return;
        std::fprintf(stderr, "host: %s: %d\n", what, result);
        if (!IsShortage(result)) Fail(what, result);
        Pause(200);
    }
    Fail(what);
}

std::size_t LengthOf(const char* text) {
    return std::strlen(text);
}

void StartCenters(const std::string& port) {
    const std::string servers = R"({"gatewayDns":{"main":["127.0.0.1:)" + port +
                                R"("],"backup":["localhost:)" + port +
                                R"("]},"accessToken":"","expireTime":0})";
    qolive_heart_base_config base{};
    base.size = sizeof base;
    base.int_value1 = 600;  // as a fast clock would have it, a second is too short for a busy machine
    base.int64_value1 = 1000;
    Insist("centers start", [&] { return qolive_centers_start(servers.data(), servers.size(), &base); });
}

void StartHeartbeat() {
    std::int32_t mode = 0;
    Insist("heartbeat starts", [&] { return qolive_heartbeat_manager_start("{}", 2, &mode); });
}

void StartStream(const char* id, std::int32_t type) {
    Insist("stream starts", [=] { return qolive_streams_report_start(id, LengthOf(id), type); });
    Insist("server named", [=] {
        return qolive_streams_add_report_string_data(id, LengthOf(id), QOLIVE_STRING_SERVER_IP, "localhost",
                                                     9);
    });
}

void UpdateHeartbeat() {
    Insist("stream info", [] {
        return qolive_heartbeat_update_live_stream_info("a-stream-of-some-length", 23, 1, 2, 3, 4);
    });
    Insist("live id", [] { return qolive_heartbeat_update_live_id("a-session-of-some-length", 24); });
    Insist("live status", [] { return qolive_heartbeat_update_live_status(1); });
    Insist("push status", [] { return qolive_heartbeat_update_push_status(1); });
    Insist("mic status", [] { return qolive_heartbeat_update_mic_status(1); });
    Insist("command", [] { return qolive_heartbeat_send_command(7, "a command of some length", 24); });
}

void Feed() {
    constexpr char kEvent[] = R"({"resolution":"1920x1080","comment":"an event of some length"})";
    Insist("number fed", [] {
        return qolive_streams_add_report_data(kSampled, LengthOf(kSampled), QOLIVE_DATA_VIDEO_FRAMES_SENT,
                                              25);
    });
    for (const char* id : {kSampled, kPlain})
        Insist("event", [&] {
            return qolive_streams_report_event_data(id, LengthOf(id), QOLIVE_EVENT_STREAM_START, kEvent,
                                                    sizeof kEvent - 1);
        });
    Insist("event", [] {
        return qolive_streams_report_event_data(kSampled, LengthOf(kSampled), QOLIVE_EVENT_FIRST_FRAME, "{}",
                                                2);
    });
}

void AwaitHeartbeats() {
    for (int beat = 0; beat < 2; ++beat) {
        std::int64_t mainBefore = 0, backBefore = 0, main = 0, back = 0;
        Library([&] { return qolive_heartbeat_get_last_report_tm(&mainBefore, &backBefore); });
        Await("a heartbeat", [&] {
            Library([&] { return qolive_heartbeat_get_last_report_tm(&main, &back); });
            return main > mainBefore;
        });
    }
}

void AwaitAcceptance() {
    const int before = answers;
    Await("an answer", [&] {
        Feed();
        Pause(1000);
        return answers > before + 2;
    });
}

/// A record that the host has not asked for: made every minute of the library's life by its own threads.
void AwaitQualityRecord() {
    int sent = 0;
    Await("the end of the host's own records", [&] {
        const int before = sent;
        Pause(4000);
        sent = recordsSent;
        return sent == before;
    });
    Await("a quality record", [&] { return recordsSent > sent; });
}

void SeeEverythingWork() {
    UpdateHeartbeat();
    AwaitHeartbeats();
    Await("the report channel", [] { return Library(qolive_streams_is_connected) == QOLIVE_DONE; });
    AwaitAcceptance();
    AwaitQualityRecord();
}

void Live(const std::string& port) {
    Insist("sink set", [] { return qolive_set_log_sink(Follow, nullptr); });
    StartCenters(port);
    StartHeartbeat();
    Insist("streams start", qolive_streams_init);
    StartStream(kSampled, QOLIVE_STREAM_SAMPLED);
    StartStream(kPlain, QOLIVE_STREAM_EVENTS_ONLY);
    bool wasMet = false;
    do {
        wasMet = short_memory::HasRefused();
        SeeEverythingWork();
        Await("memory", [] { return !short_memory::HasRefused() || short_memory::IsOver(); });
    } while (wasMet != short_memory::HasRefused());
    Library(qolive_heartbeat_manager_stop);
    Insist("stream stops", [] { return qolive_streams_report_stop(kSampled, LengthOf(kSampled)); });
    Insist("centers stop", qolive_centers_stop);
}

/// Until the very end: the library's objects are destroyed before it.
struct Verdict {
    bool asked = false;
    ~Verdict() {
        if (asked && !short_memory::HasRefused()) _exit(kNotMet);
    }
};

}  // namespace

int main(int argc, char** argv) {
    static Verdict verdict;
    if (argc != 4) return 2;
    short_memory::BeHostThread();
    const std::string task = argv[2];
    verdict.asked = task != "record";
    if (task == "record")
        short_memory::RecordPoints(argv[3]);
    else
        short_memory::RefuseAt(std::strtoull(argv[3], nullptr, 10),
                               task == "all" ? short_memory::Extent::All : short_memory::Extent::Once);
    Live(argv[1]);
    // Never ended: the destructors are the library's.
    alignas(short_memory::LibraryCall) static unsigned char ending[sizeof(short_memory::LibraryCall)];
    new (ending) short_memory::LibraryCall;
    return 0;
}
