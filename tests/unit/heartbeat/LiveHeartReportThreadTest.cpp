#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <ctime>
#include <future>
#include <mutex>
#include <thread>

#include "fakes/CapturingLog.h"
#include "unit/heartbeat/HeartbeatFixture.h"

namespace {

using namespace heartbeat_test;
using fakes::CapturingLog;
using fakes::FakeMsgCenter;

constexpr const char* kThreadStart = "[LiveState] LiveHeartReport::ThreadProc start";
constexpr const char* kThreadFinish = "[LiveState] LiveHeartReport::ThreadProc finish";

/// A log that stops the threads that write a line containing `part`, until they are released.
class BlockingLog {
public:
    explicit BlockingLog(std::string part) : m_part(std::move(part)) { SetLogSink(&receive, this); }
    ~BlockingLog() {
        release();
        SetLogSink(nullptr, nullptr);
    }
    BlockingLog(const BlockingLog&) = delete;
    BlockingLog& operator=(const BlockingLog&) = delete;

    bool waitForBlocked(int count) {
        return Eventually([this, count] { return m_blocked >= count; });
    }
    void release() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_released = true;
        m_condition.notify_all();
    }
    int finished() const { return m_finished; }

private:
    static void receive(void* user, int, const char* line) { static_cast<BlockingLog*>(user)->take(line); }
    void take(const std::string& line) {
        if (line == kThreadFinish) ++m_finished;
        if (line.find(m_part) == std::string::npos) return;
        std::unique_lock<std::mutex> lock(m_mutex);
        if (m_released) return;
        ++m_blocked;
        m_condition.wait(lock, [this] { return m_released; });
    }

    const std::string m_part;
    std::mutex m_mutex;
    std::condition_variable m_condition;
    bool m_released = false;
    std::atomic<int> m_blocked{0};
    std::atomic<int> m_finished{0};
};

template <class Call>
auto InTime(Call call) {
    auto result = std::async(std::launch::async, call);
    if (result.wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
        ADD_FAILURE() << "the call does not return";
        std::abort();
    }
    return result.get();
}

struct LiveHeartReportThread : testing::Test {
    OpenReport heartbeat;
    FakeMsgCenter main = FakeMsgCenter::main();
    FakeMsgCenter backup = FakeMsgCenter::backup();

    int typeOf(const fakes::SentMessage& message) { return Parsed(message.body)["type"].asInt(); }
};

TEST_F(LiveHeartReportThread, StartTwiceStartsOnceAndMakesOneThread) {
    const int before = fakes::ThreadsCreated();
    EXPECT_EQ(heartbeat.start(), 1);
    EXPECT_EQ(heartbeat.start(), 2);
    EXPECT_EQ(fakes::ThreadsCreated(), before + 1);
    EXPECT_EQ(main.sendersCreated(kHeartCmd), 1);
    EXPECT_EQ(main.sendersCreated(kCommonCmd), 1);
    EXPECT_EQ(backup.sendersCreated(kHeartCmd), 0);
    EXPECT_EQ(heartbeat.m_mainSender->m_name, "mainSender");
    EXPECT_EQ(heartbeat.m_commonSender->m_name, "commonSender");
}

TEST_F(LiveHeartReportThread, AMainSenderThatCannotBeCreatedFailsTheStartUntilStop) {
    main.createSenderFails();
    const CapturingLog log;
    EXPECT_EQ(heartbeat.start(), 0);
    EXPECT_EQ(log.texts(), std::vector<std::string>{"[LiveState] m_senderPtr is null cmd:2"});
    EXPECT_FALSE(heartbeat.hasThread());
    EXPECT_FALSE(heartbeat.m_bRun);
    EXPECT_EQ(heartbeat.m_commonSender, nullptr);
    main.createSenderFails(false);
    EXPECT_EQ(heartbeat.start(), 2);
    EXPECT_EQ(main.sendersCreated(kHeartCmd), 1);
    EXPECT_FALSE(heartbeat.stop());
    EXPECT_EQ(heartbeat.start(), 1);
}

