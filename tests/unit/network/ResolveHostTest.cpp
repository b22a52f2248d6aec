#include <gtest/gtest.h>

#include <algorithm>

#include "network/HostAddress.h"
#include "platform/HostReadings.h"

namespace {

std::vector<HostAddress> literal(const std::string& host) {
    return ResolveHost(host, HostText::Literal);
}

TEST(ResolveHost, ALiteralIpv4AddressIsItsFourBytes) {
    const auto addresses = literal("192.0.2.33");
    ASSERT_EQ(addresses.size(), 1u);
    EXPECT_FALSE(addresses[0].isIpv6);
    const std::array<std::uint8_t, 4> expected{192, 0, 2, 33};
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), addresses[0].bytes.begin()));
}

TEST(ResolveHost, ALiteralIpv6AddressIsItsSixteenBytes) {
    const auto addresses = literal("2001:db8::7");
    ASSERT_EQ(addresses.size(), 1u);
    EXPECT_TRUE(addresses[0].isIpv6);
    EXPECT_EQ(addresses[0].bytes[0], 0x20);
    EXPECT_EQ(addresses[0].bytes[15], 7);
}

TEST(ResolveHost, ANameIsNoLiteralAddress) {
    EXPECT_TRUE(literal("localhost").empty());
    EXPECT_TRUE(literal("192.0.2.999").empty());
}

TEST(ResolveHost, LocalhostIsALoopbackAddress) {
    const auto addresses = ResolveHost("localhost", HostText::Name);
    ASSERT_FALSE(addresses.empty());
    for (const HostAddress& address : addresses)
        EXPECT_EQ(address.isIpv6 ? address.bytes[15] : address.bytes[0], address.isIpv6 ? 1 : 127);
}

TEST(ResolveHost, EmptyHugeAndZeroByteTextsAreNoHosts) {
    EXPECT_FALSE(IsPossibleHost(""));
    EXPECT_FALSE(IsPossibleHost(std::string(10'000'000, 'a')));
    EXPECT_FALSE(IsPossibleHost(std::string("127.0.0.1\0evil", 14)));
    EXPECT_TRUE(IsPossibleHost(std::string(255, 'a')));
    EXPECT_FALSE(IsPossibleHost(std::string(256, 'a')));
}

TEST(Ping, AnUnusableHostIsRefusedAndLeavesTheTimeAlone) {
    for (const std::string& host : {std::string(), std::string("127.0.0.1\0x", 11),
                                    std::string(10'000'000, 'a'), std::string("255.255.255.255")}) {
        int rttMs = 3000;
        EXPECT_FALSE(CPing::GetInstance()->PingHost(host, rttMs)) << host.substr(0, 40);
        EXPECT_EQ(rttMs, 3000);
    }
}

}  // namespace
