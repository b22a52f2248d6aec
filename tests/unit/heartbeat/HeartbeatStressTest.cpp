#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>

#include "heartbeat/LiveHeartReportManager.h"
#include "support/LongForm.h"
#include "unit/heartbeat/HeartbeatFixture.h"

namespace {

using namespace heartbeat_test;
using fakes::FakeMsgCenter;

int Cycles() {
    const char* const set = std::getenv("QOLIVE_STRESS_CYCLES");  // NOLINT(concurrency-mt-unsafe)
    return set ? std::atoi(set) : QOLIVE_STRESS_CYCLES * (support::LongForm() ? 10 : 1);
}

/// The threads of this process; 0 where the system does not tell.
std::ptrdiff_t ThreadsOfProcess() {
    std::error_code error;
    const std::filesystem::directory_iterator tasks("/proc/self/task", error);
    return error ? 0 : std::distance(begin(tasks), end(tasks));
}

struct HeartbeatStress : testing::Test {
    void SetUp() override {
        SetLogSink([](void*, int, const char*) {}, nullptr);
    }
    void TearDown() override { SetLogSink(nullptr, nullptr); }

    template <class Work>
    void beside(Work work) {
        threads.emplace_back([this, work]() mutable {
            while (!done)
                work();
        });
    }
    void end() {
        done = true;
        for (auto& thread : threads)
            thread.join();
    }
    void oneCycle() {
        ASSERT_EQ(heartbeat.start(), 1);
        ASSERT_TRUE(heartbeat.startBackUp());
        ASSERT_TRUE(main.connect(kHeartCmd));
        ASSERT_TRUE(backup.connect(kHeartCmd));
        ASSERT_TRUE(main.connect(kCommonCmd));
        ASSERT_TRUE(heartbeat.isConnecting());
        ASSERT_TRUE(heartbeat.stop());
        ASSERT_FALSE(main.hasSender(kHeartCmd));
        ASSERT_FALSE(main.hasSender(kCommonCmd));
        ASSERT_FALSE(backup.hasSender(kHeartCmd));
        checkReports(main);
        checkReports(backup);
    }
    /// By the final report or by the thread's own, whichever came first after the change.
    static bool reported(FakeMsgCenter center, const std::string& streamName) {
        const auto sent = center.sent(kHeartCmd);
        return std::any_of(sent.begin(), sent.end(), [&streamName](const fakes::SentMessage& message) {
            return Parsed(message.body)["liveInfo"]["streamName"].asString() == streamName;
        });
    }
    /// No report mixes two calls of a setter.
    void checkReports(FakeMsgCenter center) {
        ASSERT_FALSE(center.sent(kHeartCmd).empty());
        for (const auto& message : center.sent(kHeartCmd)) {
            const Json::Value mic = Parsed(message.body)["micInfo"];
            const std::string expected = mic["sid"].asInt() == 0 ? "" : std::to_string(mic["sid"].asInt());
            ASSERT_EQ(mic["streamName"].asString(), expected);
        }
        center.forgetSent(kHeartCmd);
    }

    LiveHeartReport& heartbeat = *LiveHeartReport::GetInstance();
    FakeMsgCenter main = FakeMsgCenter::main();
    FakeMsgCenter backup = FakeMsgCenter::backup();
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
};

TEST_F(HeartbeatStress, CyclesBesideSettersAndCommandsNeitherHangNorLoseTheState) {
    std::thread([] {}).join();  // a sanitizer may start a thread of its own beside the first one
    const std::ptrdiff_t threadsBefore = ThreadsOfProcess();
    std::atomic<int> queued{0};
    beside([this, n = 0]() mutable {
        ++n;
        heartbeat.updateMicInfo(n, n, std::to_string(n), n, n, n, n, n, std::to_string(n), n);
        heartbeat.updatemicStatus(n % 2 == 0);
    });
    beside([this, n = 0]() mutable {
        heartbeat.updateLiveStreamInfo("live", ++n, 2, 3, 4);
        heartbeat.updateliveStatus(n % 3 != 0);
        heartbeat.updateLiveID("id");
    });
    beside([this, &queued] {
        if (heartbeat.sendComand(queued + 1, "x")) ++queued;
        std::this_thread::yield();
    });
    beside([this] {
        std::int64_t mainTm = 0;
        std::int64_t backTm = 0;
        heartbeat.GetLastReportTm(mainTm, backTm);
        heartbeat.updateDataState(true);
        const LiveHeartReportData data = heartbeat.GetLiveHeartReportData();
        ASSERT_EQ(data.micStreamName, data.micSid == 0 ? "" : std::to_string(data.micSid));
    });
    for (int i = 0; i < Cycles() && !HasFatalFailure(); ++i)
        oneCycle();
    end();

    ASSERT_EQ(heartbeat.start(), 1);
    heartbeat.updateliveStatus(true);
    heartbeat.updateLiveStreamInfo("last", 1, 2, 3, 4);
    main.connect(kCommonCmd);
    main.connect(kHeartCmd);
    EXPECT_TRUE(heartbeat.stop());
    EXPECT_TRUE(reported(main, "last"));
    EXPECT_GT(queued, 0);
    int last = 0;
    for (const auto& command : main.sent(kCommonCmd)) {
        const int number = Parsed(command.body)["bizType"].asInt();
        ASSERT_GT(number, last) << "twice, or out of order";
        last = number;
    }
    EXPECT_TRUE(Eventually([threadsBefore] { return ThreadsOfProcess() <= threadsBefore; }));
}

TEST_F(HeartbeatStress, StartAndStopFromSeveralThreadsAtOnce) {
    std::atomic<int> started{0};
    for (int i = 0; i < 3; ++i)
        beside([this, &started] {
            int mode = 0;
            if (LiveHeartReportManager::GetInstance()->startLiveheart("{}", mode) == 1) ++started;
            heartbeat.startBackUp();
            heartbeat.updateLiveID("x");
            LiveHeartReportManager::GetInstance()->stopLiveheart();
        });
    // However many there are to be, each has to come.
    for (int seen = 0; seen < Cycles() / 10 && !HasFailure(); seen = started)
        EXPECT_TRUE(Eventually([&started, seen] { return started > seen; })) << "after " << seen;
    end();
    heartbeat.stop();
    EXPECT_EQ(main.sendersCreated(kHeartCmd), main.sendersClosed(kHeartCmd));
    EXPECT_EQ(backup.sendersCreated(kHeartCmd), backup.sendersClosed(kHeartCmd));
    EXPECT_EQ(heartbeat.start(), 1);
    heartbeat.stop();
}

}  // namespace