TEST_F(LiveHeartReportThread, ACommandSenderThatCannotBeCreatedDoesNotFailTheStart) {
    MsgSenderStatus blocker;  // has the command number already
    ASSERT_TRUE(blocker.initSender(kCommonCmd, "blocker"));
    const CapturingLog log;
    EXPECT_EQ(heartbeat.start(), 1);
    EXPECT_EQ(log.count("[LiveState] m_senderPtr is null cmd:4"), 1);
    main.connect(kHeartCmd);
    EXPECT_TRUE(Eventually([this] { return main.sent(kHeartCmd).size() == 1; }));
    heartbeat.stop();
}

TEST_F(LiveHeartReportThread, StartBackUpTwiceOpensOneSender) {
    EXPECT_TRUE(heartbeat.startBackUp());
    EXPECT_FALSE(heartbeat.startBackUp());
    EXPECT_EQ(backup.sendersCreated(kHeartCmd), 1);
    EXPECT_EQ(heartbeat.start(), 1);
    EXPECT_FALSE(heartbeat.startBackUp());
}

TEST_F(LiveHeartReportThread, StartBackUpSucceedsEvenWithoutASender) {
    backup.createSenderFails();
    EXPECT_TRUE(heartbeat.startBackUp());
    EXPECT_FALSE(heartbeat.startBackUp());
    EXPECT_EQ(heartbeat.m_backSender->m_senderPtr, nullptr);
}

TEST_F(LiveHeartReportThread, FourFailedThreadCreationsAreLoggedAndStartSucceeds) {
    const CapturingLog log;
    fakes::FailThreadCreations(4);
    EXPECT_EQ(heartbeat.start(), 1);
    EXPECT_EQ(log.count("[LiveState] StartThread failed err=8"), 4);
    EXPECT_EQ(log.countContaining("StartThread Success"), 0);
    EXPECT_FALSE(heartbeat.hasThread());
    EXPECT_TRUE(heartbeat.m_bRun);
    heartbeat.stop();
    EXPECT_EQ(heartbeat.start(), 1);
    EXPECT_TRUE(heartbeat.hasThread());
    heartbeat.stop();
}

TEST_F(LiveHeartReportThread, AThreadThatIsRefusedForGoodIsToldOnceAtLevelFour) {
    const CapturingLog log;
    fakes::FailThreadCreations(4);
    EXPECT_EQ(heartbeat.start(), 1);
    for (const auto& line : log.lines())
        EXPECT_EQ(line.level, line.text.find("StartThread gave up") == std::string::npos ? 2 : 4)
            << line.text;
    EXPECT_EQ(log.countContaining("StartThread gave up"), 1);
}

TEST_F(LiveHeartReportThread, TheNextStartTriesARefusedThreadAgain) {
    fakes::FailThreadCreations(8);
    EXPECT_EQ(heartbeat.start(), 1);
    EXPECT_EQ(heartbeat.start(), 2);
    EXPECT_FALSE(heartbeat.hasThread());
    EXPECT_EQ(heartbeat.start(), 2);
    EXPECT_TRUE(heartbeat.hasThread());
    main.connect(kHeartCmd);
    EXPECT_TRUE(Eventually([this] { return main.sent(kHeartCmd).size() == 1; }));
    const int threads = fakes::ThreadsCreated();
    EXPECT_EQ(heartbeat.start(), 2);
    EXPECT_EQ(fakes::ThreadsCreated(), threads);
}

TEST_F(LiveHeartReportThread, ThreeFailedThreadCreationsAreMadeUpForByTheFourth) {
    const CapturingLog log;
    fakes::FailThreadCreations(3);
    EXPECT_EQ(heartbeat.start(), 1);
    EXPECT_EQ(log.count("[LiveState] StartThread failed err=8"), 3);
    EXPECT_EQ(log.countContaining("[LiveState] StartThread Success id="), 1);
    heartbeat.stop();
}

TEST_F(LiveHeartReportThread, TheEntryTakesNoObjectForAnAnswer) {
    const CapturingLog log;
    EXPECT_EQ(LiveHeartReport::ThreadProc(nullptr), 0u);
    EXPECT_EQ(log.texts(), (std::vector<std::string>{kThreadStart, kThreadFinish}));
}

