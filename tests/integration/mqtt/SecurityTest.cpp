#include <atomic>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <thread>
#include <vector>

#include "integration/mqtt/CenterTest.h"
#include "integration/support/Certificates.h"
#include "network/LookUps.h"
#include "platform/MsgCenterWatch.h"

using support::Broker;
using support::Certificates;
using support::Eventually;
using support::FreePort;
using support::Process;
using support::ReadFile;
using support::Recorder;
using support::TempFolder;
using support::WireWatcher;

namespace {

std::vector<std::string> ResolveToLoopback(const std::string&) {
    return {"127.0.0.1"};
}

class TlsTest : public CenterTest {
protected:
    void SetUp() override {
        CenterTest::SetUp();
        qolive::SetNameResolver(ResolveToLoopback);
    }
    void TearDown() override { qolive::SetNameResolver(nullptr); }

    static Broker::Options speaking(const Certificates::Server& server) {
        Broker::Options options;
        options.certificate = server.certificate;
        options.key = server.key;
        return options;
    }

    Config configFor(const Broker& broker, const std::string& host, const std::string& caFile) {
        Config config({{host, broker.port()}});
        config->intValue2 = 1;
        config->textValue2 = caFile;
        return config;
    }

    bool connects(const Config& config) {
        m_center.createSender(2, Recorder::callback, &m_recorder);
        EXPECT_TRUE(m_center.start(config));
        return Eventually(
                   [&] { return m_recorder.count(0, 1) > 0 || CenterLog::count("cannot connect") > 0; }) &&
               m_recorder.count(0, 1) > 0;
    }

    void isRefused(const Config& config, const std::string& why, const std::string& severity = "warning") {
        EXPECT_FALSE(connects(config));
        ASSERT_FALSE(CenterLog::lines().empty());
        const std::string line = CenterLog::lines()[0].text;
        EXPECT_EQ(line, severity + ": cannot connect to " + config.host() + " over TLS: " + why)
            << CenterLog::all();
    }

