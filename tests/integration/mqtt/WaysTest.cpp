#include <sys/socket.h>

#include <atomic>
#include <future>

#include "integration/mqtt/CenterTest.h"
#include "integration/support/Certificates.h"
#include "integration/support/SocksProxy.h"
#include "network/LookUps.h"
#include "platform/MsgCenterWatch.h"

using QoPlayer::MsgCenterOptions;
using support::Broker;
using support::Certificates;
using support::Eventually;
using support::FreePort;
using support::ReadFile;
using support::Recorder;
using support::ScriptedConnection;
using support::ScriptedServer;
using support::SocksProxy;
using support::TempFolder;
using support::WireWatcher;

namespace {

std::vector<std::string> ResolveToLoopback(const std::string& host) {
    if (host == "only-the-proxy-knows.test") return {};
    return {"127.0.0.1"};
}

class WaysTest : public CenterTest {
protected:
    void SetUp() override {
        CenterTest::SetUp();
        qolive::SetNameResolver(ResolveToLoopback);
        m_center.createSender(2, Recorder::callback, &m_recorder);
    }
    void TearDown() override { qolive::SetNameResolver(nullptr); }

    void start(const Config& config) {
        ASSERT_TRUE(QoPlayer::MsgCenterWatch(m_center).setOptions(m_options));
        ASSERT_TRUE(m_center.start(config)) << CenterLog::all();
    }

    bool connects(const Config& config) {
        start(config);
        return Eventually(
                   [&] { return m_recorder.count(0, 1) > 0 || CenterLog::count("cannot connect") > 0; }) &&
               m_recorder.count(0, 1) > 0;
    }

    MsgCenterOptions m_options;
};

class ClientCertificateTest : public WaysTest {
protected:
    Broker::Options askingForCertificates() {
        const Certificates::Server server = m_certificates.make("DNS:broker.test");
        Broker::Options made;
        made.certificate = server.certificate;
        made.key = server.key;
        made.lines = {"require_certificate true", "cafile " + m_certificates.caFile()};
        return made;
    }

    Config configFor(int port) {
        Config config({{"broker.test", port}});
        config->intValue2 = 1;
        config->textValue2 = m_certificates.caFile();
        return config;
    }

    bool endsWith(const std::string& problem) {
        return !connects(configFor(m_broker.port())) && CenterLog::count(problem) > 0;
    }

    Certificates m_certificates;
    Certificates::Server m_own = m_certificates.make("DNS:studio-7");
    Broker m_broker{askingForCertificates()};
};

TEST_F(ClientCertificateTest, IsShownToTheServer) {
    m_options.clientCertificate = m_own.certificate;
    m_options.clientKey = m_own.key;
    EXPECT_TRUE(connects(configFor(m_broker.port()))) << CenterLog::all();
}

TEST_F(ClientCertificateTest, MayHoldItsKeyInTheSameFile) {
    const TempFolder folder;
    m_options.clientCertificate = folder.write("both.pem", ReadFile(m_own.certificate) + ReadFile(m_own.key));
    EXPECT_TRUE(connects(configFor(m_broker.port()))) << CenterLog::all();
}

TEST_F(ClientCertificateTest, WithoutOneAServerThatAsksForItRefuses) {
    start(configFor(m_broker.port()));
    EXPECT_TRUE(
        Eventually([&] { return CenterLog::count("cannot connect") + CenterLog::count("lost") > 0; }));
    EXPECT_EQ(m_recorder.count(0, 1), 0U);
}

TEST_F(ClientCertificateTest, AFileThatCannotBeReadIsTold) {
    m_options.clientCertificate = "/nowhere/client.pem";
    EXPECT_TRUE(endsWith("no certificate can be read from the client certificate file /nowhere/client.pem"))
        << CenterLog::all();
}

TEST_F(ClientCertificateTest, TheKeyOfAnotherCertificateIsTold) {
    m_options.clientCertificate = m_own.certificate;
    m_options.clientKey = m_certificates.make("DNS:other").key;
    EXPECT_TRUE(endsWith("no key of the client certificate can be read from " + m_options.clientKey))
        << CenterLog::all();
}

TEST_F(ClientCertificateTest, AnEncryptedKeyIsToldAndNobodyIsAskedForItsPassword) {
    const TempFolder folder;
    m_options.clientCertificate = m_own.certificate;
    m_options.clientKey = folder.path("encrypted.key");
    support::Run({"openssl", "ec", "-in", m_own.key, "-aes128", "-passout", "pass:secret", "-out",
                  m_options.clientKey});
    EXPECT_TRUE(endsWith("no key of the client certificate can be read from " + m_options.clientKey))
        << CenterLog::all();
}

/// What a client offers stands in the first message of the handshake, readable for everyone.
class AlpnTest : public WaysTest {
protected:
    static std::string extensionFor(const std::string& protocol) {
        const auto n = static_cast<char>(protocol.size());
        return std::string("\0\x10\0", 3) + static_cast<char>(n + 3) + '\0' + static_cast<char>(n + 1) + n +
               protocol;
    }

