#include <openssl/ssl.h>

#include <csignal>
#include <memory>
#include <string>
#include <vector>

#include "integration/mqtt/CenterTest.h"
#include "integration/support/Certificates.h"
#include "integration/support/ScriptedServer.h"

using support::Broker;
using support::Certificates;
using support::Eventually;
using support::Recorder;
using support::ScriptedConnection;
using support::ScriptedServer;

// Servers that do not speak TLS as they should: told with the reason, left for the next address, and no
// reason to wait for at a stop.

namespace {

template <std::size_t size>
std::string Bytes(const char (&literal)[size]) {
    return std::string(literal, size - 1);
}

/// The TLS side of one connection, with what a server would have to be told to do wrong.
class TlsServerSide {
public:
    TlsServerSide(const Certificates::Server& server, int oldestVersion, int newestVersion)
        : m_context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free) {
        SSL_CTX_use_certificate_file(m_context.get(), server.certificate.c_str(), SSL_FILETYPE_PEM);
        SSL_CTX_use_PrivateKey_file(m_context.get(), server.key.c_str(), SSL_FILETYPE_PEM);
        SSL_CTX_set_security_level(m_context.get(), 0);
        SSL_CTX_set_min_proto_version(m_context.get(), oldestVersion);
        SSL_CTX_set_max_proto_version(m_context.get(), newestVersion);
        m_ssl.reset(SSL_new(m_context.get()));
    }

    bool accept(const ScriptedConnection& connection) {
        SSL_set_fd(m_ssl.get(), connection.socket());
        return SSL_accept(m_ssl.get()) == 1;
    }
    void readSomething() {
        char bytes[1024];
        SSL_read(m_ssl.get(), bytes, sizeof bytes);
    }
    void sayGoodbye() { SSL_shutdown(m_ssl.get()); }

private:
    std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> m_context;
    std::unique_ptr<SSL, decltype(&SSL_free)> m_ssl{nullptr, SSL_free};
};

class TlsFaultsTest : public CenterTest {
protected:
    void SetUp() override {
        CenterTest::SetUp();
        m_before = std::signal(SIGPIPE, SIG_IGN);  // TLS of the server's side writes without asking
    }
    void TearDown() override { std::signal(SIGPIPE, m_before); }

    static Broker::Options speaking(const Certificates::Server& server) {
        Broker::Options options;
        options.certificate = server.certificate;
        options.key = server.key;
        return options;
    }

    Config configFor(const std::vector<std::pair<std::string, int>>& addresses) {
        Config config(addresses);
        config->intValue2 = 1;
        config->textValue2 = m_certificates.caFile();
        return config;
    }

    /// The line about the faulty server, up to its reason, and then one of `reasons`.
    void expectReason(int port, const std::vector<std::string>& reasons) {
        const std::string start =
            "warning: cannot connect to 127.0.0.1:" + std::to_string(port) + " over TLS: ";
        ASSERT_FALSE(CenterLog::lines().empty());
        const std::string line = CenterLog::lines()[0].text;
        bool found = false;
        for (const std::string& reason : reasons)
            found = found || line.find(start + reason) == 0;
        EXPECT_TRUE(found) << CenterLog::all();
    }

    void isLeftForTheNext(const ScriptedServer::Script& fault, const std::vector<std::string>& reasons) {
        CenterLog::install();
        ScriptedServer faulty(fault);
        QoPlayer::MsgCenter own;
        Recorder heard;
        own.createSender(2, Recorder::callback, &heard);
        ASSERT_TRUE(own.start(configFor({{"127.0.0.1", faulty.port()}, {"127.0.0.1", m_honest.port()}})));
        ASSERT_TRUE(heard.waitConnected()) << CenterLog::all();
        EXPECT_EQ(heard.last(0, 1),
                  "connected to 127.0.0.1:" + std::to_string(m_honest.port()) + " over TLS");
        expectReason(faulty.port(), reasons);
        StopWithinASecond(own);
    }