TEST_F(LiveHeartReportThread, EveryLineIsOfLevelTwo) {
    const CapturingLog log;
    fakes::FailThreadCreations(1);
    ASSERT_EQ(heartbeat.start(), 1);
    main.connect(kHeartCmd);
    ASSERT_TRUE(Eventually([&log] { return log.countContaining("isMain:main sender") == 1; }));
    main.serverData(kHeartCmd, R"({"type":3})");
    main.disconnect(kHeartCmd);
    heartbeat.stop();
    LiveHeartReport::ThreadProc(nullptr);
    for (const char* part :
         {"StartThread failed", "StartThread Success", "ThreadProc start", "ThreadProc finish",
          "OnSrvCb sender", " connect info:", " disconnect info:", "disponseData", "isMain:main sender"})
        EXPECT_GE(log.countContaining(part), 1) << part;
    for (const auto& line : log.lines())
        EXPECT_EQ(line.level, 2) << line.text;
}

TEST_F(LiveHeartReportThread, EachConnectionGetsAFullReportSoonAfterItComesUp) {
    heartbeat.start();
    heartbeat.startBackUp();
    main.connect(kHeartCmd);
    EXPECT_TRUE(Eventually([this] { return main.sent(kHeartCmd).size() == 1; }));
    EXPECT_EQ(backup.sendAttempts(kHeartCmd), 0);
    backup.connect(kHeartCmd);
    EXPECT_TRUE(Eventually([this] { return backup.sent(kHeartCmd).size() == 1; }));
    EXPECT_EQ(typeOf(main.sent(kHeartCmd)[0]), 1);
    EXPECT_EQ(typeOf(backup.sent(kHeartCmd)[0]), 1);
}

TEST_F(LiveHeartReportThread, TheThreadOutlivesAPassThatMemoryIsTooShortFor) {
    ASSERT_EQ(heartbeat.start(), 1);
    main.sendThrows(kHeartCmd, 1);
    ASSERT_TRUE(main.connect(kHeartCmd));
    ASSERT_TRUE(Eventually([&] { return main.sent(kHeartCmd).size() == 1; }));
    EXPECT_EQ(main.sendAttempts(kHeartCmd), 2);
    EXPECT_EQ(typeOf(main.sent(kHeartCmd)[0]), 1);
}

TEST_F(LiveHeartReportThread, TheTimeOfAReportHasWholeSeconds) {
    heartbeat.start();
    main.connect(kHeartCmd);
    ASSERT_TRUE(Eventually([this] { return main.sent(kHeartCmd).size() == 1; }));
    EXPECT_EQ(Parsed(main.sent(kHeartCmd)[0].body)["ts"].asInt64() % 1000, 0);
}

TEST_F(LiveHeartReportThread, PeriodicAndFinalReportsCarryTheWallClock) {
    const std::int64_t before = static_cast<std::int64_t>(std::time(nullptr)) * 1000;
    heartbeat.start();
    main.connect(kHeartCmd);
    ASSERT_TRUE(Eventually([this] { return main.sent(kHeartCmd).size() >= 1; }));
    ASSERT_TRUE(heartbeat.stop());
    const std::int64_t after = static_cast<std::int64_t>(std::time(nullptr)) * 1000;
    const auto sent = main.sent(kHeartCmd);
    ASSERT_GE(sent.size(), 2u);
    for (const auto& message : sent) {
        const std::int64_t ts = Parsed(message.body)["ts"].asInt64();
        EXPECT_GE(ts, before);
        EXPECT_LE(ts, after);
        EXPECT_EQ(ts % 1000, 0);
    }
}

TEST_F(LiveHeartReportThread, WaitingCommandsDrainInOrder) {
    heartbeat.start();
    for (int i = 0; i < 21; ++i)
        ASSERT_TRUE(heartbeat.sendComand(i, "x"));
    main.connect(kCommonCmd);
    ASSERT_TRUE(Eventually([this] { return main.sent(kCommonCmd).size() == 21; }));
    for (int i = 0; i < 21; ++i)
        EXPECT_EQ(Parsed(main.sent(kCommonCmd)[static_cast<std::size_t>(i)].body)["bizType"].asInt(), i);
}