    std::string firstMessageTo(int port) {
        SocksProxy::Options towards;
        towards.serverPort = m_server.port();
        const SocksProxy proxy(towards);
        m_options.proxyHost = "proxy.test";
        m_options.proxyPort = proxy.port();
        start(Config({{"broker.test", port}}));
        EXPECT_TRUE(Eventually([&] { return m_seen.load(); })) << CenterLog::all();
        m_center.stop();
        return m_firstMessage;
    }

    std::atomic<bool> m_seen{false};
    std::string m_firstMessage;
    ScriptedServer m_server{[this](ScriptedConnection& connection) {
        char bytes[4096];
        const ssize_t length = recv(connection.socket(), bytes, sizeof bytes, 0);
        if (!m_seen && length > 0) m_firstMessage.assign(bytes, static_cast<std::size_t>(length));
        m_seen = true;
    }};
};

TEST_F(AlpnTest, TheProtocolThatIsSetIsOffered) {
    m_options.alpn = "x-other";
    const std::string message = firstMessageTo(8883);
    EXPECT_NE(message.find(extensionFor("x-other")), std::string::npos);
}

TEST_F(AlpnTest, NoneIsOfferedByDefault) {
    EXPECT_EQ(firstMessageTo(8883).find("mqtt"), std::string::npos);
}

TEST_F(AlpnTest, ToPort443MqttIsOfferedByDefault) {
    const std::string message = firstMessageTo(443);
    EXPECT_NE(message.find(extensionFor("mqtt")), std::string::npos);
}

TEST_F(AlpnTest, ToPort443TheProtocolThatIsSetIsOffered) {
    m_options.alpn = "x-other";
    const std::string message = firstMessageTo(443);
    EXPECT_NE(message.find(extensionFor("x-other")), std::string::npos);
}

class ProxyTest : public WaysTest {
protected:
    SocksProxy::Options towardsBroker() const {
        SocksProxy::Options made;
        made.serverPort = m_broker.port();
        return made;
    }

    void use(const SocksProxy& proxy) {
        m_options.proxyHost = "proxy.test";
        m_options.proxyPort = proxy.port();
    }

    static Config plainTo(const std::string& host, int port) {
        Config config({{host, port}});
        config->intValue2 = 2;
        return config;
    }

