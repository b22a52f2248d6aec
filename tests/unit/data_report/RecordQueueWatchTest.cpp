#include "data_report/RecordQueueWatch.h"

#include <chrono>
#include <thread>

#include "fakes/CapturingLog.h"
#include "unit/data_report/ManagerUnderTest.h"

namespace data_report {
namespace {

const std::string kDropLine = "[DataReportManager] records dropped, as more waited than the bound allows: ";
const std::string kLossLine =
    "[DataReportManager] records lost, as the connection went down while they were sent: ";

class RecordQueueWatch : public ManagerUnderTest {
protected:
    void sendMany(int count) {
        for (int i = 0; i < count; ++i)
            ASSERT_TRUE(send(std::to_string(i)));
    }

    static void expectSum(const RecordCounters& counters) {
        EXPECT_EQ(counters.queued, counters.handedOver + counters.lostAtDisconnect + counters.droppedByBound +
                                       counters.waiting);
    }

    static bool waitForHandedOver(std::uint64_t count) {
        return Eventually([count] { return GetRecordCounters().handedOver == count; });
    }
};

TEST_F(RecordQueueWatch, ARecordIsCountedFromTheQueueToTheCenter) {
    start();
    sendMany(3);
    RecordCounters counters = GetRecordCounters();
    EXPECT_EQ(counters.queued, 3U);
    EXPECT_EQ(counters.waiting, 3U);
    EXPECT_GT(counters.waitingBytes, 60U);
    EXPECT_EQ(counters.handedOver, 0U);
    std::this_thread::sleep_for(std::chrono::milliseconds(60));
    EXPECT_GE(GetRecordCounters().oldestWaitingMs, 40U);

    ASSERT_TRUE(m_center.connect(kStreamCommand));
    ASSERT_TRUE(send("wakes the thread"));
    ASSERT_TRUE(waitForHandedOver(4));
    counters = GetRecordCounters();
    EXPECT_EQ(counters.waiting, 0U);
    EXPECT_EQ(counters.waitingBytes, 0U);
    EXPECT_EQ(counters.lostAtDisconnect, 0U);
    EXPECT_EQ(counters.droppedByBound, 0U);
    EXPECT_TRUE(Eventually([] { return GetRecordCounters().oldestWaitingMs == 0; }));
}

TEST_F(RecordQueueWatch, TheBytesAreThoseOfBothTexts) {
    start();
    sendMany(2);
    std::size_t bytes = 0;
    const RecordCounters counters = GetRecordCounters();
    ASSERT_TRUE(m_center.connect(kStreamCommand));
    ASSERT_EQ(sentSoFar().size(), 2U);
    for (std::size_t i = 0; i < 2; ++i)
        bytes += m_center.sent(kStreamCommand)[i].body.size() + m_center.sent(kStreamCommand)[i].head.size();
    EXPECT_EQ(counters.waitingBytes, bytes);
}

TEST_F(RecordQueueWatch, WhatIsLostAtADisconnectIsCountedAndToldOf) {
    start();
    sendMany(3);
    m_center.sendFails(kStreamCommand);
    ASSERT_TRUE(m_center.connect(kStreamCommand));
    ASSERT_TRUE(send("wakes the thread"));
    ASSERT_TRUE(Eventually([this] { return m_center.sendAttempts(kStreamCommand) > 0; }));
    RecordCounters counters = GetRecordCounters();
    EXPECT_EQ(counters.waiting, 4U);
    EXPECT_TRUE(Eventually([] { return GetRecordCounters().oldestWaitingMs > 0; }));

    const fakes::CapturingLog log;
    ASSERT_TRUE(m_center.disconnect(kStreamCommand));
    ASSERT_TRUE(Eventually([] { return GetRecordCounters().lostAtDisconnect == 4; }));
    EXPECT_TRUE(Eventually([&] { return log.count(kLossLine + "4") == 1; }));
    counters = GetRecordCounters();
    EXPECT_EQ(counters.waiting, 0U);
    EXPECT_EQ(counters.waitingBytes, 0U);
    EXPECT_EQ(counters.oldestWaitingMs, 0U);
    expectSum(counters);
}

TEST_F(RecordQueueWatch, NoBoundHoldsUntilOneIsSet) {
    start();
    sendMany(5000);
    EXPECT_EQ(GetRecordCounters().waiting, 5000U);
    EXPECT_EQ(GetRecordCounters().droppedByBound, 0U);
}

TEST_F(RecordQueueWatch, BeyondABoundOfRecordsTheOldestAreDropped) {
    SetRecordBound(3, 0);
    start();
    sendMany(3);
    EXPECT_EQ(GetRecordCounters().droppedByBound, 0U);
    ASSERT_TRUE(send("3"));
    ASSERT_TRUE(send("4"));
    const RecordCounters counters = GetRecordCounters();
    EXPECT_EQ(counters.droppedByBound, 2U);
    EXPECT_EQ(counters.waiting, 3U);
    expectSum(counters);
    SetRecordBound(0, 0);
    ASSERT_TRUE(m_center.connect(kStreamCommand));
    sentSoFar();
    EXPECT_EQ(sentTexts(), (std::vector<std::string>{"2", "3", "4", "last"}));
}

TEST_F(RecordQueueWatch, BeyondABoundOfBytesTheOldestAreDropped) {
    start();
    sendMany(1);
    const std::uint64_t bytes = GetRecordCounters().waitingBytes;
    SetRecordBound(0, 3 * bytes);
    for (const char* text : {"1", "2"})
        ASSERT_TRUE(send(text));
    EXPECT_EQ(GetRecordCounters().droppedByBound, 0U);
    ASSERT_TRUE(send("3"));
    const RecordCounters counters = GetRecordCounters();
    EXPECT_EQ(counters.droppedByBound, 1U);
    EXPECT_EQ(counters.waiting, 3U);
    EXPECT_EQ(counters.waitingBytes, 3 * bytes);
}

TEST_F(RecordQueueWatch, TheNewestRecordAlwaysStays) {
    SetRecordBound(0, 1);
    start();
    sendMany(4);
    EXPECT_EQ(GetRecordCounters().waiting, 1U);
    EXPECT_EQ(GetRecordCounters().droppedByBound, 3U);
    SetRecordBound(0, 0);
    ASSERT_TRUE(m_center.connect(kStreamCommand));
    sentSoFar();
    EXPECT_EQ(sentTexts(), (std::vector<std::string>{"3", "last"}));
}

TEST_F(RecordQueueWatch, ABoundHoldsAtOnceAndCanBeLifted) {
    start();
    sendMany(10);
    SetRecordBound(4, 0);
    EXPECT_EQ(GetRecordCounters().waiting, 4U);
    EXPECT_EQ(GetRecordCounters().droppedByBound, 6U);
    SetRecordBound(0, 0);
    sendMany(10);
    EXPECT_EQ(GetRecordCounters().waiting, 14U);
}

TEST_F(RecordQueueWatch, WhatTheSendThreadHasTakenIsNoLongerBound) {
    start();
    sendMany(2);
    m_center.sendFails(kStreamCommand);
    ASSERT_TRUE(m_center.connect(kStreamCommand));
    ASSERT_TRUE(send("2"));
    ASSERT_TRUE(Eventually([this] { return m_center.sendAttempts(kStreamCommand) > 0; }));
    SetRecordBound(1, 0);
    EXPECT_EQ(GetRecordCounters().waiting, 3U);
    sendMany(2);
    EXPECT_EQ(GetRecordCounters().waiting, 4U);
    EXPECT_EQ(GetRecordCounters().droppedByBound, 1U);
    m_center.sendFails(kStreamCommand, false);
    EXPECT_TRUE(waitForHandedOver(4));
}

TEST_F(RecordQueueWatch, ManyDropsAreToldInFewLines) {
    SetRecordBound(1, 0);
    start();
    const fakes::CapturingLog log;
    sendMany(500);
    EXPECT_EQ(GetRecordCounters().droppedByBound, 499U);
    EXPECT_GE(log.countContaining(kDropLine), 1);
    EXPECT_LT(log.countContaining(kDropLine), 100);
}

TEST_F(RecordQueueWatch, TheFiguresAddUpWhileThreadsSendAndConnectionsComeAndGo) {
    SetRecordBound(50, 0);
    start();
    std::vector<std::thread> senders;
    for (int i = 0; i < 3; ++i)
        senders.emplace_back([this] { sendMany(500); });
    for (int i = 0; i < 20; ++i) {
        m_center.connect(kStreamCommand);
        GetRecordCounters();
        m_center.disconnect(kStreamCommand);
    }
    for (std::thread& sender : senders)
        sender.join();
    ASSERT_TRUE(m_center.connect(kStreamCommand));
    sentSoFar();
    EXPECT_TRUE(Eventually([] { return GetRecordCounters().waiting == 0; }));
    const RecordCounters counters = GetRecordCounters();
    EXPECT_EQ(counters.queued, 1501U);
    EXPECT_EQ(counters.handedOver, sent().size());
    EXPECT_EQ(counters.waitingBytes, 0U);
    expectSum(counters);
}

}  // namespace
}  // namespace data_report
