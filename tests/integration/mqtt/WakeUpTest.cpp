#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "integration/mqtt/CenterTest.h"
#include "integration/support/ScriptedServer.h"
#include "mqtt/MsgCenterImpl.h"
#include "mqtt/SocketWaiter.h"
#include "network/LookUps.h"

using QoPlayer::MsgCenter;
using QoPlayer::mqtt::SocketWaiter;
using support::Eventually;
using support::Recorder;
using support::ScriptedConnection;
using support::ScriptedServer;

// What a host asks for happens at once, not when the network thread looks around the next time.

namespace {

/// Waits without a limit while it is patient: what nobody wakes the network thread for never happens then.
class PatientWaiter final : public SocketWaiter {
public:
    Ready wait(int socket, Interest interest, int timeoutMs) override {
        ++m_begun;
        const Ready ready = SocketWaiter::wait(socket, interest, patient && timeoutMs > 0 ? -1 : timeoutMs);
        ++m_ended;
        return ready;
    }

    std::atomic<bool> patient{true};

    /// Returns once a wait has gone on for a while.
    void awaitIdleness() const {
        unsigned seen = 0;
        do {
            seen = m_begun;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        } while (seen == 0 || m_begun != seen || m_ended + 1 != seen);
    }

private:
    std::atomic<unsigned> m_begun{0};
    std::atomic<unsigned> m_ended{0};
};

/// Writes down what comes, and answers what has to be answered.
class NotingServer {
public:
    int port() const { return m_server.port(); }
    bool waitFor(std::uint8_t type, int count = 1) {
        return Eventually([&] { return m_seen[type >> 4] >= count; });
    }

private:
    /// Nothing but the goodbye asks for no acknowledgement.
    static bool isGoodbye(const std::string& publish) {
        return publish.find("{\"online\":false}") != std::string::npos;
    }

    static std::string identifierOf(const std::string& publish) {
        const auto topic = static_cast<std::size_t>(static_cast<std::uint8_t>(publish[0]) << 8 |
                                                    static_cast<std::uint8_t>(publish[1]));
        return publish.substr(2 + topic, 2);
    }

    void serve(ScriptedConnection& connection) {
        if (!connection.accept()) return;
        std::uint8_t type = 0;
        std::string body;
        while (connection.read(type, body)) {
            if (type == 0x80) connection.sendPacket(0x90, body.substr(0, 2) + std::string(2, '\0'));
            if (type == 0x30 && !isGoodbye(body)) connection.sendPacket(0x40, identifierOf(body));
            ++m_seen[type >> 4];
        }
    }

    std::array<std::atomic<int>, 16> m_seen{};
    ScriptedServer m_server{[this](ScriptedConnection& connection) { serve(connection); }};
};

constexpr std::uint8_t kPublish = 0x30;
constexpr std::uint8_t kUnsubscribe = 0xa0;

class WakeUpTest : public testing::Test {
protected:
    void SetUp() override { CenterLog::install(); }
    void TearDown() override {
        m_waiter->patient = false;
        m_center.stop();
    }

    void connect() {
        m_sender = m_center.createSender(5, Recorder::callback, &m_recorder);
        ASSERT_TRUE(m_center.start(Config(m_server.port())));
        ASSERT_TRUE(m_recorder.waitConnected()) << CenterLog::all();
        m_waiter->awaitIdleness();
    }

    NotingServer m_server;
    Recorder m_recorder;
    Recorder m_other;
    std::shared_ptr<PatientWaiter> m_waiter = std::make_shared<PatientWaiter>();
    MsgCenter m_center{std::make_unique<MsgCenter::Impl>(m_waiter)};
    QoPlayer::MsgSender* m_sender = nullptr;
};

TEST_F(WakeUpTest, AMessageLeavesAtOnce) {
    connect();
    ASSERT_TRUE(Send(m_sender, "x"));
    EXPECT_TRUE(m_server.waitFor(kPublish, 2)) << "one is the presence";
}

TEST_F(WakeUpTest, ANewSenderIsSubscribedAtOnce) {
    connect();
    ASSERT_NE(m_center.createSender(6, Recorder::callback, &m_other), nullptr);
    EXPECT_TRUE(m_other.waitConnected());
}

TEST_F(WakeUpTest, AClosedSenderIsUnsubscribedAtOnce) {
    connect();
    m_center.closeSender(5);
    EXPECT_TRUE(m_server.waitFor(kUnsubscribe));
}

TEST_F(WakeUpTest, AStopIsNoticedAtOnce) {
    connect();
    EXPECT_LT(support::TimeOf([&] { m_center.stop(); }).count(), 1000);
}

TEST_F(WakeUpTest, ASenderThatComesAfterTheTokenExpiredIsToldAtOnce) {
    Config config(m_server.port());
    config->accessToken = "secret";
    config->expireTime = std::time(nullptr) - 1;
    ASSERT_TRUE(m_center.start(config));
    m_waiter->awaitIdleness();
    m_center.createSender(5, Recorder::callback, &m_recorder);
    EXPECT_TRUE(m_recorder.waitDisconnected());
}

std::shared_future<void> known;

std::vector<std::string> ResolveOnceKnown(const std::string&) {
    std::shared_future<void>(known).wait();
    return {"127.0.0.1"};
}

TEST_F(WakeUpTest, AnAnswerToANameLookUpIsUsedAtOnce) {
    std::promise<void> answer;
    known = answer.get_future().share();
    qolive::SetNameResolver(ResolveOnceKnown);
    m_center.createSender(5, Recorder::callback, &m_recorder);
    ASSERT_TRUE(m_center.start(Config({{"broker.test", m_server.port()}})));
    m_waiter->awaitIdleness();
    answer.set_value();
    EXPECT_TRUE(m_recorder.waitConnected()) << CenterLog::all();
    qolive::SetNameResolver(nullptr);
}

}  // namespace
