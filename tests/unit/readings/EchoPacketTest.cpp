#include "readings/EchoPacket_posix.h"

#include <gtest/gtest.h>

namespace {

EchoCookie cookie() {
    EchoCookie cookie;
    for (std::size_t i = 0; i < cookie.size(); ++i)
        cookie[i] = static_cast<std::uint8_t>(0xf0 + i);
    return cookie;
}

EchoBytes replyTo(bool isIpv6) {
    EchoBytes message = MakeEchoRequest(isIpv6, cookie());
    message[0] = isIpv6 ? 129 : 0;
    return message;
}

EchoBytes withIpv4Header(const EchoBytes& message, std::uint8_t words) {
    EchoBytes packet(std::size_t{4} * words);
    packet[0] = static_cast<std::uint8_t>(0x40 | words);
    packet.insert(packet.end(), message.begin(), message.end());
    return packet;
}

std::uint32_t foldedSum(const EchoBytes& message) {
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i + 1 < message.size(); i += 2)
        sum += static_cast<std::uint32_t>(message[i]) << 8 | message[i + 1];
    while (sum >> 16)
        sum = (sum & 0xffff) + (sum >> 16);
    return sum;
}

TEST(EchoPacket, AnIpv4RequestCarriesTheInternetChecksum) {
    const EchoBytes message = MakeEchoRequest(false, cookie());
    EXPECT_EQ(message[0], 8);
    EXPECT_EQ(message[1], 0);
    EXPECT_EQ(foldedSum(message), 0xffffu);
}

TEST(EchoPacket, AnIpv6RequestLeavesTheChecksumToTheKernel) {
    const EchoBytes message = MakeEchoRequest(true, cookie());
    EXPECT_EQ(message[0], 128);
    EXPECT_EQ(message[2], 0);
    EXPECT_EQ(message[3], 0);
}

TEST(EchoPacket, AReplyIsKnownWithAndWithoutAnIpv4Header) {
    EXPECT_TRUE(IsEchoReply(replyTo(false), false, cookie()));
    EXPECT_TRUE(IsEchoReply(withIpv4Header(replyTo(false), 5), false, cookie()));
    EXPECT_TRUE(IsEchoReply(withIpv4Header(replyTo(false), 15), false, cookie()));
    EXPECT_TRUE(IsEchoReply(replyTo(true), true, cookie()));
}

TEST(EchoPacket, TheRequestItselfIsNoReply) {
    EXPECT_FALSE(IsEchoReply(MakeEchoRequest(false, cookie()), false, cookie()));
    EXPECT_FALSE(IsEchoReply(MakeEchoRequest(true, cookie()), true, cookie()));
}

TEST(EchoPacket, AReplyToSomeoneElseIsNotTaken) {
    EchoCookie other = cookie();
    other.back() ^= 1;
    EXPECT_FALSE(IsEchoReply(replyTo(false), false, other));
    EXPECT_FALSE(IsEchoReply(replyTo(true), true, other));
}

TEST(EchoPacket, WhatIsCutOrTooLongIsNotTaken) {
    for (const bool isIpv6 : {false, true})
        for (std::size_t size = 0; size < replyTo(isIpv6).size(); ++size) {
            EchoBytes message = replyTo(isIpv6);
            message.resize(size);
            EXPECT_FALSE(IsEchoReply(message, isIpv6, cookie())) << size;
            EXPECT_FALSE(IsEchoReply(withIpv4Header(message, 15), isIpv6, cookie())) << size;
        }
    EchoBytes longer = replyTo(false);
    longer.push_back(0);
    EXPECT_FALSE(IsEchoReply(longer, false, cookie()));
    EXPECT_FALSE(IsEchoReply({0x4f}, false, cookie()));
}

}  // namespace