    void stopsWhile(const ScriptedServer::Script& fault) {
        ScriptedServer faulty(fault);
        QoPlayer::MsgCenter own;
        ASSERT_TRUE(own.start(configFor({{"127.0.0.1", faulty.port()}})));
        ASSERT_TRUE(Eventually([&] { return faulty.connectionsSeen() > 0; }));
        StopWithinASecond(own);
    }

    void isOnlyAFault(const ScriptedServer::Script& fault, const std::vector<std::string>& reasons) {
        isLeftForTheNext(fault, reasons);
        stopsWhile(fault);
    }

    Certificates m_certificates;
    const Certificates::Server m_server = m_certificates.make("IP:127.0.0.1");
    Broker m_honest{speaking(m_server)};

private:
    void (*m_before)(int) = SIG_DFL;
};

/// Answers the first message of the client with `bytes`, and listens on.
ScriptedServer::Script Answering(const std::string& bytes) {
    return [bytes](ScriptedConnection& connection) {
        std::uint8_t type = 0;
        std::string body;
        if (connection.read(type, body) && connection.send(bytes)) connection.drain();
    };
}

TEST_F(TlsFaultsTest, WhatIsNoServerHelloEndsTheConnection) {
    const std::vector<std::string> answers = {
        "HTTP/1.1 400 Bad Request\r\n\r\n",
        Bytes("\x20\x03\x00\x00\x00\x00\x00\x00"),  // MQTT's answer to a connection
        std::string(64, '\0'),
        Bytes("\x16\x03\x03\x00\x04\x02\x00\x00\x00"),                  // an empty ServerHello
        Bytes("\x16\x03\x03\x00\x08\x02\x00\x00\x04\xff\xff\xff\xff"),  // one of no version
        Bytes("\x17\x03\x03\x00\x02hi"),                                // data before there are keys
        Bytes("\x15\x03\x03\x00\x02\x02\x28"),                          // an alert: handshake failure
        Bytes("\x16\x03\x03\xff\xff") + std::string(65535, 'x'),        // a record longer than records are
    };
    for (const std::string& answer : answers)
        isOnlyAFault(Answering(answer), {"the TLS handshake failed: "});
}

TEST_F(TlsFaultsTest, TheLongestRecordThatNeverCompletesIsLeftAfterFiveSeconds) {
    isOnlyAFault(Answering(Bytes("\x16\x03\x03\x40\x00\x02\x00\x3f\xfc") + std::string(16000, 'x')),
                 {"no answer within 5 s"});
}

TEST_F(TlsFaultsTest, AResetInTheMiddleOfTheHandshakeEndsTheConnection) {
    isOnlyAFault(
        [](ScriptedConnection& connection) {
            std::uint8_t type = 0;
            std::string body;
            if (!connection.read(type, body)) return;
            connection.send(Bytes("\x16\x03\x03\x00\x7a\x02\x00\x00\x76\x03\x03"));
            connection.resetOnClose();
        },
        {"closed by the server during the TLS handshake", "reset during the TLS handshake",
         "connection refused, or reset during the TLS handshake", "the TLS handshake failed: "});
}

TEST_F(TlsFaultsTest, AServerThatSaysGoodbyeRightAfterTheHandshakeIsLeft) {
    for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        isOnlyAFault(
            [&](ScriptedConnection& connection) {
                TlsServerSide tls(m_server, version, version);
                if (!tls.accept(connection)) return;
                tls.readSomething();
                tls.sayGoodbye();
            },
            {"closed by the server"});
    }
}

TEST_F(TlsFaultsTest, VersionsOfBefore12AreRefused) {
    for (const int version : {TLS1_VERSION, TLS1_1_VERSION}) {
        isOnlyAFault(
            [&](ScriptedConnection& connection) {
                TlsServerSide tls(m_server, TLS1_VERSION, version);
                tls.accept(connection);
                connection.drain();
            },
            {"the TLS handshake failed: "});
    }
}

}  // namespace
