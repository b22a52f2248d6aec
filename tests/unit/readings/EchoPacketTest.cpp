#include "readings/EchoPacket_posix.h"

#include <gtest/gtest.h>

namespace {

EchoCookie Cookie() {
    EchoCookie cookie;
    for (std::size_t i = 0; i < cookie.size(); ++i)
        cookie[i] = static_cast<std::uint8_t>(0xf0 + i);
    return cookie;
}

EchoBytes ReplyTo(bool isIpv6) {
    EchoBytes message = MakeEchoRequest(isIpv6, Cookie());
    message[0] = isIpv6 ? 129 : 0;
    return message;
}

EchoBytes WithIpv4Header(const EchoBytes& message, std::uint8_t words) {
    EchoBytes packet(std::size_t{4} * words);
    packet[0] = static_cast<std::uint8_t>(0x40 | words);
    packet.insert(packet.end(), message.begin(), message.end());
    return packet;
}

std::uint32_t FoldedSum(const EchoBytes& message) {
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i + 1 < message.size(); i += 2)
        sum += static_cast<std::uint32_t>(message[i]) << 8 | message[i + 1];
    while (sum >> 16)
        sum = (sum & 0xffff) + (sum >> 16);
    return sum;
}

TEST(EchoPacket, AnIpv4RequestCarriesTheInternetChecksum) {
    const EchoBytes message = MakeEchoRequest(false, Cookie());
    EXPECT_EQ(message[0], 8);
    EXPECT_EQ(message[1], 0);
    EXPECT_EQ(FoldedSum(message), 0xffffu);
}

TEST(EchoPacket, AnIpv6RequestLeavesTheChecksumToTheKernel) {
    const EchoBytes message = MakeEchoRequest(true, Cookie());
    EXPECT_EQ(message[0], 128);
    EXPECT_EQ(message[2], 0);
    EXPECT_EQ(message[3], 0);
}

TEST(EchoPacket, AReplyIsKnownWithAndWithoutAnIpv4Header) {
    EXPECT_TRUE(IsEchoReply(ReplyTo(false), false, Cookie()));
    EXPECT_TRUE(IsEchoReply(WithIpv4Header(ReplyTo(false), 5), false, Cookie()));
    EXPECT_TRUE(IsEchoReply(WithIpv4Header(ReplyTo(false), 15), false, Cookie()));
    EXPECT_TRUE(IsEchoReply(ReplyTo(true), true, Cookie()));
}

TEST(EchoPacket, TheRequestItselfIsNoReply) {
    EXPECT_FALSE(IsEchoReply(MakeEchoRequest(false, Cookie()), false, Cookie()));
    EXPECT_FALSE(IsEchoReply(MakeEchoRequest(true, Cookie()), true, Cookie()));
}

TEST(EchoPacket, AReplyToSomeoneElseIsNotTaken) {
    EchoCookie other = Cookie();
    other.back() ^= 1;
    EXPECT_FALSE(IsEchoReply(ReplyTo(false), false, other));
    EXPECT_FALSE(IsEchoReply(ReplyTo(true), true, other));
}

TEST(EchoPacket, WhatIsCutOrTooLongIsNotTaken) {
    for (const bool isIpv6 : {false, true})
        for (std::size_t size = 0; size < ReplyTo(isIpv6).size(); ++size) {
            EchoBytes message = ReplyTo(isIpv6);
            message.resize(size);
            EXPECT_FALSE(IsEchoReply(message, isIpv6, Cookie())) << size;
            EXPECT_FALSE(IsEchoReply(WithIpv4Header(message, 15), isIpv6, Cookie())) << size;
        }
    EchoBytes longer = ReplyTo(false);
    longer.push_back(0);
    EXPECT_FALSE(IsEchoReply(longer, false, Cookie()));
    EXPECT_FALSE(IsEchoReply({0x4f}, false, Cookie()));
}

}  // namespace
