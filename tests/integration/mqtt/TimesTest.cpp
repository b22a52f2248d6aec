#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <new>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "integration/mqtt/SimulatedTime.h"
#include "integration/support/Broker.h"
#include "integration/support/Recorder.h"
#include "integration/support/ScriptedServer.h"
#include "integration/support/SteppedServer.h"
#include "mqtt/AddressRounds.h"
#include "platform/MsgCenter.h"
#include "support/Eventually.h"
#include "support/Loopback.h"

using namespace std::chrono_literals;
using QoPlayer::MsgCenterState;
using QoPlayer::MsgCenterStatus;
using QoPlayer::mqtt::AddressRounds;
using QoPlayer::mqtt::Backoff;
using QoPlayer::mqtt::CenterState;
using QoPlayer::mqtt::Settings;
using QoPlayer::mqtt::TlsUse;
using std::chrono::milliseconds;
using support::Recorder;
using support::SteppedServer;

// When a center does what it does, to the millisecond: its network side, the servers and the time are one
// thread.

namespace {

constexpr int kCommand = 4;
constexpr int kRecord = 5;
constexpr std::uint64_t kSeed = 7;
constexpr std::uint8_t kNotAuthorized = 0x87;

using Times = std::vector<std::int64_t>;  // ms since the start

class RoundTimesTest : public testing::Test {
protected:
    RoundTimesTest() {
        m_settings.client = "studio-7";
        m_settings.userName = "studio-7";
        m_settings.tls = TlsUse::Never;
        m_settings.keepAliveSeconds = 15;
        m_settings.longestPauseMs = 30'000;
        m_time->others = [this] {
            const bool firstMoved = m_first.step();
            return m_second.step() || firstMoved;
        };
        m_first.onConnect = [this] { m_offers.push_back(elapsedMs()); };
        m_second.onConnect = [this] { m_offersToSecond.push_back(elapsedMs()); };
        qolive::SetNameResolver(nullptr);
        current = this;
        QoPlayer::SetLogPtr(record);
    }
    ~RoundTimesTest() override { QoPlayer::SetLogPtr(nullptr); }
    void TearDown() override { EXPECT_EQ(m_time->emptyWaits(), 0) << "the network thread spins"; }

    void use(std::initializer_list<int> ports) {
        for (const int port : ports)
            m_settings.addresses.push_back({"127.0.0.1", port});
    }

    /// Runs rounds that are told to stop after `length`.
    void runFor(milliseconds length) {
        m_time->at(length, [this] { m_state.stopping = true; });
        m_state.outbox.open();
        AddressRounds(m_settings, "0badcafe", kSeed, m_state).run();
    }

    /// The first server refuses; at 300 s comes a new token, which it answers with `then`.
    void refuseUntilANewToken(std::uint8_t then) {
        m_settings.token = "old-secret";
        m_settings.longestPauseMs = 24 * 3600 * 1000;
        m_first.connectCode = kNotAuthorized;
        use({m_first.port()});
        m_time->at(300s, [this, then] {
            m_offers.clear();
            m_state.token.renew("new-secret", 0);
            m_first.connectCode = then;
        });
    }

    std::int64_t elapsedMs() const { return std::chrono::floor<milliseconds>(m_time->elapsed()).count(); }

    /// As a host that has seen the connection does.
    void send(int cmd, int count, const std::string& body = "x") {
        for (int i = 0; i < count; ++i)
            ASSERT_TRUE(m_state.outbox.add({cmd, body, "", m_time->now()}));
    }

    static std::string nameOf(const SteppedServer& server) {
        return "127.0.0.1:" + std::to_string(server.port()) + " over plain TCP";
    }

    /// When lines that hold `part` were logged.
    Times timesOf(const std::string& part) const {
        Times times;
        for (const auto& [when, line] : m_lines)
            if (line.find(part) != std::string::npos) times.push_back(when);
        return times;
    }

