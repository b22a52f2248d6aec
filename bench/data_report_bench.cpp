#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <string>
#include <vector>

#include "base/JsonText.h"
#include "data_report/DataReportManager.h"
#include "data_report/StreamQualityReport.h"
#include "data_report/StreamQulityData.h"

// What the host's pipeline pays for feeding a stream, what a message id costs, and what it costs to hand over
// a quality record; each beside the least that could do the same.

namespace {

thread_local std::int64_t t_allocations = 0;
thread_local std::int64_t t_heldBytes = 0;

constexpr std::size_t kPrefix = alignof(std::max_align_t);  // holds the size of what follows it

void* Allocate(std::size_t size) {
    auto* const memory = static_cast<char*>(std::malloc(size + kPrefix));
    if (!memory) throw std::bad_alloc();
    std::memcpy(memory, &size, sizeof size);
    ++t_allocations;
    t_heldBytes += static_cast<std::int64_t>(size);
    return memory + kPrefix;
}

void Release(void* memory) {
    if (!memory) return;
    auto* const start = static_cast<char*>(memory) - kPrefix;
    std::size_t size = 0;
    std::memcpy(&size, start, sizeof size);
    t_heldBytes -= static_cast<std::int64_t>(size);
    std::free(start);
}

}  // namespace

void* operator new(std::size_t size) {
    return Allocate(size);
}
void* operator new[](std::size_t size) {
    return Allocate(size);
}
void operator delete(void* memory) noexcept {
    Release(memory);
}
void operator delete[](void* memory) noexcept {
    Release(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    Release(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    Release(memory);
}

namespace data_report {

struct DataReportManagerTestPeer {
    static std::string mid() { return DataReportManager::Instance().GetMid(); }

    static void forgetQueue() {
        auto& manager = DataReportManager::Instance();
        decltype(manager.m_sendQueue) queue;
        const qolive::MutexLock lock(manager.m_sendMutex);
        queue.swap(manager.m_sendQueue);
    }
};

struct StreamQualityReportTestPeer {
    static Json::Value recordWithSamples(int count) {
        StreamQualityReport report("a", StreamTypeEnum::EventsOnly,
                                   std::make_shared<StreamQulityData>("a", StreamTypeEnum::EventsOnly));
        for (int i = 0; i < count; ++i) {
            report.CollectStreamData();
            report.CollectCpuData();
        }
        Json::Value record;
        report.BuildQualityRecord(record);
        return record;
    }
};

namespace {

/// Counts the allocations of the thread that runs the benchmark, per iteration.
class CountedAllocations {
public:
    explicit CountedAllocations(benchmark::State& state) : m_state(state), m_before(t_allocations) {}
    ~CountedAllocations() {
        m_state.counters["allocations"] = benchmark::Counter(static_cast<double>(t_allocations - m_before),
                                                             benchmark::Counter::kAvgIterations);
    }
    CountedAllocations(const CountedAllocations&) = delete;
    CountedAllocations& operator=(const CountedAllocations&) = delete;

private:
    benchmark::State& m_state;
    const std::int64_t m_before;
};

std::string IdOf(std::int64_t stream) {
    return "stream-" + std::to_string(stream);
}

std::string OwnId(const benchmark::State& state) {
    return IdOf(state.thread_index() % state.range(0));
}

// The least that finds a stream by name and counts without losing anything.
struct Baseline {
    std::mutex mutex;
    std::map<std::string, std::array<std::int64_t, 42>> streams;

    void add(const std::string& id, std::size_t slot, std::int64_t value) {
        const std::lock_guard<std::mutex> lock(mutex);
        const auto stream = streams.find(id);
        if (stream != streams.end()) stream->second[slot] += value;
    }
};

Baseline& SharedBaseline() {
    static Baseline instance;
    return instance;
}

// With the manager's threads running: while a process has one thread only, locks cost it next to nothing.
void StartBaseline(const benchmark::State& state) {
    DataReportManager::Instance().Init();
    for (std::int64_t i = 0; i < state.range(0); ++i)
        SharedBaseline().streams[IdOf(i)] = {};
}

void StopBaseline(const benchmark::State&) {
    SharedBaseline().streams.clear();
}

void StartStreams(const benchmark::State& state) {
    DataReportManager::Instance().Init();
    for (std::int64_t i = 0; i < state.range(0); ++i)
        DataReportManager::Instance().ReportStart(IdOf(i), StreamTypeEnum::EventsOnly);
}

void StopStreams(const benchmark::State& state) {
    for (std::int64_t i = 0; i < state.range(0); ++i)
        DataReportManager::Instance().ReportStop(IdOf(i));
}

void MutexMapAdd(benchmark::State& state) {
    const std::string id = OwnId(state);
    const CountedAllocations counted(state);
    for ([[maybe_unused]] const auto& each : state)
        SharedBaseline().add(id, 2, 1);
}

void AddReportData(benchmark::State& state) {
    const std::string id = OwnId(state);
    auto& manager = DataReportManager::Instance();
    const CountedAllocations counted(state);
    for ([[maybe_unused]] const auto& each : state)
        manager.AddReportData(id, DataTypeEnum::VideoFramesSent, 1);
}

void StreamsAndThreads(benchmark::internal::Benchmark* bench) {
    bench->ArgName("streams")->Arg(1)->Arg(4)->Arg(16)->Arg(64)->Threads(1)->Threads(4)->UseRealTime();
}

BENCHMARK(MutexMapAdd)->Apply(StreamsAndThreads)->Setup(StartBaseline)->Teardown(StopBaseline);
BENCHMARK(AddReportData)->Apply(StreamsAndThreads)->Setup(StartStreams)->Teardown(StopStreams);

// 4096 ids fit a millisecond: 244 ns for one is as fast as ids can be given out.
void GetMid(benchmark::State& state) {
    for ([[maybe_unused]] const auto& each : state)
        benchmark::DoNotOptimize(DataReportManagerTestPeer::mid());
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK(GetMid)->Threads(1)->Threads(4)->UseRealTime();

Json::Value QualityHead() {
    Json::Value head;
    head["event"] = 2;
    head["type"] = 2;
    head["mid"] = "1234567890123456789";
    return head;
}

void WriteQualityRecord(benchmark::State& state) {
    const Json::Value record = StreamQualityReportTestPeer::recordWithSamples(12);
    const Json::Value head = QualityHead();
    const CountedAllocations counted(state);
    for ([[maybe_unused]] const auto& each : state) {
        benchmark::DoNotOptimize(WriteCompactJson(record));
        benchmark::DoNotOptimize(WriteCompactJson(head));
    }
}

// Without a connection, so that the send thread takes nothing: what is queued waits until it is forgotten.
void SendStreamReport(benchmark::State& state) {
    constexpr int kForgetEvery = 16;
    const Json::Value record = StreamQualityReportTestPeer::recordWithSamples(12);
    Json::Value head = QualityHead();
    auto& manager = DataReportManager::Instance();
    manager.Init();
    int queued = 0;
    std::int64_t heldBefore = t_heldBytes;
    const CountedAllocations counted(state);
    for ([[maybe_unused]] const auto& each : state) {
        manager.SendStreamReport(record, head);
        if (++queued < kForgetEvery) continue;
        state.PauseTiming();
        state.counters["bytes_waiting"] = static_cast<double>(t_heldBytes - heldBefore) / queued;
        DataReportManagerTestPeer::forgetQueue();
        heldBefore = t_heldBytes;
        queued = 0;
        state.ResumeTiming();
    }
    DataReportManagerTestPeer::forgetQueue();
}

BENCHMARK(WriteQualityRecord);
BENCHMARK(SendStreamReport);

}  // namespace
}  // namespace data_report
