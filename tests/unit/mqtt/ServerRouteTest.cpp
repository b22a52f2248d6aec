#include "mqtt/ServerRoute.h"

#include <gtest/gtest.h>

using namespace QoPlayer::mqtt;

namespace {

class ServerRouteTest : public testing::Test {
protected:
    Settings m_settings;

    void useProxy() {
        m_settings.options.proxyHost = "proxy.example";
        m_settings.options.proxyPort = 1080;
        m_settings.options.proxyUser = "user";
        m_settings.options.proxyPassword = "secret";
    }
};

TEST_F(ServerRouteTest, LeadsToTheLiteralAddressAndNamesBoth) {
    const ServerRoute route = RouteTo({"a.example", 8883}, "192.0.2.1", m_settings);
    EXPECT_EQ(route.server, "192.0.2.1");
    EXPECT_EQ(route.port, 8883);
    EXPECT_EQ(route.host, "a.example");
    EXPECT_TRUE(route.proxy.literal.empty());
    EXPECT_EQ(route.name, "a.example:8883 (192.0.2.1) over TLS");
    EXPECT_EQ(RouteTo({"192.0.2.1", 8883}, "192.0.2.1", m_settings).name, "192.0.2.1:8883 over TLS");
}

TEST_F(ServerRouteTest, IsPlainToLoopbackAddressesOnlyUnlessAskedOtherwise) {
    EXPECT_TRUE(RouteTo({"localhost", 1883}, "127.0.0.1", m_settings).plain);
    EXPECT_FALSE(RouteTo({"localhost", 1883}, "192.0.2.1", m_settings).plain);
    m_settings.tls = TlsUse::Always;
    EXPECT_FALSE(RouteTo({"localhost", 1883}, "127.0.0.1", m_settings).plain);
    m_settings.tls = TlsUse::Never;
    const ServerRoute plain = RouteTo({"a.example", 1883}, "192.0.2.1", m_settings);
    EXPECT_TRUE(plain.plain);
    EXPECT_EQ(plain.name, "a.example:1883 (192.0.2.1) over plain TCP");
}

TEST_F(ServerRouteTest, OffersMqttToPort443OnlyUnlessAskedOtherwise) {
    EXPECT_EQ(RouteTo({"a.example", 443}, "192.0.2.1", m_settings).alpn, "mqtt");
    EXPECT_EQ(RouteTo({"a.example", 442}, "192.0.2.1", m_settings).alpn, "");
    EXPECT_EQ(RouteTo({"a.example", 444}, "192.0.2.1", m_settings).alpn, "");
    m_settings.options.alpn = "own";
    EXPECT_EQ(RouteTo({"a.example", 443}, "192.0.2.1", m_settings).alpn, "own");
    EXPECT_EQ(RouteTo({"a.example", 8883}, "192.0.2.1", m_settings).alpn, "own");
}

TEST_F(ServerRouteTest, ThroughAProxyLeadsToItsAddressAndLeavesTheNameToIt) {
    EXPECT_EQ(HostToLookUp({"a.example", 8883}, m_settings), "a.example");
    useProxy();
    EXPECT_EQ(HostToLookUp({"a.example", 8883}, m_settings), "proxy.example");
    const ServerRoute route = RouteTo({"a.example", 8883}, "127.0.0.1", m_settings);
    EXPECT_EQ(route.server, "a.example");
    EXPECT_EQ(route.port, 8883);
    EXPECT_EQ(route.proxy.literal, "127.0.0.1");
    EXPECT_EQ(route.proxy.port, 1080);
    EXPECT_EQ(route.proxy.user, "user");
    EXPECT_EQ(route.proxy.password, "secret");
    EXPECT_FALSE(route.plain) << "the loopback address is the proxy's";
    EXPECT_EQ(route.name, "a.example:8883 through the proxy proxy.example:1080 (127.0.0.1) over TLS");
}

TEST_F(ServerRouteTest, ThroughAProxyALiteralAddressIsHandedOnInItsUsualNotation) {
    useProxy();
    const ServerRoute route = RouteTo({"2001-db8--1.ipv6-literal.net", 8883}, "192.0.2.9", m_settings);
    EXPECT_EQ(route.server, "2001:db8::1");
    EXPECT_EQ(route.host, "2001-db8--1.ipv6-literal.net");
}

}  // namespace
