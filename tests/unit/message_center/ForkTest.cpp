#include <gtest/gtest.h>

#include "fakes/FakeMsgCenter.h"
#include "message_center/CMsgCenterFactory.h"
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

}  // namespace