TEST_F(LiveHeartReportThread, AThreadOfTheHostMayRunTheLoopUntilTheStop) {
    fakes::FailThreadCreations(4);
    heartbeat.start();
    std::thread host([this] { LiveHeartReport::ThreadProc(static_cast<LiveHeartReport*>(&heartbeat)); });
    main.connect(kHeartCmd);
    EXPECT_TRUE(Eventually([this] { return main.sent(kHeartCmd).size() == 1; }));
    EXPECT_TRUE(heartbeat.stop());
    host.join();
}

TEST_F(LiveHeartReportThread, ARefusedCommandIsTriedOncePerPause) {
    main.sendFails(kCommonCmd);
    heartbeat.start();
    ASSERT_TRUE(heartbeat.sendComand(1, "x"));
    // Measured from before the first attempt, so that a busy machine can only make it longer.
    const auto start = std::chrono::steady_clock::now();
    main.connect(kCommonCmd);
    ASSERT_TRUE(Eventually([this] { return main.sendAttempts(kCommonCmd) >= 3; }));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(390));
    EXPECT_EQ(heartbeat.queued().size(), 1u);
}

TEST_F(LiveHeartReportThread, StopOnANeverStartedInstanceOnlyResetsTheState) {
    heartbeat.updateLiveID("x");
    const CapturingLog log;
    EXPECT_FALSE(heartbeat.stop());
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(heartbeat.getSessionId(), "");
    EXPECT_EQ(FakeMsgCenter::centersMade(), 0);
}

TEST_F(LiveHeartReportThread, StopSendsFinalReportsAndClosesTheSenders) {
    heartbeat.startUndriven();
    heartbeat.startBackUp();
    main.connect(kHeartCmd);
    backup.connect(kHeartCmd);
    heartbeat.updateliveStatus(true);
    EXPECT_TRUE(heartbeat.stop());
    ASSERT_EQ(main.sent(kHeartCmd).size(), 1u);
    ASSERT_EQ(backup.sent(kHeartCmd).size(), 1u);
    EXPECT_EQ(Parsed(main.sent(kHeartCmd)[0].body)["liveStatus"].asInt(), 1);
    EXPECT_FALSE(main.hasSender(kHeartCmd));
    EXPECT_FALSE(main.hasSender(kCommonCmd));
    EXPECT_FALSE(backup.hasSender(kHeartCmd));
    EXPECT_EQ(heartbeat.m_mainSender, nullptr);
    EXPECT_EQ(heartbeat.m_backSender, nullptr);
    EXPECT_EQ(heartbeat.m_commonSender, nullptr);
    EXPECT_FALSE(heartbeat.hasThread());
    EXPECT_EQ(heartbeat.GetLiveHeartReportData().liveStatus, 2);
}

TEST_F(LiveHeartReportThread, StopClosesTheCommandsSenderFirstAndTheBackupsLast) {
    heartbeat.startUndriven();
    heartbeat.startBackUp();
    FakeMsgCenter::events();
    heartbeat.stop();
    EXPECT_EQ(FakeMsgCenter::events(),
              (std::vector<std::string>{"main close 4", "main close 2", "backup close 2"}));
}

TEST_F(LiveHeartReportThread, AFinalReportFollowsTheMarkOfItsConnection) {
    heartbeat.startUndriven();
    heartbeat.startBackUp();
    main.connect(kHeartCmd);
    backup.connect(kHeartCmd);
    ASSERT_TRUE(heartbeat.report(heartbeat.m_mainSender, 0, false));
    EXPECT_TRUE(heartbeat.stop());
    EXPECT_EQ(typeOf(main.sent(kHeartCmd).back()), 2);
    EXPECT_EQ(typeOf(backup.sent(kHeartCmd).back()), 1);
}

