#include <cstdlib>
#include <set>
#include <thread>

#include "fakes/CapturingLog.h"
#include "message_center/CMsgCenterFactory.h"
#include "platform/GuardedPass.h"
#include "unit/data_report/ManagerUnderTest.h"

namespace data_report {
namespace {

class Channel : public ManagerUnderTest {
protected:
    /// For as long as it goes on: false when no further attempt comes.
    bool attemptsReach(int count) {
        int made = m_center.sendAttempts(kStreamCommand);
        while (made < count && Eventually([&] { return m_center.sendAttempts(kStreamCommand) > made; }))
            made = m_center.sendAttempts(kStreamCommand);
        return made == count;
    }
};

class Mid : public ManagerUnderTest {
protected:
    std::string nextMid() {
        Json::Value head;
        EXPECT_TRUE(m_manager.SendStreamReport(Json::Value(), head));
        return head["mid"].asString();
    }
};
class Callback : public ManagerUnderTest {};

void ExpectInfoLines(const fakes::CapturingLog& log, const std::vector<std::string>& texts) {
    EXPECT_EQ(log.texts(), texts);
    for (const fakes::LogLine& line : log.lines())
        EXPECT_EQ(line.level, 2) << line.text;
}

struct Id {
    explicit Id(const std::string& text) : value(std::stoll(text)) {}
    std::int64_t sequence() const { return value & 0xfff; }
    std::int64_t worker() const { return (value >> 12) & 0x1f; }
    std::int64_t datacenter() const { return (value >> 17) & 0x1f; }
    std::int64_t ms() const { return (value >> 22) + 1534832906275; }
    std::int64_t value;
};

TEST_F(Mid, TheFirstIdHasSequenceZeroAndTheTimeOfItsMaking) {
    start();
    const auto before = static_cast<std::int64_t>(DataReportManager::GetTickCountMs());
    const Id id(nextMid());
    EXPECT_EQ(id.sequence(), 0);
    EXPECT_EQ(id.worker(), 1);
    EXPECT_EQ(id.datacenter(), 1);
    EXPECT_NEAR(static_cast<double>(id.ms()), static_cast<double>(before), 2000.0);
}

TEST_F(Mid, IdsOfManyThreadsAreUniqueAndEachThreadsOwnAscend) {
    constexpr int kThreads = 4;
    constexpr int kEach = 5000;
    start();
    std::vector<std::vector<std::int64_t>> ids(kThreads);
    AtOnce(kThreads, [&](int thread) {
        for (int i = 0; i < kEach; ++i)
            ids[static_cast<std::size_t>(thread)].push_back(Id(nextMid()).value);
    });
    std::set<std::int64_t> all;
    for (const auto& mine : ids) {
        EXPECT_TRUE(std::is_sorted(mine.begin(), mine.end()));
        all.insert(mine.begin(), mine.end());
    }
    EXPECT_EQ(all.size(), static_cast<std::size_t>(kThreads * kEach));
}

TEST_F(Channel, ADisabledManagerLeavesTheHeadWithoutAMid) {
    Json::Value head;
    head["type"] = 1;
    EXPECT_FALSE(m_manager.SendStreamReport(Json::Value(), head));
    EXPECT_EQ(head.getMemberNames(), std::vector<std::string>{"type"});
}

TEST_F(Channel, AHeadKeepsItsKeysAndGainsAMidInPlaceOfAnEarlierOne) {
    startConnected();
    Json::Value head;
    head["type"] = 7;
    head["event"] = 8;
    head["mid"] = "earlier";
    EXPECT_TRUE(m_manager.SendStreamReport(Json::Value(), head));
    EXPECT_EQ(head["type"].asInt(), 7);
    EXPECT_EQ(head["event"].asInt(), 8);
    EXPECT_GT(Id(head["mid"].asString()).value, 0);
    const auto records = sentSoFar();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].head, head);
}

