#include "mqtt/NameLookUp.h"

#include <gtest/gtest.h>
#include <mosquitto.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

#include "mqtt/NetworkThread.h"

using namespace QoPlayer::mqtt;

namespace {

// Sockets need it on Windows.
const int librariesReady = mosquitto_lib_init();

/// Holds back the look-ups of names that begin with "hang"; each test has its own.
struct Gate {
    std::promise<void> open;
    std::shared_future<void> opened{open.get_future()};
};
std::unique_ptr<Gate> gate;
std::atomic<int> asked{0};

std::vector<std::string> resolve(const std::string& host) {
    ++asked;
    if (host.rfind("hang", 0) == 0) std::shared_future<void>(gate->opened).wait();
    if (host == "nowhere.test") return {};
    if (host == "short.test") throw std::bad_alloc();
    return {"192.0.2.1", "2001:db8::1"};
}

class NameLookUpTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(librariesReady, MOSQ_ERR_SUCCESS);
        gate = std::make_unique<Gate>();
        asked = 0;
        SetNameResolver(resolve);
    }

    std::shared_ptr<const NameLookUp> lookUp(const std::string& host) {
        const auto begun = lookUps.begin(host);
        while (begun && !begun->hasEnded())
            waiter->wait(1000);
        return begun;
    }

    std::shared_ptr<SocketWaiter> waiter = std::make_shared<SocketWaiter>();
    NameLookUps lookUps{waiter};
};

TEST_F(NameLookUpTest, GivesWhatTheResolverFinds) {
    EXPECT_EQ(lookUp("good.test")->literals(), (std::vector<std::string>{"192.0.2.1", "2001:db8::1"}));
    EXPECT_TRUE(lookUp("nowhere.test")->literals().empty());
}

TEST_F(NameLookUpTest, ALookUpThatMemoryIsTooShortForEndsWithoutAResult) {
    EXPECT_TRUE(lookUp("short.test")->literals().empty());
    EXPECT_FALSE(lookUp("good.test")->literals().empty());
}

TEST_F(NameLookUpTest, EachBeginAfterTheEndAsksAgain) {
    lookUp("good.test");
    lookUp("good.test");
    EXPECT_EQ(asked, 2);
}

TEST_F(NameLookUpTest, ALookUpThatHangsDelaysNoOtherAndIsJoined) {
    const auto hanging = lookUps.begin("hang.test");
    EXPECT_EQ(lookUps.begin("hang.test"), hanging);
    EXPECT_FALSE(lookUp("good.test")->literals().empty());
    EXPECT_FALSE(hanging->hasEnded());
    gate->open.set_value();
    while (!hanging->hasEnded())
        waiter->wait(1000);
    EXPECT_EQ(asked, 2);
}

TEST_F(NameLookUpTest, NoMoreThanEightHangAtOnce) {
    for (int i = 0; i < 8; ++i)
        EXPECT_NE(lookUps.begin("hang" + std::to_string(i)), nullptr);
    EXPECT_EQ(lookUps.begin("good.test"), nullptr);
    gate->open.set_value();
    while (asked < 8 || lookUps.begin("good.test") == nullptr)
        waiter->wait(10);
}

TEST_F(NameLookUpTest, ALookUpMayOutliveWhoAsked) {
    auto asker = std::make_unique<NameLookUps>(waiter);
    const auto hanging = asker->begin("hang.test");
    asker.reset();
    gate->open.set_value();
    while (!hanging->hasEnded())
        waiter->wait(1000);
}

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

TEST(SocketWaiterTest, AWakeUpBeforeTheWaitEndsIt) {
    SocketWaiter waiter;
    ASSERT_TRUE(waiter.isUsable());
    waiter.wake();
    waiter.wake();
    waiter.wait(60'000);
}

TEST(SocketWaiterTest, EveryWakeUpEndsAWait) {
    SocketWaiter waiter;
    std::atomic<int> produced{0};
    int consumed = 0;
    std::thread producer([&] {
        for (int i = 0; i < 2000; ++i) {
            ++produced;
            waiter.wake();
        }
    });
    while (consumed < 2000) {
        waiter.wait(60'000);
        consumed = produced;
    }
    producer.join();
}

}  // namespace