    Broker m_broker;
};

TEST_F(ProxyTest, ConnectionsGoThroughItAndItLooksTheNameUp) {
    const SocksProxy proxy(towardsBroker());
    use(proxy);
    ASSERT_TRUE(connects(plainTo("only-the-proxy-knows.test", 8883))) << CenterLog::all();
    EXPECT_EQ(proxy.askedFor(), std::vector<std::string>{"only-the-proxy-knows.test:8883"});
    EXPECT_EQ(CenterLog::count("connected to only-the-proxy-knows.test:8883 through the proxy proxy.test:" +
                               std::to_string(proxy.port()) + " (127.0.0.1) over plain TCP"),
              1U)
        << CenterLog::all();
}

TEST_F(ProxyTest, MessagesGoThroughItBothWays) {
    const SocksProxy proxy(towardsBroker());
    use(proxy);
    WireWatcher watcher(m_broker);
    QoPlayer::MsgSender* const sender = m_center.createSender(5, Recorder::callback, &m_other);
    start(plainTo("broker.test", 1883));
    ASSERT_TRUE(m_other.waitConnected()) << CenterLog::all();
    const std::string body(300'000, 'x');
    EXPECT_TRUE(Send(sender, body, "{}"));
    ASSERT_TRUE(watcher.waitFor("/up/5"));
    EXPECT_TRUE(watcher.on("/up/5")[0].payload == body);
    support::Publish(m_broker, watcher.on("/up/5")[0].responseTopic, "answer");
    ASSERT_TRUE(m_other.waitPackets());
    StopWithinASecond(m_center);
    ASSERT_TRUE(watcher.waitFor("/presence", 2));
    EXPECT_EQ(watcher.on("/presence")[1].payload, R"({"online":false})");
}

TEST_F(ProxyTest, LiteralAddressesAreHandedOnAsSuch) {
    const SocksProxy proxy(towardsBroker());
    use(proxy);
    ASSERT_TRUE(connects(plainTo("192.0.2.7", 1883))) << CenterLog::all();
    m_center.stop();
    start(plainTo("2001-db8--7.ipv6-literal.net", 1884));
    ASSERT_TRUE(m_recorder.waitConnected(2));
    EXPECT_EQ(proxy.askedFor(), (std::vector<std::string>{"192.0.2.7:1883", "2001:db8::7:1884"}));
}

TEST_F(ProxyTest, IsGivenUserAndPassword) {
    SocksProxy::Options wanted = towardsBroker();
    wanted.user = "studio";
    wanted.password = "the-secret";
    const SocksProxy proxy(wanted);
    use(proxy);
    m_options.proxyUser = "studio";
    m_options.proxyPassword = "the-secret";
    ASSERT_TRUE(connects(plainTo("broker.test", 1883))) << CenterLog::all();
    EXPECT_EQ(CenterLog::all().find("secret"), std::string::npos);
}

TEST_F(ProxyTest, OneThatRefusesThePasswordIsTold) {
    SocksProxy::Options wanted = towardsBroker();
    wanted.user = "studio";
    wanted.password = "another";
    const SocksProxy proxy(wanted);
    use(proxy);
    m_options.proxyUser = "studio";
    m_options.proxyPassword = "the-secret";
    EXPECT_FALSE(connects(plainTo("broker.test", 1883)));
    EXPECT_GT(CenterLog::count("the proxy refused the user name and password"), 0U) << CenterLog::all();
    EXPECT_EQ(CenterLog::all().find("secret"), std::string::npos);
}

TEST_F(ProxyTest, OneThatAsksForAPasswordWhereThereIsNoneIsTold) {
    SocksProxy::Options wanted = towardsBroker();
    wanted.user = "studio";
    const SocksProxy proxy(wanted);
    use(proxy);
    EXPECT_FALSE(connects(plainTo("broker.test", 1883)));
    EXPECT_GT(CenterLog::count("the proxy refused the user name and password"), 0U) << CenterLog::all();
}

TEST_F(ProxyTest, AServerThatItCannotReachIsTold) {
    SocksProxy::Options wanted;
    wanted.serverPort = FreePort();
    const SocksProxy proxy(wanted);
    use(proxy);
    EXPECT_FALSE(connects(plainTo("broker.test", 1883)));
    EXPECT_GT(CenterLog::count("the proxy cannot connect to the server"), 0U) << CenterLog::all();
}

TEST_F(ProxyTest, MayAnswerWithANameOfItsOwn) {
    SocksProxy::Options wanted = towardsBroker();
    wanted.answersWithName = true;
    const SocksProxy proxy(wanted);
    use(proxy);
    EXPECT_TRUE(connects(plainTo("broker.test", 1883))) << CenterLog::all();
}

// How long the server keeps the session, and what it may send at a time.
TEST_F(ProxyTest, TheServerIsAskedForTheSameAsWithoutIt) {
    std::promise<std::string> asked;
    const ScriptedServer server([&](ScriptedConnection& connection) {
        std::string body;
        if (connection.readUntil(0x10, body)) asked.set_value(body);
        connection.drain();
    });
    SocksProxy::Options towards;
    towards.serverPort = server.port();
    const SocksProxy proxy(towards);
    use(proxy);
    start(plainTo("broker.test", 1883));
    const std::string connect = asked.get_future().get();
    EXPECT_NE(connect.find(std::string("\x11\0\0\x02\x58", 5)), std::string::npos);
    EXPECT_NE(connect.find(std::string("\x27\0\x01\0\0", 5)), std::string::npos);
    m_center.stop();
}

// It may be anywhere, and so may what a loopback address means to it.
TEST_F(ProxyTest, ThroughItNothingIsPlainUnlessTlsIsSwitchedOff) {
    const SocksProxy proxy(towardsBroker());
    use(proxy);
    Config config({{"127.0.0.1", m_broker.port()}});
    config->intValue2 = 0;
    EXPECT_FALSE(connects(config));
    EXPECT_EQ(m_recorder.count(0, 1), 0U);
}

TEST_F(ProxyTest, TlsGoesThroughItToTheServer) {
    Certificates certificates;
    const Certificates::Server server = certificates.make("DNS:broker.test");
    Broker::Options speaking;
    speaking.certificate = server.certificate;
    speaking.key = server.key;
    const Broker tlsBroker(speaking);
    SocksProxy::Options towards;
    towards.serverPort = tlsBroker.port();
    const SocksProxy proxy(towards);
    use(proxy);
    Config config({{"broker.test", 8883}});
    config->textValue2 = certificates.caFile();
    EXPECT_TRUE(connects(config)) << CenterLog::all();
}

// A proxy is a server like any other: nothing that it answers ends, holds or grows the process.
TEST_F(ProxyTest, WhateverItAnswersIsSurvived) {
    const std::vector<std::string> answers = {
        std::string("\x05\x02", 2),  // wants a password that was not offered
        std::string("\x05\xff", 2),
        std::string("\x04\x00", 2),
        std::string("\x05", 1),
        "",
        "HTTP/1.1 400 Bad Request\r\n\r\n",
        std::string("\x05\x00\x05\x00\x00\x03\x00\x00\x00", 9),  // a name of no length
        std::string("\x05\x00\x05\x00\x00\x09\x00\x00\x00", 9),  // no kind of address
        std::string("\x05\x00\x05\x01\x00\x01\x00\x00\x00\x00\x00\x00", 12),
        std::string("\x05\x00\x05\x7f\x00\x01\x00\x00\x00\x00\x00\x00", 12),
        std::string("\x05\x00\x05\x00\x00\x01\x00\x00\x00\x00\x00\x00\xf0\x03\x00\x01\x7f", 17),
    };
    std::atomic<std::size_t> next{0};
    const ScriptedServer hostile([&](ScriptedConnection& connection) {
        connection.send(answers[next++ % answers.size()]);
        shutdown(connection.socket(), SHUT_WR);
        connection.drain();
    });
    m_options.proxyHost = "127.0.0.1";
    m_options.proxyPort = hostile.port();
    Config config({{"a.test", 1},
                   {"b.test", 1},
                   {"c.test", 1},
                   {"d.test", 1},
                   {"e.test", 1},
                   {"f.test", 1},
                   {"g.test", 1},
                   {"h.test", 1},
                   {"i.test", 1},
                   {"j.test", 1},
                   {"k.test", 1},
                   {"l.test", 1}});
    config->intValue2 = 2;
    start(config);
    EXPECT_TRUE(Eventually([&] { return next > answers.size(); })) << CenterLog::all();
    EXPECT_EQ(CenterLog::count("no answer within 5 s"), 0U) << CenterLog::all();
    StopWithinASecond(m_center);
}

TEST_F(ProxyTest, OptionsThatCannotBeUsedRefuseTheStart) {
    m_options.proxyHost = "proxy.test";
    m_options.proxyPort = 0;
    ASSERT_TRUE(QoPlayer::MsgCenterWatch(m_center).setOptions(m_options));
    EXPECT_FALSE(m_center.start(plainTo("broker.test", 1883)));
    EXPECT_EQ(CenterLog::count("start: unusable SOCKS5 proxy: proxy.test:0"), 1U) << CenterLog::all();
}

}  // namespace
