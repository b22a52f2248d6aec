#include "integration/mqtt/CenterTest.h"
#include "integration/support/Certificates.h"
#include "integration/support/OwnNetwork.h"
#include "network/LookUps.h"

using support::Broker;
using support::Certificates;
using support::Eventually;
using support::OwnNetwork;
using support::Recorder;

// To which addresses a center speaks without TLS.

namespace {

constexpr int kPlainToLoopbackOnly = 0;
constexpr int kNeverTls = 2;

class PlainOrTlsTest : public CenterTest {
protected:
    void TearDown() override {
        m_center.stop();  // in the network that it was started in
        qolive::SetNameResolver(nullptr);
    }

    static Broker::Options at(const std::string& address) {
        Broker::Options options;
        options.address = address;
        return options;
    }

    bool connects(const std::string& host, const Broker& broker, int mode, const std::string& caFile = "") {
        Config config({{host, broker.port()}});
        config->intValue2 = mode;
        config->textValue2 = caFile;
        m_center.createSender(5, Recorder::callback, &m_recorder);
        EXPECT_TRUE(m_center.start(config));
        EXPECT_TRUE(
            Eventually([&] { return m_recorder.count(0, 1) > 0 || CenterLog::count("cannot connect") > 0; }));
        return m_recorder.count(0, 1) > 0;
    }

    static bool hasSeenTheClient(const Broker& broker) {
        return broker.log().find("studio-7") != std::string::npos;
    }

    const OwnNetwork m_network;
};

TEST_F(PlainOrTlsTest, ByDefaultAnotherMachineIsSpokenToWithTlsOnly) {
    if (!m_network.problem().empty()) GTEST_SKIP() << m_network.problem();
    const Broker plain(at(OwnNetwork::kAddress));
    EXPECT_FALSE(connects(OwnNetwork::kAddress, plain, kPlainToLoopbackOnly));
    EXPECT_GT(CenterLog::count("TLS handshake"), 0U) << CenterLog::all();
    EXPECT_FALSE(hasSeenTheClient(plain)) << plain.log();
}

TEST_F(PlainOrTlsTest, ByDefaultAnotherMachineWithACertificateIsConnectedTo) {
    if (!m_network.problem().empty()) GTEST_SKIP() << m_network.problem();
    Certificates certificates;
    const Certificates::Server server = certificates.make(std::string("IP:") + OwnNetwork::kAddress);
    Broker::Options options = at(OwnNetwork::kAddress);
    options.certificate = server.certificate;
    options.key = server.key;
    const Broker broker(options);
    EXPECT_TRUE(connects(OwnNetwork::kAddress, broker, kPlainToLoopbackOnly, certificates.caFile()))
        << CenterLog::all();
}

TEST_F(PlainOrTlsTest, OnATrustedNetworkAnotherMachineIsSpokenToPlainly) {
    if (!m_network.problem().empty()) GTEST_SKIP() << m_network.problem();
    const Broker plain(at(OwnNetwork::kAddress));
    EXPECT_TRUE(connects(OwnNetwork::kAddress, plain, kNeverTls)) << CenterLog::all();
}

// Reaches this machine, but is no loopback address: stands in for another machine wherever the test runs.
TEST_F(PlainOrTlsTest, ByDefaultTheAddressBehindANameDecides) {
    qolive::SetNameResolver([](const std::string&) { return std::vector<std::string>{"0.0.0.0"}; });
    const Broker plain;
    EXPECT_FALSE(connects("localhost.test", plain, kPlainToLoopbackOnly));
    EXPECT_GT(CenterLog::count("TLS handshake"), 0U) << CenterLog::all();
    EXPECT_FALSE(hasSeenTheClient(plain)) << plain.log();
}

}  // namespace
