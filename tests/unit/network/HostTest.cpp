#include "network/Host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

using namespace qolive;

namespace {

TEST(Addresses, LiteralsAreRecognised) {
    EXPECT_EQ(AsLiteralAddress("127.0.0.1"), "127.0.0.1");
    EXPECT_EQ(AsLiteralAddress("0:0::1"), "::1");
    EXPECT_EQ(AsLiteralAddress("localhost"), "");
    EXPECT_EQ(AsLiteralAddress("1.2.3.4.5"), "");
    EXPECT_EQ(AsLiteralAddress("a:b"), "");
}

TEST(Addresses, IPv6LiteralsMayBeWrittenWithoutColons) {
    EXPECT_EQ(AsLiteralAddress("2001-db8--1.ipv6-literal.net"), "2001:db8::1");
    EXPECT_EQ(AsLiteralAddress("2001-DB8-0-0-0-0-0-1.IPv6-Literal.NET"), "2001:db8::1");
    EXPECT_EQ(AsLiteralAddress("--1.ipv6-literal.net"), "::1");
    EXPECT_EQ(AsLiteralAddress("--ffff-127.0.0.1.ipv6-literal.net"), "::ffff:127.0.0.1");
}

TEST(Addresses, AScopeMayBeWrittenWithoutAPercentSign) {
    const std::string usual = AsLiteralAddress("fe80::1%1");
    EXPECT_NE(usual, "");
    EXPECT_EQ(AsLiteralAddress("fe80--1s1.ipv6-literal.net"), usual);
}

TEST(Addresses, WhatOnlyLooksLikeAnIPv6LiteralIsAName) {
    for (const char* host : {".ipv6-literal.net", "ipv6-literal.net", "10.0.0.1.ipv6-literal.net",
                             "a.ipv6-literal.net", "2001-db8--1.ipv6-literal.net.example",
                             "2001-db8--1--2.ipv6-literal.net", "2001-db8--1ipv6-literal.net"})
        EXPECT_EQ(AsLiteralAddress(host), "") << host;
}

TEST(Addresses, LoopbackIsRecognised) {
    for (const char* literal : {"127.0.0.1", "127.255.0.9", "::1", "::ffff:127.0.0.1"})
        EXPECT_TRUE(IsLoopbackAddress(literal)) << literal;
    for (const char* literal : {"128.0.0.1", "10.127.0.1", "::2", "::", "::ffff:10.0.0.1", "fe80::1", ""})
        EXPECT_FALSE(IsLoopbackAddress(literal)) << literal;
}

TEST(Addresses, EmptyHugeAndZeroByteTextsAreNoHosts) {
    EXPECT_FALSE(IsPossibleHost(""));
    EXPECT_FALSE(IsPossibleHost(std::string(10'000'000, 'a')));
    EXPECT_FALSE(IsPossibleHost(std::string("127.0.0.1\0evil", 14)));
    EXPECT_TRUE(IsPossibleHost(std::string(255, 'a')));
    EXPECT_FALSE(IsPossibleHost(std::string(256, 'a')));
}

TEST(ResolveHost, LocalhostHasLoopbackAddressesEachOnce) {
    const std::vector<std::string> literals = ResolveHost("localhost");
    ASSERT_FALSE(literals.empty());
    for (const std::string& literal : literals) {
        EXPECT_TRUE(IsLoopbackAddress(literal)) << literal;
        EXPECT_EQ(std::count(literals.begin(), literals.end(), literal), 1) << literal;
    }
}

TEST(ResolveHost, ALiteralIsItsOwnAddress) {
    EXPECT_EQ(ResolveHost("192.0.2.33"), std::vector<std::string>{"192.0.2.33"});
    EXPECT_EQ(ResolveHost("2001:DB8:0::7"), std::vector<std::string>{"2001:db8::7"});
}

}  // namespace