TEST_F(Channel, BodyAndHeadAreWhatTheCompactWriterWrote) {
    startConnected();
    Json::Value record;
    record["b"] = 1;
    record["a"] = "x";
    Json::Value head;
    ASSERT_TRUE(m_manager.SendStreamReport(record, head));
    ASSERT_EQ(sentSoFar().size(), 1U);
    const fakes::SentMessage message = m_center.sent(kStreamCommand)[0];
    EXPECT_EQ(message.body, "{\"a\":\"x\",\"b\":1}\n");
    EXPECT_EQ(message.head, "{\"mid\":\"" + head["mid"].asString() + "\"}\n");
}

TEST_F(Channel, AHeadThatHoldsNoKeysIsRefusedWithOneLine) {
    startConnected();
    const fakes::CapturingLog log;
    Json::Value head("text");
    EXPECT_FALSE(m_manager.SendStreamReport(Json::Value(), head));
    EXPECT_EQ(head, Json::Value("text"));
    EXPECT_EQ(log.countContaining("[DataReportManager] SendStreamReport not queued: "), 1);
}

TEST_F(Channel, WhatWasQueuedWhileDisconnectedGoesOutInOrderWithTheNextRecord) {
    start();
    for (const char* text : {"1", "2", "3"})
        EXPECT_TRUE(send(text));
    ASSERT_TRUE(m_center.connect(kStreamCommand));
    EXPECT_TRUE(send("4"));
    EXPECT_TRUE(Eventually([this] { return sent().size() == 4; }));
    EXPECT_EQ(sentTexts(), (std::vector<std::string>{"1", "2", "3", "4"}));
}

TEST_F(Channel, AConnectStatusAloneDoesNotWakeTheSendThread) {
    start();
    std::this_thread::sleep_for(std::chrono::milliseconds(200));  // the send thread waits by then
    EXPECT_TRUE(send("1"));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));  // and waits again
    ASSERT_TRUE(m_center.connect(kStreamCommand));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(m_center.sendAttempts(kStreamCommand), 0);
    EXPECT_TRUE(send("2"));
    EXPECT_TRUE(Eventually([this] { return sent().size() == 2; }));
    EXPECT_EQ(sentTexts(), (std::vector<std::string>{"1", "2"}));
}

TEST_F(Channel, ManyThousandMessagesWaitAndLeaveInOrder) {
    constexpr int kWaiting = 20000;
    const fakes::CapturingLog log;  // keeps a line for each of them out of the output
    start();
    std::vector<std::string> texts;
    for (int i = 0; i < kWaiting; ++i) {
        texts.push_back(std::to_string(i));
        ASSERT_TRUE(send(texts.back()));
    }
    ASSERT_TRUE(m_center.connect(kStreamCommand));
    texts.emplace_back("one more");
    EXPECT_TRUE(send(texts.back()));
    EXPECT_TRUE(attemptsReach(kWaiting + 1));
    EXPECT_TRUE(sentTexts() == texts) << "of " << sent().size() << " messages some are out of order";
}

TEST_F(Channel, ADisconnectDuringABatchDropsTheRest) {
    startConnected();
    m_center.sendFails(kStreamCommand);
    std::thread sending([this] { m_peer.sendBatch(3); });
    ASSERT_TRUE(Eventually([this] { return m_center.sendAttempts(kStreamCommand) > 0; }));
    ASSERT_TRUE(m_center.disconnect(kStreamCommand));
    sending.join();
    m_center.sendFails(kStreamCommand, false);
    ASSERT_TRUE(m_center.connect(kStreamCommand));
    EXPECT_TRUE(sentSoFar().empty());
}

TEST_F(Channel, ARefusedMessageIsTriedAgainUntilItIsAccepted) {
    startConnected();
    m_center.sendFails(kStreamCommand);
    EXPECT_TRUE(send("1"));
    EXPECT_TRUE(send("2"));
    ASSERT_TRUE(Eventually([this] { return m_center.sendAttempts(kStreamCommand) >= 2; }));
    EXPECT_TRUE(sent().empty());
    m_center.sendFails(kStreamCommand, false);
    EXPECT_TRUE(Eventually([this] { return sent().size() == 2; }));
    EXPECT_EQ(sentTexts(), (std::vector<std::string>{"1", "2"}));
}

