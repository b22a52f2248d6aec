#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "integration/mqtt/SimulatedTime.h"
#include "integration/support/Broker.h"
#include "integration/support/SteppedServer.h"
#include "platform/MsgCenter.h"
#include "platform/mqtt/Link.h"

using namespace std::chrono_literals;
using QoPlayer::mqtt::CenterState;
using QoPlayer::mqtt::Link;
using QoPlayer::mqtt::Settings;
using QoPlayer::mqtt::TlsUse;
using std::chrono::milliseconds;
using support::SteppedServer;

// When a link does what it does, to the millisecond: it, its servers and the time are one thread.

namespace {

constexpr std::uint64_t kSeed = 7;

using Times = std::vector<std::int64_t>;  // ms since the start

class LinkTimesTest : public testing::Test {
protected:
    LinkTimesTest() {
        settings.client = "studio-7";
        settings.userName = "studio-7";
        settings.tls = TlsUse::Never;
        settings.keepAliveSeconds = 15;
        settings.longestPauseMs = 30'000;
        time->others = [this] {
            const bool firstMoved = first.step();
            return second.step() || firstMoved;
        };
        first.onConnect = [this] { offers.push_back(elapsedMs()); };
        second.onConnect = [this] { offersToSecond.push_back(elapsedMs()); };
        QoPlayer::mqtt::SetNameResolver(nullptr);
        current = this;
        QoPlayer::SetLogPtr(record);
    }
    ~LinkTimesTest() override { QoPlayer::SetLogPtr(nullptr); }

    void use(std::initializer_list<int> ports) {
        for (const int port : ports)
            settings.addresses.push_back({"127.0.0.1", port});
    }

    /// Runs a link that is told to stop after `length`.
    void runFor(milliseconds length) {
        time->at(length, [this] { state.stopping = true; });
        state.outbox.open();
        Link(settings, "0badcafe", kSeed, state).run();
    }

    std::int64_t elapsedMs() const { return time->elapsed().count(); }

    /// When lines that hold `part` were logged.
    Times timesOf(const std::string& part) const {
        Times times;
        for (const auto& [when, line] : lines)
            if (line.find(part) != std::string::npos) times.push_back(when);
        return times;
    }

    std::shared_ptr<SimulatedTime> time = std::make_shared<SimulatedTime>();
    CenterState state{time};
    SteppedServer first;
    SteppedServer second;
    Times offers;          ///< when `first` has seen a CONNECT
    Times offersToSecond;  ///< and `second`
    Settings settings;
    std::vector<std::pair<std::int64_t, std::string>> lines;

private:
    static void record(int, const char*, const char* line) {
        current->lines.emplace_back(current->elapsedMs(), line);
    }
    static inline LinkTimesTest* current = nullptr;
};

TEST_F(LinkTimesTest, AServerThatNeverAnswersIsLeftAfterFiveSeconds) {
    first.answersConnect = false;
    use({first.port(), second.port()});
    runFor(60s);
    EXPECT_EQ(timesOf("no answer within 5 s"), Times{5000});
    EXPECT_EQ(offersToSecond, Times{5000});
}

std::promise<void>& neverMind() {
    static auto* const promise = new std::promise<void>;
    return *promise;
}

std::vector<std::string> resolveNever(const std::string&) {
    neverMind().get_future().wait();
    return {};
}

TEST_F(LinkTimesTest, ANameThatIsNotFoundIsLeftAfterFiveSeconds) {
    QoPlayer::mqtt::SetNameResolver(resolveNever);
    settings.addresses.push_back({"hang.test", 1883});
    use({first.port()});
    runFor(60s);
    neverMind().set_value();
    EXPECT_EQ(timesOf("no answer to the name look-up of hang.test"), Times{5000});
    EXPECT_EQ(offers, Times{5000});
}

TEST_F(LinkTimesTest, ATokenThatHasExpiredIsNotOfferedAndANewOneIsAtOnce) {
    settings.token = "old-secret";
    settings.tokenExpiry = SimulatedTime::kStart;
    use({first.port()});
    QoPlayer::MsgCenterState before{};
    time->at(100s, [&] {
        before = state.status.state();
        state.token.renew("new-secret", SimulatedTime::kStart + 3600);
    });
    runFor(110s);
    EXPECT_EQ(before, QoPlayer::MsgCenterState::TokenExpired);
    EXPECT_EQ(offers, Times{100'000});
    EXPECT_NE(first.lastConnect().find("new-secret"), std::string::npos);
    EXPECT_EQ(timesOf("the access token has expired"), Times{0});
}

TEST_F(LinkTimesTest, ATokenThatIsReplacedByAnExpiredOneIsStillNotOffered) {
    settings.token = "old-secret";
    settings.tokenExpiry = SimulatedTime::kStart;
    use({first.port()});
    time->at(10s, [&] { state.token.renew("new-secret", SimulatedTime::kStart + 5); });
    runFor(60s);
    EXPECT_EQ(offers, Times{});
}

TEST_F(LinkTimesTest, WhomAServerHasRefusedComesBackAtOnceWithANewToken) {
    settings.token = "old-secret";
    settings.longestPauseMs = 24 * 3600 * 1000;
    first.connectCode = 0x87;
    use({first.port()});
    time->at(300s, [&] {
        offers.clear();
        state.token.renew("new-secret", 0);
        first.connectCode = 0;
    });
    runFor(301s);
    EXPECT_EQ(offers, Times{300'000});
    EXPECT_NE(first.lastConnect().find("new-secret"), std::string::npos);
}

TEST_F(LinkTimesTest, ANewTokenThatIsRefusedTooWaitsAsTheOldOneDid) {
    settings.token = "old-secret";
    settings.longestPauseMs = 24 * 3600 * 1000;
    first.connectCode = 0x87;
    use({first.port()});
    time->at(300s, [&] {
        offers.clear();
        state.token.renew("new-secret", 0);
    });
    runFor(330s);
    EXPECT_EQ(offers, Times{300'000});
}

TEST_F(LinkTimesTest, ANewTokenDoesNotHurryWhomNobodyRefused) {
    use({support::FreePort()});
    settings.token = "old-secret";
    settings.longestPauseMs = 24 * 3600 * 1000;
    std::size_t attempts = 0;
    time->at(300s, [&] {
        attempts = timesOf("cannot connect").size();
        state.token.renew("new-secret", 0);
    });
    runFor(301s);
    EXPECT_GT(attempts, 0U);
    EXPECT_EQ(timesOf("cannot connect").size(), attempts);
}

// The client library keeps the connection alive only when it is called.
TEST_F(LinkTimesTest, AnIdleConnectionIsLookedAtOnceASecond) {
    use({first.port()});
    runFor(60s);
    EXPECT_EQ(time->longestWait().count(), 1000);
}

}  // namespace