TEST_F(LiveHeartReportThread, StopReturnsWhatBecameOfTheFinalReportOnTheMainConnection) {
    heartbeat.startUndriven();
    heartbeat.startBackUp();
    backup.connect(kHeartCmd);
    EXPECT_FALSE(heartbeat.stop());
    EXPECT_EQ(backup.sent(kHeartCmd).size(), 1u);
    heartbeat.startUndriven();
    main.connect(kHeartCmd);
    main.sendFails(kHeartCmd);
    EXPECT_FALSE(heartbeat.stop());
}

TEST_F(LiveHeartReportThread, StopLeavesQueuedCommandsForTheNextStart) {
    heartbeat.start();
    ASSERT_TRUE(heartbeat.sendComand(1, "kept"));
    heartbeat.stop();
    EXPECT_EQ(heartbeat.queued().size(), 1u);
    EXPECT_FALSE(heartbeat.sendComand(1, "refused"));
    EXPECT_EQ(heartbeat.queued().size(), 1u);
    heartbeat.start();
    main.connect(kCommonCmd);
    EXPECT_TRUE(Eventually([this] { return main.sent(kCommonCmd).size() == 1; }));
}

TEST_F(LiveHeartReportThread, ANewStartReportsAtOnceAgain) {
    for (int i = 0; i < 2; ++i) {
        main.forgetSent(kHeartCmd);
        ASSERT_EQ(heartbeat.start(), 1);
        std::int64_t mainTm = 0;
        std::int64_t backTm = 0;
        heartbeat.GetLastReportTm(mainTm, backTm);
        EXPECT_EQ(mainTm, -1);
        main.connect(kHeartCmd);
        EXPECT_TRUE(Eventually([this] { return main.sent(kHeartCmd).size() == 1; }));
        EXPECT_EQ(typeOf(main.sent(kHeartCmd)[0]), 1);
        heartbeat.stop();
    }
}