TEST_F(Channel, ARefusedMessageIsTriedAgainAfterAPause) {
    startConnected();
    m_center.sendFails(kStreamCommand);
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_TRUE(send("1"));
    ASSERT_TRUE(Eventually([this] { return m_center.sendAttempts(kStreamCommand) >= 4; }));
    EXPECT_GE(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(550));
    m_center.sendFails(kStreamCommand, false);
}

TEST_F(Channel, AMessageThatMemoryIsTooShortForIsTriedAgainUntilItIsAccepted) {
    const fakes::CapturingLog log;
    startConnected();
    m_center.sendThrows(kStreamCommand, 2);
    EXPECT_TRUE(send("a"));
    EXPECT_TRUE(send("b"));
    ASSERT_TRUE(Eventually([&] { return sent().size() == 2; }));
    EXPECT_EQ(sentTexts(), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(log.countContaining("out of memory"), 2);
    EXPECT_EQ(DroppedPasses(), 2U);
}

TEST_F(Channel, NothingIsHandedOverWithoutALinkOrASender) {
    EXPECT_FALSE(m_peer.handOver("no sender"));
    start();
    EXPECT_FALSE(m_peer.handOver("no link"));
    EXPECT_EQ(m_center.sendAttempts(kStreamCommand), 0);
    ASSERT_TRUE(m_center.connect(kStreamCommand));
    EXPECT_TRUE(m_peer.handOver("both"));
    m_center.sendFails(kStreamCommand);
    EXPECT_FALSE(m_peer.handOver("refused"));
    ASSERT_TRUE(m_center.disconnect(kStreamCommand));
    EXPECT_FALSE(m_peer.handOver("no link any more"));
    EXPECT_EQ(m_center.sendAttempts(kStreamCommand), 2);
}

TEST_F(Channel, EachSentMessageIsLogged) {
    startConnected();
    const fakes::CapturingLog log;
    sentSoFar();
    EXPECT_TRUE(Eventually([&log] { return !log.lines().empty(); }));
    ExpectInfoLines(log, {"SendStreamReport success"});
}

TEST_F(Channel, ASenderThatCannotBeMadeIsLogged) {
    const fakes::CapturingLog log;
    m_center.createSenderFails();
    EXPECT_FALSE(m_manager.Init());
    ExpectInfoLines(log, {"[DataReportManager] m_senderPtr is null cmd:5"});
}

TEST_F(Callback, AStatusSaysWhetherTheLinkIsUp) {
    start();
    const fakes::CapturingLog log;
    EXPECT_FALSE(m_manager.IsConnected());
    ASSERT_TRUE(m_center.callback(kStreamCommand, 0, 1, "to server"));
    EXPECT_TRUE(m_manager.IsConnected());
    ASSERT_TRUE(m_center.callback(kStreamCommand, 0, 0, "gone"));
    EXPECT_FALSE(m_manager.IsConnected());
    ExpectInfoLines(log, {"[LiveState] OnSrvCb sender:StreamSender cmd:5 msgType:0 code:1 len:9",
                          "[LiveState] disponseStatus sender:StreamSender connect info:to server",
                          "[LiveState] OnSrvCb sender:StreamSender cmd:5 msgType:0 code:0 len:4",
                          "[LiveState] disponseStatus sender:StreamSender disconnect info:gone"});
}

TEST_F(Callback, TheCodeOfADataNoticeIsNotUsed) {
    start();
    startEventsOnly("a");
    ASSERT_TRUE(m_center.callback(kStreamCommand, 1, 7, R"({"type":1,"code":0})"));
    EXPECT_TRUE(m_peer.report("a")->IsEnabled());
}

TEST_F(Callback, AStatusOfAnotherCodeOnlyNotesThatAStatusHasCome) {
    start();
    for (const int code : {2, -1}) {
        const fakes::CapturingLog log;
        ASSERT_TRUE(m_center.callback(kStreamCommand, 0, code, "?"));
        EXPECT_FALSE(m_manager.IsConnected());
        EXPECT_TRUE(m_peer.statusReceived());
        EXPECT_EQ(log.lines().size(), 1U);
    }
    ASSERT_TRUE(m_center.connect(kStreamCommand));
    ASSERT_TRUE(m_center.callback(kStreamCommand, 0, 2, "?"));
    EXPECT_TRUE(m_manager.IsConnected());
}

TEST_F(Callback, NoStatusHasComeAtFirst) {
    start();
    EXPECT_FALSE(m_peer.statusReceived());
}

TEST_F(Callback, NoticesAreLoggedOnceAndIgnored) {
    start();
    for (const int type : {2, 3}) {
        const fakes::CapturingLog log;
        ASSERT_TRUE(m_center.callback(kStreamCommand, type, 0, ""));
        ExpectInfoLines(log, {"[LiveState] OnSrvCb sender:StreamSender cmd:5 msgType:" +
                              std::to_string(type) + " code:0 len:0"});
    }
}

TEST_F(Callback, AnUnknownTypeAddsAnErrorLine) {
    start();
    for (const int type : {7, 4, -1}) {
        const fakes::CapturingLog log;
        ASSERT_TRUE(m_center.callback(kStreamCommand, type, 0, ""));
        ExpectInfoLines(log, {"[LiveState] OnSrvCb sender:StreamSender cmd:5 msgType:" +
                                  std::to_string(type) + " code:0 len:0",
                              "[LiveState] OnSrvCb error"});
    }
}

TEST_F(Callback, WithoutAUserNothingIsDoneOrLogged) {
    const fakes::CapturingLog log;
    DataReportManagerTestPeer::callbackWithoutUser();
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(Callback, BeforeTheStartItNamesNoSender) {
    const fakes::CapturingLog log;
    m_peer.callback(2, 0, "");
    EXPECT_EQ(log.count("[LiveState] OnSrvCb sender:unknown cmd:0 msgType:2 code:0 len:0"), 1);
}

// What stays behind at the end of the process: threads that run, streams, a message that is refused.
void LeaveEverythingRunning() {
    auto& manager = DataReportManager::Instance();
    if (!manager.Init()) std::_Exit(2);
    auto center = fakes::FakeMsgCenter::main();
    center.connect(kStreamCommand);
    center.sendFails(kStreamCommand);
    manager.ReportStart("a", StreamTypeEnum::Sampled);
    manager.ReportEventData("a", EventTypeEnum::StreamStart, Json::Value());
    if (!Eventually([&center] { return center.sendAttempts(kStreamCommand) > 0; })) std::_Exit(3);
}

[[noreturn]] void EndProcess() {
    std::exit(0);  // NOLINT(concurrency-mt-unsafe): the one thread that calls it
}

TEST(ProcessExit, EndsWhileAMessageIsRefusedWithAManagerOlderThanTheFactory) {
    EXPECT_EXIT(
        {
            DataReportManager::Instance();
            LeaveEverythingRunning();
            EndProcess();
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(ProcessExit, EndsWhileAMessageIsRefusedWithAManagerYoungerThanTheFactory) {
    EXPECT_EXIT(
        {
            Bas::CMsgCenterFactory::Inst();
            LeaveEverythingRunning();
            EndProcess();
        },
        ::testing::ExitedWithCode(0), "");
}

void CheckThatTheSenderWasClosedOnce() {
    if (fakes::FakeMsgCenter::main().sendersClosed(kStreamCommand) != 1) std::_Exit(4);
    if (fakes::FakeMsgCenter::centersDestroyed() != 2) std::_Exit(5);
}

TEST(ProcessExit, ClosesTheSenderBeforeTheCenterGoes) {
    EXPECT_EXIT(
        {
            std::atexit(CheckThatTheSenderWasClosedOnce);
            LeaveEverythingRunning();
            EndProcess();
        },
        ::testing::ExitedWithCode(0), "");
}

void CheckThatNothingCanBeStarted() {
    if (DataReportManager::Instance().Init()) std::_Exit(4);
}

TEST(ProcessExit, NothingCanBeStartedOnceTheCentersAreGone) {
    EXPECT_EXIT(
        {
            std::atexit(CheckThatNothingCanBeStarted);
            Bas::CMsgCenterFactory::Inst();
            EndProcess();
        },
        ::testing::ExitedWithCode(0), "");
}

void CheckThatOneMessageWasSent() {
    if (fakes::FakeMsgCenter::main().sent(kStreamCommand).size() != 1) std::_Exit(4);
}

void LeaveAMessageWaiting() {
    auto& manager = DataReportManager::Instance();
    if (!manager.Init()) std::_Exit(2);
    Json::Value head;
    std::this_thread::sleep_for(std::chrono::milliseconds(200));  // the send thread waits by then
    if (!manager.SendStreamReport(Json::Value(), head)) std::_Exit(3);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));  // and waits again
    fakes::FakeMsgCenter::main().connect(kStreamCommand);
}

TEST(ProcessExit, SendsWhatWaitsWhileTheLinkIsUp) {
    EXPECT_EXIT(
        {
            std::atexit(CheckThatOneMessageWasSent);
            LeaveAMessageWaiting();
            EndProcess();
        },
        ::testing::ExitedWithCode(0), "");
}

void CheckThatTheQualityRecordWasSent() {
    const auto sent = fakes::FakeMsgCenter::main().sent(kStreamCommand);
    Json::Value head;
    if (sent.size() != 1 || !ParseJson(sent[0].head, head) || head["type"] != 2) std::_Exit(4);
}

/// The next tick is nearly a second away, and makes the quality record due.
void LeaveAQualityRecordToTheNextTick() {
    auto& manager = DataReportManager::Instance();
    if (!manager.Init()) std::_Exit(2);
    fakes::FakeMsgCenter::main().connect(kStreamCommand);
    DataReportManagerTestPeer peer{manager};
    manager.ReportStart("clock", StreamTypeEnum::EventsOnly);
    Accept(*peer.report("clock"));
    const auto clock = peer.report("clock");
    if (!Eventually([&] { return StreamQualityReportTestPeer{*clock}.lastTickMs() != 0; })) std::_Exit(3);
    manager.ReportStart("a", StreamTypeEnum::Sampled);
    StreamQualityReportTestPeer{*peer.report("a")}.setElapsedSec(59);
    Accept(*peer.report("a"));
}

TEST(ProcessExit, SendsTheQualityRecordOfTheTickThatItWaitsFor) {
    EXPECT_EXIT(
        {
            std::atexit(CheckThatTheQualityRecordWasSent);
            LeaveAQualityRecordToTheNextTick();
            EndProcess();
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(ProcessExit, AManagerThatWasNeverStartedEndsAtOnce) {
    EXPECT_EXIT(
        {
            DataReportManager::Instance();
            EndProcess();
        },
        ::testing::ExitedWithCode(0), "");
}

std::atomic<int> valuesFed{0};
std::atomic<int> roundsFed{0};

[[noreturn]] void FeedValues() {
    for (;; ++valuesFed)
        DataReportManager::Instance().AddReportData("a", DataTypeEnum::VideoFramesSent, 1);
}

[[noreturn]] void FeedEveryWay() {
    auto& manager = DataReportManager::Instance();
    for (;; ++roundsFed) {
        Json::Value head;
        manager.ReportStart("b", StreamTypeEnum::EventsOnly);
        manager.AddReportStringData("b", StringDataTypeEnum::SessionId, "x");
        manager.ReportEventData("b", EventTypeEnum::StreamStart, Json::Value());
        manager.SendStreamReport(Json::Value(), head);
        manager.ReportStop("b");
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

/// After the manager's end, while the host's threads go on.
void CheckThatFeedingGoesOnInVain() {
    const int values = valuesFed;
    const int rounds = roundsFed;
    if (!Eventually([&] { return valuesFed > values + 1000 && roundsFed > rounds + 50; })) std::_Exit(4);
    auto& manager = DataReportManager::Instance();
    Json::Value head;
    if (manager.SendStreamReport(Json::Value(), head)) std::_Exit(5);
    if (!DataReportManagerTestPeer{manager}.livesWithoutStreams()) std::_Exit(6);
}

TEST(ProcessExit, AHostThreadThatStillFeedsDisturbsNothing) {
    EXPECT_EXIT(
        {
            std::atexit(CheckThatFeedingGoesOnInVain);
            LeaveEverythingRunning();
            std::thread(FeedValues).detach();
            std::thread(FeedEveryWay).detach();
            if (!Eventually([] { return valuesFed > 0 && roundsFed > 0; })) std::_Exit(7);
            EndProcess();
        },
        ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace data_report
