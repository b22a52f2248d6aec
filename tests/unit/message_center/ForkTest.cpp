#include <gtest/gtest.h>

#include "fakes/FakeMsgCenter.h"
#include "message_center/CMsgCenterFactory.h"
#include "message_center/CenterWatch.h"
#include "unit/ForkedChild.h"

// In the child of a fork nothing is started, nothing is stopped, and nothing runs.

namespace {

using Bas::CMsgCenterFactory;

const std::string kConfig = R"({"gatewayDns":{"main":["m:1"],"backup":["b:2"]}})";

TEST(FactoryFork, TheChildStartsNothing) {
    CMsgCenterFactory& factory = *CMsgCenterFactory::Inst();
    InForkedChild([&factory] {
        EXPECT_EQ(factory.Start(kConfig, {}), 0);
        EXPECT_TRUE(fakes::FakeMsgCenter::events().empty());
    });
}

TEST(FactoryFork, WhatTheParentStartedDoesNotRunInTheChildAndIsNotStoppedThere) {
    CMsgCenterFactory& factory = *CMsgCenterFactory::Inst();
    ASSERT_EQ(factory.Start(kConfig, {}), 1);
    fakes::FakeMsgCenter::events();
    InForkedChild([&factory] {
        EXPECT_FALSE(factory.IsMainCenterStartOK());
        EXPECT_FALSE(factory.IsHaveBKCenter());
        EXPECT_EQ(factory.Start(kConfig, {}), 0);
        factory.Stop();
        EXPECT_TRUE(fakes::FakeMsgCenter::events().empty());
    });
}

TEST(FactoryFork, TheChildIsToldNothingOfTheCentersAndRenewsNoToken) {
    using fakes::FakeMsgCenter;
    CMsgCenterFactory::Inst();
    FakeMsgCenter::main().status({QoPlayer::MsgCenterState::Connected, "connected", 1});
    FakeMsgCenter::main().counters({1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    int calls = 0;
    Bas::SetCenterStatusSink([](void* user, int, int, const char*) { ++*static_cast<int*>(user); }, &calls);
    InForkedChild([&calls] {
        EXPECT_EQ(Bas::GetCenterStatus(true).state, Bas::CenterState::Unknown);
        EXPECT_EQ(Bas::GetCenterCounters(true).accepted, 0U);
        EXPECT_FALSE(Bas::RenewAccessToken("fresh", 0));
        FakeMsgCenter::main().tell(QoPlayer::MsgCenterState::Waiting, "x");
        EXPECT_EQ(calls, 0);
        Bas::SetCenterStatusSink(nullptr, nullptr);
    });
    FakeMsgCenter::main().tell(QoPlayer::MsgCenterState::Waiting, "x");
    EXPECT_EQ(calls, 1);
    Bas::SetCenterStatusSink(nullptr, nullptr);
}

}  // namespace
