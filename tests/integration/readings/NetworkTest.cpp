#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "integration/readings/OwnNetwork.h"
#include "integration/readings/SlowHost.h"
#include "integration/readings/Tool.h"
#include "platform/HostReadings.h"

// Pings in a network of the test's own, where answers can be delayed and held back.

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

struct Ping {
    bool answered;
    int rttMs;
    milliseconds took;
};

Ping PingOf(const std::string& host) {
    int rttMs = 3000;
    const auto before = steady_clock::now();
    const bool answered = CPing::GetInstance()->PingHost(host, rttMs);
    return {answered, rttMs, std::chrono::duration_cast<milliseconds>(steady_clock::now() - before)};
}

#define OWN_NETWORK_OR_SKIP() \
    if (const std::string problem = EnterOwnNetwork(); !problem.empty()) GTEST_SKIP() << problem

#define HOST_OR_SKIP(host) \
    if (!(host).problem().empty()) GTEST_SKIP() << (host).problem()

void ExpectDelay(const Ping& result, int delayMs) {
    EXPECT_TRUE(result.answered);
    EXPECT_GE(result.rttMs, delayMs);
    EXPECT_LT(result.rttMs, delayMs + 500);
    EXPECT_LE(result.rttMs, result.took.count());
}

void ExpectTimeLimit(const Ping& result) {
    EXPECT_FALSE(result.answered);
    EXPECT_EQ(result.rttMs, 3000);
    EXPECT_GE(result.took, milliseconds(2990));
    EXPECT_LT(result.took, milliseconds(4500));
}

void ExpectRefusal(const Ping& result) {
    EXPECT_FALSE(result.answered);
    EXPECT_EQ(result.rttMs, 3000);
}

TEST(NetworkPing, ADelayedAnswerReadsAsItsDelayThroughARawSocket) {
    OWN_NETWORK_OR_SKIP();
    const SlowHost host(milliseconds(120), SlowHost::Answers::All);
    HOST_OR_SKIP(host);
    ExpectDelay(PingOf("10.77.0.2"), 120);
    EXPECT_EQ(host.requests(), 1);
}

TEST(NetworkPing, ADelayedAnswerReadsAsItsDelayThroughADatagramSocket) {
    OWN_NETWORK_OR_SKIP();
    const SlowHost host(milliseconds(120), SlowHost::Answers::All);
    HOST_OR_SKIP(host);
    std::ofstream("/proc/sys/net/ipv4/ping_group_range") << "0 0";
    ASSERT_TRUE(Succeeds("grep -q '^0.0$' /proc/sys/net/ipv4/ping_group_range"));
    ExpectDelay(PingOf("10.77.0.2"), 120);
    EXPECT_EQ(host.requests(), 1);
}

TEST(NetworkPing, ADelayedAnswerReadsAsItsDelayOverIpv6) {
    OWN_NETWORK_OR_SKIP();
    const SlowHost host(milliseconds(120), SlowHost::Answers::All);
    HOST_OR_SKIP(host);
    if (!Succeeds("ip -6 addr show dev slow0 | grep -q fd77::1")) GTEST_SKIP() << "no IPv6 on this machine";
    ExpectDelay(PingOf("fd77::2"), 120);
    EXPECT_EQ(host.requests(), 1);
}

TEST(NetworkPing, AnAnswerToSomeoneElseIsNotTaken) {
    OWN_NETWORK_OR_SKIP();
    const SlowHost host(milliseconds(200), SlowHost::Answers::WithStrangersFirst);
    HOST_OR_SKIP(host);
    ExpectDelay(PingOf("10.77.0.2"), 200);
}

TEST(NetworkPing, AHostThatNeverAnswersIsWaitedForThreeSeconds) {
    OWN_NETWORK_OR_SKIP();
    const SlowHost host(milliseconds(0), SlowHost::Answers::None);
    HOST_OR_SKIP(host);
    ExpectTimeLimit(PingOf("10.77.0.2"));
    EXPECT_EQ(host.requests(), 1);
}

TEST(NetworkPing, AnAnswerAfterThreeSecondsIsTooLate) {
    OWN_NETWORK_OR_SKIP();
    const SlowHost host(milliseconds(3300), SlowHost::Answers::All);
    HOST_OR_SKIP(host);
    ExpectTimeLimit(PingOf("10.77.0.2"));
}

/// Makes `path` read as `text` for this process alone.
bool ReplaceFile(const char* path, const std::string& text) {
    char temporary[] = "/tmp/readings.XXXXXX";
    const int file = mkstemp(temporary);
    if (file < 0) return false;
    const bool written = write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    fchmod(file, 0644);
    close(file);
    const bool mounted = written && mount(temporary, path, nullptr, MS_BIND, nullptr) == 0;
    unlink(temporary);
    return mounted;
}

TEST(NetworkPing, AServerOfNamesThatNeverAnswersDoesNotExceedTheLimit) {
    OWN_NETWORK_OR_SKIP();
    const SlowHost host(milliseconds(0), SlowHost::Answers::None);
    HOST_OR_SKIP(host);
    if (!ReplaceFile("/etc/resolv.conf", "nameserver 10.77.0.2\noptions timeout:10 attempts:3\n") ||
        !ReplaceFile("/etc/nsswitch.conf", "hosts: files dns\n"))
        GTEST_SKIP() << "the resolver's configuration cannot be replaced";
    ExpectTimeLimit(PingOf("somewhere.test"));
    std::vector<std::thread> pingers;
    for (int i = 0; i < 4; ++i)
        pingers.emplace_back([] { ExpectTimeLimit(PingOf("somewhere.test")); });
    for (auto& pinger : pingers)
        pinger.join();
}

TEST(NetworkPing, AHostWithoutARouteIsRefusedAtOnce) {
    OWN_NETWORK_OR_SKIP();
    for (const char* host : {"192.0.2.1", "2001:db8::1", "255.255.255.255", "ff02::1%nosuchinterface"}) {
        const Ping result = PingOf(host);
        ExpectRefusal(result);
        EXPECT_LT(result.took, seconds(2)) << host;
    }
}

TEST(NetworkPing, OddNamesAreRefused) {
    OWN_NETWORK_OR_SKIP();
    for (const char* host : {" ", "%s%n", "\xff\xfe", "127.0.0.1:80", "[::1]", "a..b", "-", "\x1b[0m\n"})
        ExpectRefusal(PingOf(host));
}

TEST(NetworkPing, AgreesWithThePingTool) {
    OWN_NETWORK_OR_SKIP();
    const SlowHost host(milliseconds(80), SlowHost::Answers::All);
    HOST_OR_SKIP(host);
    const auto lines = OutputOf("ping -c 1 -n 10.77.0.2");
    if (lines.empty()) GTEST_SKIP() << "no ping (iputils-ping)";
    ASSERT_EQ(lines.back().at(0), "rtt") << "ping had no answer";
    // "rtt min/avg/max/mdev = 80.1/80.1/80.1/0.000 ms"
    // A busy machine can delay one of them by much, the quickest of three hardly.
    const auto quickest =
        std::min({PingOf("10.77.0.2").rttMs, PingOf("10.77.0.2").rttMs, PingOf("10.77.0.2").rttMs});
    EXPECT_NEAR(quickest, std::stod(lines.back().at(3)), 100);
    EXPECT_EQ(host.requests(), 4);
}

}  // namespace
