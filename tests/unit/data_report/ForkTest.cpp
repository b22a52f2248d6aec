#include "unit/ForkedChild.h"
#include "unit/data_report/ManagerUnderTest.h"

// In the child of a fork the manager is as one that was never started.

namespace data_report {
namespace {

class ManagerFork : public ManagerUnderTest {};

TEST_F(ManagerFork, TheChildCannotStartIt) {
    InForkedChild([this] {
        EXPECT_FALSE(manager.Init());
        EXPECT_FALSE(center.hasSender(kStreamCommand));
    });
}

TEST_F(ManagerFork, TheChildOfAStartedOneIsToldNothingAndSendsNothing) {
    startConnected();
    ASSERT_TRUE(manager.IsConnected());
    InForkedChild([this] {
        EXPECT_FALSE(manager.Init());
        EXPECT_FALSE(manager.IsConnected());
        Json::Value head;
        EXPECT_FALSE(manager.SendStreamReport(Json::Value(), head));
        EXPECT_TRUE(head.isNull());
    });
}

TEST_F(ManagerFork, TheChildChangesNoStream) {
    start();
    startEventsOnly("a");
    manager.AddReportData("a", DataTypeEnum::VideoFramesSent, 1);
    manager.AddReportStringData("a", StringDataTypeEnum::SessionId, "parent");
    InForkedChild([this] {
        startEventsOnly("b");
        manager.AddReportData("a", DataTypeEnum::VideoFramesSent, 1);
        manager.AddReportStringData("a", StringDataTypeEnum::SessionId, "child");
        manager.ReportEventData("a", EventTypeEnum::StreamStart, Json::Value());
        EXPECT_EQ(valueOf(*peer.data("a"), 2), 1);
        EXPECT_EQ(textOf(*peer.data("a"), 2), "parent");
        manager.ReportStop("a");
        EXPECT_EQ(peer.ids(), std::vector<std::string>{"a"});
    });
}

}  // namespace
}  // namespace data_report