    std::shared_ptr<SimulatedTime> m_time = std::make_shared<SimulatedTime>();
    Recorder m_recorder;
    CenterState m_state{m_time};
    SteppedServer m_first;
    SteppedServer m_second;
    Times m_offers;          ///< when m_first has seen a CONNECT
    Times m_offersToSecond;  ///< and m_second
    Settings m_settings;
    std::vector<std::pair<std::int64_t, std::string>> m_lines;
    std::function<void(const std::string&)> m_onLine;  ///< called first for each of them

private:
    static void record(int, const char*, const char* line) {
        if (current->m_onLine) current->m_onLine(line);
        current->m_lines.emplace_back(current->elapsedMs(), line);
    }
    static inline RoundTimesTest* current = nullptr;
};

TEST_F(RoundTimesTest, AServerThatNeverAnswersIsLeftAfterFiveSeconds) {
    m_first.answersConnect = false;
    use({m_first.port(), m_second.port()});
    m_time->at(2500'300us, [] {});  // ends a wait in between, and not at a whole millisecond
    runFor(60s);
    EXPECT_EQ(timesOf("no answer within 5 s"), Times{5000});
    EXPECT_EQ(m_offersToSecond, Times{5000});
}

std::shared_future<void> answered;

std::vector<std::string> ResolveLate(const std::string&) {
    std::shared_future<void>(answered).wait();
    return {};
}

TEST_F(RoundTimesTest, ANameThatIsNotFoundIsLeftAfterFiveSeconds) {
    std::promise<void> answer;
    answered = answer.get_future().share();
    qolive::SetNameResolver(ResolveLate);
    m_settings.addresses.push_back({"hang.test", 1883});
    use({m_first.port()});
    runFor(60s);
    answer.set_value();
    EXPECT_EQ(timesOf("no answer to the name look-up of hang.test"), Times{5000});
    EXPECT_EQ(m_offers, Times{5000});
}

TEST_F(RoundTimesTest, ATokenThatHasExpiredIsNotOfferedAndANewOneIsAtOnce) {
    m_settings.token = "old-secret";
    m_settings.tokenExpiry = SimulatedTime::kStart;
    use({m_first.port()});
    MsgCenterState before{};
    m_time->at(100s, [&] {
        before = m_state.status.state();
        m_state.token.renew("new-secret", SimulatedTime::kStart + 3600);
    });
    runFor(110s);
    EXPECT_EQ(before, MsgCenterState::TokenExpired);
    EXPECT_EQ(m_offers, Times{100'000});
    EXPECT_NE(m_first.lastConnect().find("new-secret"), std::string::npos);
    EXPECT_EQ(timesOf("the access token has expired"), Times{0});
}

TEST_F(RoundTimesTest, ATokenThatIsReplacedByAnExpiredOneIsStillNotOffered) {
    m_settings.token = "old-secret";
    m_settings.tokenExpiry = SimulatedTime::kStart;
    use({m_first.port()});
    m_time->at(10s, [&] { m_state.token.renew("new-secret", SimulatedTime::kStart + 5); });
    runFor(60s);
    EXPECT_EQ(m_offers, Times{});
}

TEST_F(RoundTimesTest, WhomAServerHasRefusedComesBackAtOnceWithANewToken) {
    refuseUntilANewToken(0);
    runFor(301s);
    EXPECT_EQ(m_offers, Times{300'000});
    EXPECT_NE(m_first.lastConnect().find("new-secret"), std::string::npos);
}

TEST_F(RoundTimesTest, ANewTokenThatIsRefusedTooWaitsAsTheOldOneDid) {
    refuseUntilANewToken(kNotAuthorized);
    runFor(330s);
    EXPECT_EQ(m_offers, Times{300'000});
}

TEST_F(RoundTimesTest, ANewTokenDoesNotHurryWhomNobodyRefused) {
    use({support::FreePort()});
    m_settings.token = "old-secret";
    m_settings.longestPauseMs = 24 * 3600 * 1000;
    std::size_t attempts = 0;
    m_time->at(300s, [&] {
        attempts = timesOf("cannot connect").size();
        m_state.token.renew("new-secret", 0);
    });
    runFor(301s);
    EXPECT_GT(attempts, 0U);
    EXPECT_EQ(timesOf("cannot connect").size(), attempts);
}

// The client library keeps the connection alive only when it is called.
TEST_F(RoundTimesTest, AnIdleConnectionIsLookedAtOnceASecond) {
    use({m_first.port()});
    runFor(60s);
    EXPECT_EQ(m_time->longestWait().count(), 1'000'000);
}

TEST_F(RoundTimesTest, ASubscriptionWithoutAnAnswerEndsTheConnectionAfterTenSeconds) {
    m_first.answersSubscribe = false;
    m_state.senders.open(kRecord, Recorder::callback, &m_recorder);
    m_state.senders.open(kCommand, Recorder::callback, &m_recorder);
    m_time->at(5s, [this] { m_state.senders.close(kRecord); });
    use({m_first.port(), m_second.port()});
    runFor(60s);
    const Times ends = timesOf("lost: no answer to a subscription within 10 s");
    ASSERT_EQ(ends.size(), 1U);
    EXPECT_GT(ends[0], 10'000);
    EXPECT_LE(ends[0], 11'000);  // it is looked at once a second
    EXPECT_EQ(m_second.connectionsSeen(), 1) << "and not that connection";
}

// What comes after a connection that was lost.

TEST_F(RoundTimesTest, AConnectionThatHeldThirtySecondsBeginsWithTheFirstAddressAgain) {
    use({m_first.port(), m_second.port()});
    m_time->at(30'000ms, [this] { m_first.close(); });
    runFor(60s);
    EXPECT_EQ(m_offersToSecond, Times{});
    EXPECT_EQ(m_offers, (Times{0, 30'000 + Backoff(m_settings.longestPauseMs, kSeed).pauseAfterServingMs()}));
}

TEST_F(RoundTimesTest, OneThatHeldForLessIsFollowedByTheNextAddressAtOnce) {
    use({m_first.port(), m_second.port()});
    m_time->at(29'999ms, [this] { m_first.close(); });
    runFor(60s);
    EXPECT_EQ(m_offersToSecond, Times{29'999});
    EXPECT_EQ(m_offers, Times{0});
}

/// The pauses of a server that refuses `kRefused` times, then loses one connection and refuses again.
class RoundPausesTest : public RoundTimesTest {
protected:
    static constexpr int kRefused = 5;

    void loseAfter(milliseconds held) {
        m_first.onConnect = [this, held] {
            m_offers.push_back(elapsedMs());
            if (m_offers.size() == kRefused + 1)
                m_time->at(m_time->elapsed() + held, [this] { m_first.close(); });
            else
                m_first.close();
            m_state.stopping = m_offers.size() == kRefused + 4U;
        };
        use({m_first.port()});
        runFor(5min);
    }

    /// What the offers are when `afterLoss` gives the pause after the loss.
    Times expected(milliseconds held, const std::function<std::int64_t(Backoff&)>& afterLoss) const {
        Backoff backoff(m_settings.longestPauseMs, kSeed);
        Times times{0};
        for (int i = 0; i < kRefused; ++i)
            times.push_back(times.back() + backoff.nextPauseMs());
        times.push_back(times.back() + held.count() + afterLoss(backoff));
        while (times.size() < kRefused + 4U)
            times.push_back(times.back() + backoff.nextPauseMs());
        return times;
    }
};

TEST_F(RoundPausesTest, GrowOnAfterAConnectionThatServedForLessThanASecond) {
    loseAfter(999ms);
    EXPECT_EQ(m_offers, expected(999ms, [](Backoff& backoff) { return backoff.nextPauseMs(); }));
}

TEST_F(RoundPausesTest, GrowShorterAfterAConnectionThatServedForASecond) {
    loseAfter(1000ms);
    EXPECT_EQ(m_offers, expected(1000ms, [](Backoff& backoff) { return backoff.pauseAfterServingMs(); }));
}

TEST_F(RoundPausesTest, GrowOnAfterAConnectionWhoseSubscriptionHadNoAnswer) {
    m_first.answersSubscribe = false;
    m_state.senders.open(kRecord, Recorder::callback, &m_recorder);
    loseAfter(5000ms);
    EXPECT_EQ(m_offers, expected(5000ms, [](Backoff& backoff) { return backoff.nextPauseMs(); }));
}

TEST_F(RoundPausesTest, AreNotForgottenBeforeThirtySeconds) {
    loseAfter(29'999ms);
    EXPECT_EQ(m_offers, expected(29'999ms, [](Backoff& backoff) { return backoff.pauseAfterServingMs(); }));
}

TEST_F(RoundPausesTest, BeginAgainAfterAConnectionThatHeldThirtySeconds) {
    loseAfter(30'000ms);
    EXPECT_EQ(m_offers, expected(30'000ms, [](Backoff& backoff) {
                  backoff.reset();
                  return backoff.pauseAfterServingMs();
              }));
}

// A token that expires while the first of two servers is tried, which takes five seconds.
class RoundTokenTest : public RoundTimesTest {
protected:
    void runWithExpiryAfter(std::int64_t seconds) {
        m_settings.token = "secret";
        m_settings.tokenExpiry = SimulatedTime::kStart + seconds;
        m_first.answersConnect = false;
        use({m_first.port(), m_second.port()});
        runFor(1min);
    }
};

TEST_F(RoundTokenTest, IsNotOfferedToTheNextServerOnceItHasExpired) {
    runWithExpiryAfter(5);
    EXPECT_EQ(m_offers, Times{0});
    EXPECT_EQ(m_offersToSecond, Times{});
    EXPECT_EQ(timesOf("the access token has expired"), Times{5000});
}

TEST_F(RoundTokenTest, IsOfferedToTheNextServerASecondBefore) {
    runWithExpiryAfter(6);
    EXPECT_EQ(m_offersToSecond, Times{5000});
}

// What is told of what a server answers.

class AnswersTest : public RoundTimesTest {
protected:
    static constexpr std::uint8_t kFirstError = 0x80;
    static constexpr std::uint8_t kNobodyListens = 0x10;

    /// Sends a record after a second, and runs for another.
    QoPlayer::MsgCenterCounters sendOne() {
        m_time->at(1s, [this] { send(kRecord, 1); });
        use({m_first.port()});
        runFor(2s);
        return m_state.outbox.counters(m_time->now());
    }
};

TEST_F(AnswersTest, TheReasonOfARefusedConnectionIsShown) {
    m_first.connectCode = kNotAuthorized;
    m_first.properties = '\x1f' + support::MqttString("ask for a seat");
    use({m_first.port()});
    runFor(1ms);
    EXPECT_EQ(timesOf(nameOf(m_first) + ": refused by the server: Not authorized (ask for a seat)"),
              Times{0});
}

TEST_F(AnswersTest, ARefusalWithoutAReasonHasNoBrackets) {
    m_first.connectCode = kNotAuthorized;
    m_first.properties = '\x1f' + support::MqttString("");
    use({m_first.port()});
    runFor(1ms);
    ASSERT_EQ(m_lines.size(), 1U);
    EXPECT_EQ(m_lines[0].second,
              "warning: cannot connect to " + nameOf(m_first) + ": refused by the server: Not authorized");
}

TEST_F(AnswersTest, AMessageThatIsAcknowledgedWithAnErrorIsRefused) {
    m_first.publishCode = kFirstError;
    const QoPlayer::MsgCenterCounters counters = sendOne();
    EXPECT_EQ(counters.refused, 1U);
    EXPECT_EQ(counters.acknowledged, 0U);
    EXPECT_EQ(timesOf("a message was dropped: the server refused it: Unspecified error"), Times{1000});
    EXPECT_EQ(timesOf("the server refused the presence: Unspecified error"), Times{0});
}

TEST_F(AnswersTest, AMessageThatNobodyListensToIsTaken) {
    m_first.publishCode = kNobodyListens;
    const QoPlayer::MsgCenterCounters counters = sendOne();
    EXPECT_EQ(counters.refused, 0U);
    EXPECT_EQ(counters.acknowledged, 1U);
    EXPECT_EQ(timesOf("refused"), Times{});
}

TEST_F(AnswersTest, ASubscriptionThatIsAnsweredWithAnErrorIsRefused) {
    m_first.subscribeCode = kFirstError;
    m_state.senders.open(kRecord, Recorder::callback, &m_recorder);
    use({m_first.port()});
    runFor(1s);
    EXPECT_EQ(m_recorder.count(0, 1), 0U);
    EXPECT_EQ(m_recorder.last(0, 0), "the server refused the subscription of command 5: Unspecified error");
}

TEST_F(AnswersTest, APlainConnectionThatIsResetIsNoFaultOfTls) {
    m_first.resets = true;
    use({m_first.port()});
    runFor(1ms);
    const std::string reset = std::make_error_code(std::errc::connection_reset).message();
    EXPECT_EQ(timesOf("cannot connect to " + nameOf(m_first) + ": " + reset), Times{0});
}

// What the status says meanwhile.

class StatusTimesTest : public RoundTimesTest {
protected:
    void runAndLookAt(milliseconds when) {
        m_time->at(when, [this] { m_seen = m_state.status.get(); });
        runFor(when + 1s);
    }

    MsgCenterStatus m_seen;
};

TEST_F(StatusTimesTest, UntilASubscriptionIsAnsweredItIsConnectingAndNamesTheServer) {
    m_first.answersSubscribe = false;
    m_state.senders.open(kRecord, Recorder::callback, &m_recorder);
    use({m_first.port()});
    runAndLookAt(1s);
    EXPECT_EQ(m_seen.state, MsgCenterState::Connecting);
    EXPECT_EQ(m_seen.reason, "connected to " + nameOf(m_first));
}

TEST_F(StatusTimesTest, AfterALossItTellsOfItUntilTheNextServerAnswers) {
    m_second.answersConnect = false;
    use({m_first.port(), m_second.port()});
    m_time->at(5s, [this] { m_first.close(); });
    runAndLookAt(6s);
    EXPECT_EQ(m_offersToSecond, Times{5000});
    EXPECT_EQ(m_seen.state, MsgCenterState::Connecting);
    EXPECT_EQ(m_seen.reason.find("connection to " + nameOf(m_first) + " lost: "), 0U) << m_seen.reason;
}

TEST_F(StatusTimesTest, AfterARefusalItIsRefusedThroughThePauseAndTheNextRound) {
    m_first.connectCode = kNotAuthorized;
    m_second.answersConnect = false;
    use({m_first.port(), m_second.port()});
    runAndLookAt(30s);
    EXPECT_GT(m_offersToSecond.size(), 2U);
    EXPECT_EQ(m_seen.state, MsgCenterState::Refused);
    EXPECT_EQ(m_seen.reason,
              "cannot connect to " + nameOf(m_first) + ": refused by the server: Not authorized");
}

TEST_F(StatusTimesTest, AStopIsNotFollowedByAWaitForTheNextRound) {
    std::vector<MsgCenterState> states;
    const auto note = [](void* noted, MsgCenterState next, const char*) {
        static_cast<std::vector<MsgCenterState>*>(noted)->push_back(next);
    };
    m_state.status.setListener(note, &states);
    use({m_first.port()});
    runFor(5s);
    EXPECT_EQ(states, (std::vector<MsgCenterState>{MsgCenterState::Connecting, MsgCenterState::Connected,
                                                   MsgCenterState::Stopped}));
}

// A lost connection where memory is short: it is given up again and again for a while, so that a sender is
// told.

class ShortageTest : public RoundTimesTest {
protected:
    /// There is no memory for the line about the loss, nor for so many of those that follow it.
    void loseWithShortageFor(int linesMore) {
        m_onLine = [this, linesMore](const std::string& line) {
            const bool isEnd = line.find(" lost: ") != std::string::npos || line == "warning: out of memory";
            if (isEnd && m_attempts++ <= linesMore) throw std::bad_alloc();
        };
        m_state.senders.open(kRecord, Recorder::callback, &m_recorder);
        use({m_first.port()});
        m_time->at(5s, [this] { m_first.close(); });
        runFor(6s);
    }

    int m_attempts = 0;
};

TEST_F(ShortageTest, ASenderIsToldAtTheLastOf15Attempts) {
    loseWithShortageFor(14);
    ASSERT_GE(m_recorder.events().size(), 2U);
    EXPECT_EQ(m_recorder.events()[0].code, 1);
    EXPECT_EQ(m_recorder.events()[1].code, 0);
    EXPECT_EQ(m_recorder.events()[1].data, "out of memory");
}

TEST_F(ShortageTest, ThatNeverEndsHoldsUpNoStop) {
    loseWithShortageFor(1000);
    EXPECT_EQ(m_attempts, 1 + 15);
}

// What a stop takes.

class StopTimesTest : public RoundTimesTest {
protected:
    void stopAfterTenSeconds() {
        use({m_first.port()});
        runFor(10s);
    }
};

TEST_F(StopTimesTest, TakesNoTimeWithNothingToSay) {
    stopAfterTenSeconds();
    EXPECT_EQ(elapsedMs(), 10'000);
}

TEST_F(StopTimesTest, TakesNoTimeWhenTheLastMessagesAreAcknowledged) {
    m_time->at(10s, [this] { send(kRecord, 100); });
    stopAfterTenSeconds();
    EXPECT_EQ(elapsedMs(), 10'000);
    const auto allHaveCome = [this] {
        m_first.step();
        return m_first.published() == 100 + 2;  // and the presence, twice
    };
    EXPECT_TRUE(support::Eventually(allHaveCome));
    EXPECT_EQ(timesOf("unacknowledged"), Times{});
}

TEST_F(StopTimesTest, WaitsFor400MillisecondsForTheLastMessages) {
    m_first.acknowledges = false;
    m_time->at(10s, [this] { send(kCommand, 1); });
    stopAfterTenSeconds();
    EXPECT_EQ(elapsedMs(), 10'400);
    EXPECT_EQ(timesOf("stopped with 1 messages unacknowledged"), Times{10'400});
}

TEST_F(StopTimesTest, TakesNoTimeOnceTheServerKnowsOfAClosedSender) {
    m_state.senders.open(kRecord, Recorder::callback, &m_recorder);
    m_time->at(5s, [this] { m_state.senders.close(kRecord); });
    stopAfterTenSeconds();
    EXPECT_EQ(elapsedMs(), 10'000);
}

TEST_F(StopTimesTest, WaitsFor400MillisecondsUntilTheServerKnowsOfAClosedSender) {
    m_first.answersUnsubscribe = false;
    m_state.senders.open(kRecord, Recorder::callback, &m_recorder);
    m_time->at(5s, [this] { m_state.senders.close(kRecord); });
    stopAfterTenSeconds();
    EXPECT_EQ(elapsedMs(), 10'400);
}

TEST_F(StopTimesTest, WaitsForAnother200MillisecondsForTheGoodbye) {
    m_time->at(5s, [this] {
        m_first.reads = false;
        send(kRecord, 1, std::string(64'000'000, 'x'));
    });
    stopAfterTenSeconds();
    EXPECT_EQ(elapsedMs(), 10'600);
}

// How many messages a server lets be in flight.

class RoomInFlightTest : public RoundTimesTest {
protected:
    static std::string receiveMaximum(int messages) {
        return std::string("\x21\x00", 2) + static_cast<char>(messages);
    }

    /// How many are in flight when many records wait, and then when many commands do.
    std::pair<int, int> inFlight() {
        std::pair<int, int> seen;
        m_time->at(1s, [this] {
            m_first.acknowledges = false;
            send(kRecord, 100);
        });
        m_time->at(2s, [&] {
            seen.first = m_first.unacknowledged();
            send(kCommand, 100);
        });
        m_time->at(3s, [&] { seen.second = m_first.unacknowledged(); });
        use({m_first.port()});
        runFor(4s);
        return seen;
    }
};

TEST_F(RoomInFlightTest, IsWhatTheServerTakesAndRecordsLeaveTwo) {
    m_first.properties = receiveMaximum(5);
    EXPECT_EQ(inFlight(), std::make_pair(3, 5));
}

TEST_F(RoomInFlightTest, CountsThePresence) {
    m_first.properties = receiveMaximum(5);
    m_first.acknowledges = false;
    EXPECT_EQ(inFlight(), std::make_pair(3, 5));
}

TEST_F(RoomInFlightTest, OfOneMessageIsEnough) {
    m_first.properties = receiveMaximum(1);
    EXPECT_EQ(inFlight(), std::make_pair(1, 1));
}

TEST_F(RoomInFlightTest, IsBoundedWhereTheServerSetsNoBound) {
    EXPECT_EQ(inFlight(), std::make_pair(62, 64));
}

TEST_F(RoomInFlightTest, InBytesIsLearntAnewOnEachConnection) {
    const std::string kibibyte(1024, 'x');
    std::pair<int, int> inFlight;
    m_time->at(1s, [&] { send(kRecord, 500, kibibyte); });
    m_time->at(2s, [&] {
        m_first.acknowledges = false;
        m_second.acknowledges = false;
        send(kRecord, 100, kibibyte);
    });
    m_time->at(3s, [&] {
        inFlight.first = m_first.unacknowledged();
        m_first.close();
    });
    m_time->at(4s, [&] { inFlight.second = m_second.unacknowledged(); });
    use({m_first.port(), m_second.port()});
    runFor(5s);
    EXPECT_GT(inFlight.first, 16);
    EXPECT_EQ(inFlight.second, 8 + 1);  // of 8 KiB, and the presence
}

}  // namespace
