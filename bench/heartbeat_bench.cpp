#include <benchmark/benchmark.h>

#include <atomic>
#include <string>
#include <thread>

#include "heartbeat/LiveHeartReport.h"
#include "platform/Log.h"

// The heartbeat over a message center that accepts everything and does nothing: what the library itself
// costs.

namespace {

class BenchReport : public LiveHeartReport {
public:
    BenchReport() {
        SetLogSink([](void*, int, const char*) {}, nullptr);
        start();
        startBackUp();
    }
    ~BenchReport() override { stop(); }

    void fill() {
        updateLiveID("session-0123456789");
        updateliveStatus(true);
        updateLiveBusinessInfo(7, 2);
        updateLiveStreamInfo("stream-0123456789", 11, 1920, 1080, 1);
        updatemicStatus(true);
        updateMicInfo(7, 2, "mic-0123456789", 12, 1280, 720, 1, 1, "channel-1", 2);
        updateMixStreamInfo("mix-0123456789", 1920, 1080, 13, 1);
    }
    bool reportNow() { return report(m_mainSender, 1700000000000, false); }
    bool sendOldestCommand() { return sendComand(); }
};

void FullHeartbeat(benchmark::State& state) {
    BenchReport heartbeat;
    heartbeat.fill();
    for (auto _ : state) {
        heartbeat.updateDataState(true);
        if (!heartbeat.reportNow()) state.SkipWithError("not sent");
    }
}
BENCHMARK(FullHeartbeat);

void KeepAliveHeartbeat(benchmark::State& state) {
    BenchReport heartbeat;
    heartbeat.fill();
    heartbeat.reportNow();
    for (auto _ : state)
        if (!heartbeat.reportNow()) state.SkipWithError("not sent");
}
BENCHMARK(KeepAliveHeartbeat);

void Command(benchmark::State& state) {
    BenchReport heartbeat;
    for (auto _ : state) {
        heartbeat.LiveHeartReport::sendComand(5, R"({"say":"hello"})");
        heartbeat.sendOldestCommand();
    }
}
BENCHMARK(Command);

/// Beside the thread at its own pace: what a host sees.
void SetterBesideTheHeartbeatThread(benchmark::State& state) {
    BenchReport heartbeat;
    int status = 0;
    for (auto _ : state)
        heartbeat.updatePushStatus(++status);
}
BENCHMARK(SetterBesideTheHeartbeatThread);

/// Beside a thread that sends full reports without a pause: the worst that the lock can do.
void SetterBesideReportsWithoutAPause(benchmark::State& state) {
    BenchReport heartbeat;
    heartbeat.fill();
    std::atomic<bool> done{false};
    std::thread reporter([&] {
        while (!done) {
            heartbeat.updateDataState(true);
            heartbeat.reportNow();
        }
    });
    int status = 0;
    for (auto _ : state)
        heartbeat.updatePushStatus(++status);
    done = true;
    reporter.join();
}
BENCHMARK(SetterBesideReportsWithoutAPause)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
