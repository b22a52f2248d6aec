#include "host/PushStatus.h"

#include <gtest/gtest.h>

#include "heartbeat/LiveHeartReport.h"

namespace host {
namespace {

LiveHeartReport& Heartbeat() {
    return *LiveHeartReport::GetInstance();
}

int Anchors() {
    return Heartbeat().GetLiveHeartReportData().pushStatus;
}

TEST(PushStatus, IsTheHostsWhileTheStreamIsSent) {
    PushStatus push(1);
    push.Turn(true);
    EXPECT_EQ(Anchors(), 0);
    Heartbeat().updatePushStatus(7);
    push.Turn(true);
    EXPECT_EQ(Anchors(), 7);
    Heartbeat().updatePushStatus(0);
    push.Turn(true);
    EXPECT_EQ(Anchors(), 0);
}

TEST(PushStatus, Is0WhileTheStreamIsLostAndThenAsBefore) {
    PushStatus push(1);
    Heartbeat().updatePushStatus(7);
    push.Turn(true);
    push.Turn(false);
    EXPECT_EQ(Anchors(), 0);
    push.Turn(false);
    push.Turn(true);
    EXPECT_EQ(Anchors(), 7);
    Heartbeat().updatePushStatus(0);
    push.Turn(true);
    EXPECT_EQ(Anchors(), 0) << "what was kept is used once";
}

TEST(PushStatus, WhatTheHostSetsWhileTheStreamIsLostHoldsAfterwards) {
    PushStatus push(1);
    push.Turn(false);
    Heartbeat().updateLiveStreamInfo("show", 1, 640, 360, 1);
    push.Turn(false);
    EXPECT_EQ(Anchors(), 0);
    push.Turn(true);
    EXPECT_EQ(Anchors(), 2);
}

TEST(PushStatus, EachStreamHasItsOwn) {
    Heartbeat().updatePushStatus(1);
    Heartbeat().updateMicPushStatus(2);
    Heartbeat().updateMixStreamStatus(3);
    const auto all = [] {
        const LiveHeartReportData state = Heartbeat().GetLiveHeartReportData();
        return std::to_string(state.pushStatus) + std::to_string(state.micPushStatus) +
               std::to_string(state.mixStatus);
    };
    PushStatus(0).Turn(false);
    PushStatus(4).Turn(false);
    EXPECT_EQ(all(), "123");
    PushStatus(2).Turn(false);
    EXPECT_EQ(all(), "103");
    PushStatus(3).Turn(false);
    EXPECT_EQ(all(), "100");
    PushStatus(1).Turn(false);
    EXPECT_EQ(all(), "000");
}

}  // namespace
}  // namespace host