    Certificates m_certificates;
};

TEST_F(TlsTest, ConnectsToANameAndItsCertificate) {
    const Certificates::Server server = m_certificates.make("DNS:broker.test");
    Broker broker(speaking(server));
    WireWatcher watcher(broker, {"", "", m_certificates.caFile()});
    ASSERT_TRUE(connects(configFor(broker, "broker.test", m_certificates.caFile()))) << CenterLog::all();
    QoPlayer::MsgSender* const sender = m_center.createSender(5, Recorder::callback, &m_other);
    ASSERT_TRUE(m_other.waitConnected());
    const std::string body(1'000'000, 'x');
    EXPECT_TRUE(Send(sender, body, "{}"));
    ASSERT_TRUE(watcher.waitFor("/up/5"));
    EXPECT_TRUE(watcher.on("/up/5")[0].payload == body);
    const std::string topic = watcher.on("/up/5")[0].responseTopic;
    const std::string answer(60'000, 'y');
    support::Publish(broker, topic, answer, {"", "", m_certificates.caFile()});
    ASSERT_TRUE(m_other.waitPackets());
    EXPECT_TRUE(m_other.packets()[0] == answer);
    StopWithinASecond(m_center);
    ASSERT_TRUE(watcher.waitFor("/presence", 2));
}

TEST_F(TlsTest, ConnectsToALiteralAddressAndItsCertificate) {
    Broker broker(speaking(m_certificates.make("IP:127.0.0.1")));
    EXPECT_TRUE(connects(configFor(broker, "127.0.0.1", m_certificates.caFile()))) << CenterLog::all();
}

TEST_F(TlsTest, RefusesACertificateForAnotherName) {
    Broker broker(speaking(m_certificates.make("DNS:other.test")));
    isRefused(configFor(broker, "broker.test", m_certificates.caFile()),
              "the server's certificate is not for broker.test");
}

TEST_F(TlsTest, RefusesACertificateForAnotherAddress) {
    Broker broker(speaking(m_certificates.make("IP:127.0.0.9")));
    isRefused(configFor(broker, "127.0.0.1", m_certificates.caFile()),
              "the server's certificate is not for 127.0.0.1");
}

TEST_F(TlsTest, TheAddressBehindANameIsNoName) {
    Broker broker(speaking(m_certificates.make("IP:127.0.0.1")));
    isRefused(configFor(broker, "broker.test", m_certificates.caFile()),
              "the server's certificate is not for broker.test");
}

TEST_F(TlsTest, RefusesAnUnknownAuthority) {
    Broker broker(speaking(m_certificates.make("DNS:broker.test")));
    const Certificates others;
    isRefused(configFor(broker, "broker.test", others.caFile()),
              "the server's certificate comes from an unknown authority");
}

TEST_F(TlsTest, RefusesAnExpiredCertificate) {
    Broker broker(speaking(m_certificates.make("DNS:broker.test", true)));
    isRefused(configFor(broker, "broker.test", m_certificates.caFile()),
              "the server's certificate has expired");
}

TEST_F(TlsTest, WithoutACaFileTheSystemsTrustStoreDecides) {
    Broker broker(speaking(m_certificates.make("DNS:broker.test")));
    isRefused(configFor(broker, "broker.test", ""),
              "the server's certificate comes from an unknown authority");
    m_center.stop();
    setenv("SSL_CERT_FILE", m_certificates.caFile().c_str(), 1);
    ASSERT_TRUE(m_center.start(configFor(broker, "broker.test", "")));
    EXPECT_TRUE(m_recorder.waitConnected()) << CenterLog::all();
}

TEST_F(TlsTest, ACaFileThatCannotBeReadIsToldAndTriedAgain) {
    Broker broker(speaking(m_certificates.make("DNS:broker.test")));
    const TempFolder folder;
    const Config config = configFor(broker, "broker.test", folder.path("ca.pem"));
    isRefused(config, "no authority can be read from the CA file " + folder.path("ca.pem"), "error");
    folder.write("ca.pem", "not a certificate");
    folder.write("ca.pem", ReadFile(m_certificates.caFile()));
    EXPECT_TRUE(m_recorder.waitConnected()) << CenterLog::all();
}

TEST_F(TlsTest, APlainServerIsRefusedWithALine) {
    Broker plain;
    EXPECT_FALSE(connects(configFor(plain, "broker.test", m_certificates.caFile())));
    EXPECT_GT(CenterLog::count("TLS handshake"), 0U) << CenterLog::all();
}

// The server shows the right certificate only to who asks for its name.
TEST_F(TlsTest, TheServerIsAskedForByName) {
    const Certificates::Server unasked = m_certificates.make("DNS:other.test");
    const Certificates::Server asked = m_certificates.make("DNS:broker.test");
    const TempFolder folder;
    const int port = FreePort();
    const Process answering({"openssl", "s_server", "-accept", "127.0.0.1:" + std::to_string(port), "-www",
                             "-cert", unasked.certificate, "-key", unasked.key, "-servername", "broker.test",
                             "-cert2", asked.certificate, "-key2", asked.key},
                            folder.path("output"), folder.path("errors"));
    ASSERT_TRUE(
        Eventually([&] { return ReadFile(folder.path("output")).find("ACCEPT") != std::string::npos; }));
    Config config({{"broker.test", port}});
    config->intValue2 = 1;
    config->textValue2 = m_certificates.caFile();
    isRefused(config, "no answer within 5 s");
}

TEST_F(TlsTest, SurvivesTheDeathOfTheBroker) {
    Broker broker(speaking(m_certificates.make("DNS:broker.test")));
    ASSERT_TRUE(connects(configFor(broker, "broker.test", m_certificates.caFile())));
    for (std::size_t death = 1; death <= 3; ++death) {
        broker.kill();
        ASSERT_TRUE(m_recorder.waitDisconnected(death)) << CenterLog::all();
        broker.restart();
        ASSERT_TRUE(m_recorder.waitConnected(death + 1)) << CenterLog::all();
    }
}

TEST_F(TlsTest, ByDefaultLoopbackIsPlain) {
    Broker plain;
    Config config({{"local.test", plain.port()}});
    config->intValue2 = 0;
    EXPECT_TRUE(connects(config));
}

class TokenTest : public CenterTest {
protected:
    static Broker::Options usersOnly() {
        Broker::Options options;
        options.users = {{"studio-7", "the-secret"}, {"4711", "the-secret"}};
        return options;
    }

    Config config(const std::string& token) {
        Config made(m_broker.port());
        made->accessToken = token;
        return made;
    }

    void start(const QoPlayer::MsgCenterConfig& with) {
        m_center.createSender(2, Recorder::callback, &m_recorder);
        ASSERT_TRUE(m_center.start(with));
    }

    bool renew(const std::string& token, std::int64_t expireTime) {
        return QoPlayer::MsgCenterWatch(m_center).renewAccessToken(token, expireTime);
    }

    std::size_t timesOffered() const {
        const std::string log = m_broker.log();
        std::size_t count = 0;
        for (std::size_t at = log.find("New connection"); at != std::string::npos;
             at = log.find("New connection", at + 1))
            ++count;
        return count;
    }

    void nothingShowsTheToken() {
        EXPECT_EQ(CenterLog::all().find("secret"), std::string::npos);
        for (const Recorder::Event& event : m_recorder.events())
            EXPECT_EQ(event.data.find("secret"), std::string::npos);
    }

    Broker m_broker{usersOnly()};
};

TEST_F(TokenTest, IsThePasswordOfTheClient) {
    start(config("the-secret"));
    EXPECT_TRUE(m_recorder.waitConnected());
    nothingShowsTheToken();
}

TEST_F(TokenTest, IsThePasswordOfTheUserIfThereIsOne) {
    Config with = config("the-secret");
    with->int64Value2 = 4711;
    with->textValue1 = "unknown-to-the-broker";
    start(with);
    EXPECT_TRUE(m_recorder.waitConnected());
    EXPECT_NE(m_broker.log().find("u'4711'"), std::string::npos) << m_broker.log();
}

TEST_F(TokenTest, AWrongOneIsToldWithTheServersReasonOnceAndTriedAgain) {
    start(config("wrong-secret"));
    ASSERT_TRUE(CenterLog::waitFor("refused by the server: Not authorized", 3));
    EXPECT_EQ(m_recorder.count(0, 0), 1U);
    EXPECT_NE(m_recorder.last(0, 0).find("refused by the server: Not authorized"), std::string::npos);
    nothingShowsTheToken();
}

TEST_F(TokenTest, EachStartTellsOfARefusal) {
    start(config("wrong-secret"));
    ASSERT_TRUE(m_recorder.waitDisconnected());
    m_center.stop();
    ASSERT_TRUE(m_center.start(config("wrong-secret")));
    EXPECT_TRUE(m_recorder.waitDisconnected(2)) << CenterLog::all();
}

TEST_F(TokenTest, ASenderOpenedAfterARefusalIsToldToo) {
    start(config("wrong-secret"));
    ASSERT_TRUE(m_recorder.waitDisconnected());
    m_center.createSender(5, Recorder::callback, &m_other);
    ASSERT_TRUE(m_other.waitDisconnected());
    EXPECT_EQ(m_other.last(0, 0), m_recorder.last(0, 0));
}

TEST_F(TokenTest, AnExpiredOneIsNotOffered) {
    Config with = config("the-secret");
    with->expireTime = std::time(nullptr) - 1;
    start(with);
    ASSERT_TRUE(m_recorder.waitDisconnected());
    EXPECT_EQ(m_recorder.last(0, 0), "the access token has expired");
    m_center.createSender(5, Recorder::callback, &m_other);
    ASSERT_TRUE(m_other.waitDisconnected());
    EXPECT_EQ(timesOffered(), 0U);
    EXPECT_EQ(CenterLog::count("expired"), 1U);
    StopWithinASecond(m_center);
    nothingShowsTheToken();
}

TEST_F(TokenTest, OneThatExpiresMeanwhileKeepsTheConnectionAndIsNotOfferedAgain) {
    Config with = config("the-secret");
    with->expireTime = std::time(nullptr) + 3;
    start(with);
    ASSERT_TRUE(m_recorder.waitConnected());
    ASSERT_TRUE(Eventually([&] { return std::time(nullptr) > with->expireTime; }));
    EXPECT_EQ(m_recorder.count(0, 0), 0U);
    m_broker.restart();
    const std::size_t offered = timesOffered();
    ASSERT_TRUE(m_recorder.waitDisconnected(2));
    EXPECT_EQ(m_recorder.last(0, 0), "the access token has expired");
    EXPECT_EQ(timesOffered(), offered);
}

TEST_F(TokenTest, AnExpiredOneIsRenewedWithoutARestart) {
    Config with = config("old-secret");
    with->expireTime = 1;
    start(with);
    ASSERT_TRUE(m_recorder.waitDisconnected());
    EXPECT_TRUE(renew("the-secret", std::time(nullptr) + 3600));
    EXPECT_TRUE(m_recorder.waitConnected()) << CenterLog::all();
    const QoPlayer::MsgCenterWatch watch(m_center);
    // The senders are told first.
    EXPECT_TRUE(Eventually([&] { return watch.status().state == QoPlayer::MsgCenterState::Connected; }));
    EXPECT_EQ(CenterLog::count("info: a new access token"), 1U);
    nothingShowsTheToken();
}

TEST_F(TokenTest, ARefusedOneIsRenewedWithoutARestart) {
    start(config("wrong-secret"));
    ASSERT_TRUE(m_recorder.waitDisconnected());
    EXPECT_TRUE(renew("the-secret", 0));
    EXPECT_TRUE(m_recorder.waitConnected()) << CenterLog::all();
    nothingShowsTheToken();
}

TEST_F(TokenTest, ANewOneIsOfferedWithTheNextConnectionAndNotBefore) {
    start(config("the-secret"));
    ASSERT_TRUE(m_recorder.waitConnected());
    const std::size_t offered = timesOffered();
    EXPECT_TRUE(renew("wrong-secret", 0));
    EXPECT_EQ(m_recorder.count(0, 0), 0U);
    EXPECT_EQ(timesOffered(), offered);
    m_broker.restart();
    ASSERT_TRUE(CenterLog::waitFor("refused by the server: Not authorized")) << CenterLog::all();
    EXPECT_TRUE(renew("the-secret", 0));
    EXPECT_TRUE(m_recorder.waitConnected(2)) << CenterLog::all();
}

TEST_F(TokenTest, OneThatCannotBeOfferedLeavesTheOldOne) {
    start(config("the-secret"));
    ASSERT_TRUE(m_recorder.waitConnected());
    EXPECT_FALSE(renew(std::string("sec\0ret", 7), 0));
    EXPECT_FALSE(renew(std::string(65536, 's'), 0));
    EXPECT_EQ(
        CenterLog::count("error: the access token was not renewed: the access token is longer than 65535 "
                         "bytes or holds a zero byte"),
        2U);
    m_broker.restart();
    EXPECT_TRUE(m_recorder.waitConnected(2)) << CenterLog::all();
    EXPECT_TRUE(renew(std::string(65535, 's'), 0));
    nothingShowsTheToken();
}

TEST_F(TokenTest, OnlyAStartedCenterTakesANewOneAndTheNextStartGoesByItsOwn) {
    EXPECT_FALSE(renew("the-secret", 0));
    start(config("the-secret"));
    ASSERT_TRUE(m_recorder.waitConnected());
    EXPECT_TRUE(renew("wrong-secret", 1));
    m_center.stop();
    EXPECT_FALSE(renew("wrong-secret", 1));
    EXPECT_EQ(CenterLog::count("warning: the access token was not renewed: not started"), 2U);
    ASSERT_TRUE(m_center.start(config("the-secret")));
    EXPECT_TRUE(m_recorder.waitConnected(2)) << CenterLog::all();
}

TEST_F(TokenTest, IsRenewedByManyThreadsWhileTheCenterStartsAndStops) {
    std::atomic<bool> run{true};
    std::vector<std::thread> hosts;
    for (int i = 0; i < 2; ++i)
        hosts.emplace_back([&] {
            while (run) {
                renew("the-secret", 0);
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
    m_center.createSender(2, Recorder::callback, &m_recorder);
    for (std::size_t round = 1; round <= 3; ++round) {
        EXPECT_TRUE(m_center.start(config("the-secret")));
        EXPECT_TRUE(m_recorder.waitConnected(round)) << CenterLog::all();
        m_center.stop();
    }
    run = false;
    for (std::thread& host : hosts)
        host.join();
    nothingShowsTheToken();
}

TEST_F(TokenTest, WithAFreshOneTheNextStartConnects) {
    Config with = config("the-secret");
    with->expireTime = 1;
    start(with);
    ASSERT_TRUE(m_recorder.waitDisconnected());
    m_center.stop();
    with->expireTime = std::time(nullptr) + 3600;
    ASSERT_TRUE(m_center.start(with));
    EXPECT_TRUE(m_recorder.waitConnected());
}

}  // namespace
