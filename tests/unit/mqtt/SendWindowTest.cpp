#include "mqtt/SendWindow.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>

using QoPlayer::mqtt::SendWindow;
using std::chrono::duration_cast;
using std::chrono::milliseconds;

namespace {

constexpr std::size_t kFirst = 8192;

class SendWindowTest : public testing::Test {
protected:
    /// A message of 1000 bytes is acknowledged after `latency`, the window being full.
    void acknowledge(milliseconds latency, milliseconds later = milliseconds(10)) {
        m_now += later;
        m_window.acknowledged(m_now - latency, m_now, 1000, m_window.bytes());
    }

    SendWindow m_window;
    SendWindow::Clock::time_point m_now = SendWindow::Clock::time_point() + std::chrono::hours(1);
};

TEST_F(SendWindowTest, BeginsSmall) {
    EXPECT_EQ(m_window.bytes(), kFirst);
}

TEST_F(SendWindowTest, QuickAcknowledgementsDoubleItWithEachRoundTrip) {
    for (std::size_t i = 0; i < kFirst / 1000; ++i)
        acknowledge(milliseconds(600));
    EXPECT_EQ(m_window.bytes(), kFirst + kFirst / 1000 * 1000);
}

TEST_F(SendWindowTest, GrowsToItsBoundAndNoFurther) {
    for (int i = 0; i < 1000; ++i)
        acknowledge(milliseconds(1));
    EXPECT_EQ(m_window.bytes(), 262'144U);
}

TEST_F(SendWindowTest, UsualAcknowledgementsLetItGrowSlowly) {
    acknowledge(milliseconds(601));
    const std::size_t grown = m_window.bytes() - kFirst;
    EXPECT_GT(grown, 0U);
    EXPECT_LT(grown, 200U);
    acknowledge(milliseconds(1200));
    EXPECT_GT(m_window.bytes(), kFirst + grown);
}

TEST_F(SendWindowTest, BetweenUsualAndLateItStaysAsItIs) {
    acknowledge(milliseconds(1201));
    acknowledge(milliseconds(1800));
    EXPECT_EQ(m_window.bytes(), kFirst);
}

TEST_F(SendWindowTest, ALateAcknowledgementHalvesIt) {
    acknowledge(milliseconds(1801));
    EXPECT_EQ(m_window.bytes(), kFirst / 2);
}

TEST_F(SendWindowTest, WhatWasPublishedBeforeItWasHalvedDoesNotHalveItAgain) {
    acknowledge(milliseconds(1801));
    acknowledge(milliseconds(1801), milliseconds(1800));
    EXPECT_EQ(m_window.bytes(), kFirst / 2);
    acknowledge(milliseconds(1801), milliseconds(1));
    EXPECT_EQ(m_window.bytes(), kFirst / 4);
}

TEST_F(SendWindowTest, NeverClosesWholly) {
    for (int i = 0; i < 20; ++i)
        acknowledge(milliseconds(2000), milliseconds(3000));
    EXPECT_EQ(m_window.bytes(), 2048U);
}

TEST_F(SendWindowTest, DoesNotGrowWhileItHoldsNothingBack) {
    m_now += milliseconds(1);
    m_window.acknowledged(m_now, m_now, 1000, kFirst / 2 - 1);
    EXPECT_EQ(m_window.bytes(), kFirst);
    m_window.acknowledged(m_now, m_now, 1000, kFirst / 2);
    EXPECT_GT(m_window.bytes(), kFirst);
}

/// A link of so many bytes per second and such a round trip, with as much to carry as the window lets
/// through.
class ThinLink {
public:
    ThinLink(double bytesPerSecond, milliseconds roundTrip)
        : m_bytesPerSecond(bytesPerSecond), m_roundTrip(roundTrip) {}

    /// Runs for `duration`; what a byte that is sent last waited for at most, in the second half.
    milliseconds longestWait(SendWindow& window, std::chrono::seconds duration) {
        const auto end = m_now + duration;
        SendWindow::Clock::duration longest{};
        while (m_now < end) {
            while (m_inFlight < window.bytes())
                publish();
            if (end - m_now < duration / 2) longest = std::max(longest, m_free - m_now);
            acknowledgeFirst(window);
        }
        return duration_cast<milliseconds>(longest);
    }

    double carriedPerSecond(std::chrono::seconds duration) const {
        return static_cast<double>(m_carried) / static_cast<double>(duration.count());
    }

private:
    struct Sent {
        SendWindow::Clock::time_point published;
        SendWindow::Clock::time_point acknowledged;
    };
    static constexpr std::size_t kMessage = 450;

    void publish() {
        const std::chrono::duration<double> carry(kMessage / m_bytesPerSecond);
        m_free = std::max(m_free, m_now) + duration_cast<SendWindow::Clock::duration>(carry);
        m_sent.push_back({m_now, m_free + m_roundTrip});
        m_inFlight += kMessage;
    }

    void acknowledgeFirst(SendWindow& window) {
        const Sent first = m_sent.front();
        m_sent.pop_front();
        m_now = std::max(m_now, first.acknowledged);
        window.acknowledged(first.published, m_now, kMessage, m_inFlight);
        m_inFlight -= kMessage;
        m_carried += kMessage;
    }

    const double m_bytesPerSecond;
    const milliseconds m_roundTrip;
    SendWindow::Clock::time_point m_now = SendWindow::Clock::time_point() + std::chrono::hours(1);
    SendWindow::Clock::time_point m_free{};
    std::deque<Sent> m_sent;
    std::size_t m_inFlight = 0;
    std::size_t m_carried = 0;
};

TEST_F(SendWindowTest, OnThinAndLongLinksNothingWaitsForAHeartbeatsPeriodAndTheLinkIsUsed) {
    struct Case {
        double bytesPerSecond;
        int roundTripMs;
    };
    for (const Case link : {Case{4'000, 50}, Case{8'000, 50}, Case{8'000, 800}, Case{100'000, 300},
                            Case{1'000'000, 20}, Case{8'000, 1}}) {
        SendWindow fresh;
        ThinLink thin(link.bytesPerSecond, milliseconds(link.roundTripMs));
        const milliseconds waited = thin.longestWait(fresh, std::chrono::seconds(60));
        EXPECT_LT(waited + milliseconds(link.roundTripMs), milliseconds(3000))
            << link.bytesPerSecond << " B/s, " << link.roundTripMs << " ms";
        const double most = std::min(link.bytesPerSecond, 262'144 / (link.roundTripMs / 1000.0));
        EXPECT_GT(thin.carriedPerSecond(std::chrono::seconds(60)), most * 0.7)
            << link.bytesPerSecond << " B/s, " << link.roundTripMs << " ms";
    }
}

}  // namespace
