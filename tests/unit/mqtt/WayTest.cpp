#include "mqtt/Way.h"

#include <gtest/gtest.h>

using namespace QoPlayer::mqtt;

namespace {

class WayTest : public testing::Test {
protected:
    Settings m_settings;

    void useProxy() {
        m_settings.options.proxyHost = "proxy.example";
        m_settings.options.proxyPort = 1080;
        m_settings.options.proxyUser = "user";
        m_settings.options.proxyPassword = "secret";
    }
};

TEST_F(WayTest, LeadsToTheLiteralAddressAndNamesBoth) {
    const Way way = WayTo({"a.example", 8883}, "192.0.2.1", m_settings);
    EXPECT_EQ(way.server, "192.0.2.1");
    EXPECT_EQ(way.port, 8883);
    EXPECT_EQ(way.host, "a.example");
    EXPECT_TRUE(way.proxy.literal.empty());
    EXPECT_EQ(way.name, "a.example:8883 (192.0.2.1) over TLS");
    EXPECT_EQ(WayTo({"192.0.2.1", 8883}, "192.0.2.1", m_settings).name, "192.0.2.1:8883 over TLS");
}

TEST_F(WayTest, IsPlainToLoopbackAddressesOnlyUnlessAskedOtherwise) {
    EXPECT_TRUE(WayTo({"localhost", 1883}, "127.0.0.1", m_settings).plain);
    EXPECT_FALSE(WayTo({"localhost", 1883}, "192.0.2.1", m_settings).plain);
    m_settings.tls = TlsUse::Always;
    EXPECT_FALSE(WayTo({"localhost", 1883}, "127.0.0.1", m_settings).plain);
    m_settings.tls = TlsUse::Never;
    const Way plain = WayTo({"a.example", 1883}, "192.0.2.1", m_settings);
    EXPECT_TRUE(plain.plain);
    EXPECT_EQ(plain.name, "a.example:1883 (192.0.2.1) over plain TCP");
}

TEST_F(WayTest, OffersMqttToPort443OnlyUnlessAskedOtherwise) {
    EXPECT_EQ(WayTo({"a.example", 443}, "192.0.2.1", m_settings).alpn, "mqtt");
    EXPECT_EQ(WayTo({"a.example", 442}, "192.0.2.1", m_settings).alpn, "");
    EXPECT_EQ(WayTo({"a.example", 444}, "192.0.2.1", m_settings).alpn, "");
    m_settings.options.alpn = "own";
    EXPECT_EQ(WayTo({"a.example", 443}, "192.0.2.1", m_settings).alpn, "own");
    EXPECT_EQ(WayTo({"a.example", 8883}, "192.0.2.1", m_settings).alpn, "own");
}

TEST_F(WayTest, ThroughAProxyLeadsToItsAddressAndLeavesTheNameToIt) {
    EXPECT_EQ(HostToLookUp({"a.example", 8883}, m_settings), "a.example");
    useProxy();
    EXPECT_EQ(HostToLookUp({"a.example", 8883}, m_settings), "proxy.example");
    const Way way = WayTo({"a.example", 8883}, "127.0.0.1", m_settings);
    EXPECT_EQ(way.server, "a.example");
    EXPECT_EQ(way.port, 8883);
    EXPECT_EQ(way.proxy.literal, "127.0.0.1");
    EXPECT_EQ(way.proxy.port, 1080);
    EXPECT_EQ(way.proxy.user, "user");
    EXPECT_EQ(way.proxy.password, "secret");
    EXPECT_FALSE(way.plain) << "the loopback address is the proxy's";
    EXPECT_EQ(way.name, "a.example:8883 through the proxy proxy.example:1080 (127.0.0.1) over TLS");
}

TEST_F(WayTest, ThroughAProxyALiteralAddressIsHandedOnInItsUsualNotation) {
    useProxy();
    const Way way = WayTo({"2001-db8--1.ipv6-literal.net", 8883}, "192.0.2.9", m_settings);
    EXPECT_EQ(way.server, "2001:db8::1");
    EXPECT_EQ(way.host, "2001-db8--1.ipv6-literal.net");
}

}  // namespace