TEST_F(LiveHeartReportThread, AThreadInItsPauseIsEndedWithoutReturning) {
    const CapturingLog log;
    heartbeat.start();
    main.connect(kHeartCmd);
    ASSERT_TRUE(Eventually([this] { return main.sent(kHeartCmd).size() == 1; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));  // into the pause of 200 ms
    heartbeat.stop();
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
    EXPECT_EQ(log.count(kThreadStart), 1);
    EXPECT_EQ(log.count(kThreadFinish), 0);
}

TEST_F(LiveHeartReportThread, AThreadCaughtOutsideItsPauseIsLetGoAndReturnsByItself) {
    BlockingLog log(kThreadStart);
    heartbeat.start();
    ASSERT_TRUE(log.waitForBlocked(1));
    InTime([this] { return heartbeat.stop(); });
    EXPECT_FALSE(heartbeat.hasThread());
    log.release();
    EXPECT_TRUE(Eventually([&log] { return log.finished() == 1; }));
}

TEST_F(LiveHeartReportThread, AThreadThatWasLetGoDoesNotStayOnAfterANewStart) {
    BlockingLog log(kThreadStart);
    heartbeat.start();
    ASSERT_TRUE(log.waitForBlocked(1));
    heartbeat.stop();
    heartbeat.start();
    ASSERT_TRUE(log.waitForBlocked(2));
    log.release();
    EXPECT_TRUE(Eventually([&log] { return log.finished() == 1; }));
    main.connect(kHeartCmd);
    EXPECT_TRUE(Eventually([this] { return main.sent(kHeartCmd).size() == 1; }));
    EXPECT_EQ(log.finished(), 1);
}

TEST_F(LiveHeartReportThread, TheFinalReportsGoOutWithoutTheLock) {
    heartbeat.startUndriven();
    main.connect(kHeartCmd);
    heartbeat.updateLiveID("id");
    BlockingLog log("isMain:main sender");
    auto stopped = std::async(std::launch::async, [this] { return heartbeat.stop(); });
    ASSERT_TRUE(log.waitForBlocked(1));
    EXPECT_EQ(InTime([this] { return heartbeat.getSessionId(); }), "id");
    InTime([this] { return heartbeat.sendComand(1, "x"); });
    EXPECT_EQ(InTime([this] { return heartbeat.start(); }), 2);
    log.release();
    EXPECT_TRUE(stopped.get());
}

TEST_F(LiveHeartReportThread, TwoStopsAtOnceComeOneAfterTheOther) {
    heartbeat.startUndriven();
    main.connect(kHeartCmd);
    BlockingLog log("isMain:main sender");
    auto first = std::async(std::launch::async, [this] { return heartbeat.stop(); });
    ASSERT_TRUE(log.waitForBlocked(1));
    auto second = std::async(std::launch::async, [this] { return heartbeat.stop(); });
    EXPECT_EQ(second.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    log.release();
    EXPECT_TRUE(first.get());
    EXPECT_FALSE(second.get());
    EXPECT_EQ(main.sent(kHeartCmd).size(), 1u);
    EXPECT_EQ(main.sendersClosed(kHeartCmd), 1);
}

TEST_F(LiveHeartReportThread, ALogThatLocksAndAllocatesSurvivesEveryStop) {
    struct Sink {
        static void receive(void* user, int, const char* line) {
            auto& self = *static_cast<Sink*>(user);
            const std::lock_guard<std::mutex> lock(self.mutex);
            self.lines.emplace_back(line);
            if (self.lines.size() > 100) self.lines.clear();
        }
        std::mutex mutex;
        std::vector<std::string> lines;
    } sink;
    SetLogSink(&Sink::receive, &sink);
    for (int i = 0; i < 500; ++i) {
        ASSERT_EQ(heartbeat.start(), 1);
        heartbeat.startBackUp();
        main.connect(kHeartCmd);
        backup.connect(kHeartCmd);
        if (i % 3 == 0) std::this_thread::yield();
        heartbeat.stop();
        const std::lock_guard<std::mutex> lock(sink.mutex);
        sink.lines.emplace_back(100, 'x');
    }
    SetLogSink(nullptr, nullptr);
}

struct Unstopped : LiveHeartReport {
    using LiveHeartReport::m_commonSender;
    using LiveHeartReport::m_mainSender;
};

TEST_F(LiveHeartReportThread, AnInstanceMayBeDestroyedWhileItsThreadRuns) {
    for (int i = 0; i < 20; ++i) {
        auto own = std::make_unique<Unstopped>();
        ASSERT_EQ(own->start(), 1);
        main.connect(kHeartCmd);
        const bool isPausing = i % 2 == 0;
        ASSERT_TRUE(Eventually([&] { return !isPausing || !main.sent(kHeartCmd).empty(); }));
        main.forgetSent(kHeartCmd);
        MsgSenderStatus* const mainSender = own->m_mainSender;
        MsgSenderStatus* const commonSender = own->m_commonSender;
        own.reset();
        // The senders stay open for whoever still calls them.
        EXPECT_TRUE(main.callback(kHeartCmd, 0, 0, "still heard"));
        delete commonSender;
        delete mainSender;
    }
}

TEST_F(LiveHeartReportThread, AnInstanceMayBeDestroyedBeforeItsThreadHasComeToIt) {
    BlockingLog log(kThreadStart);
    auto own = std::make_unique<Unstopped>();
    ASSERT_EQ(own->start(), 1);
    ASSERT_TRUE(log.waitForBlocked(1));
    const std::unique_ptr<MsgSenderStatus> mainSender(own->m_mainSender);
    const std::unique_ptr<MsgSenderStatus> commonSender(own->m_commonSender);
    own.reset();
    main.connect(kHeartCmd);
    log.release();
    EXPECT_TRUE(Eventually([&] { return log.finished() == 1; }));
    EXPECT_TRUE(main.sent(kHeartCmd).empty());
}

using LiveHeartReportExit = LiveHeartReportThread;

TEST_F(LiveHeartReportExit, TheProcessMayEndWhileTheHeartbeatRuns) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            LiveHeartReport::GetInstance()->start();
            LiveHeartReport::GetInstance()->startBackUp();
            FakeMsgCenter::main().connect(kHeartCmd);
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
