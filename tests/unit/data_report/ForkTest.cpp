#include "unit/ForkedChild.h"
#include "unit/data_report/ManagerUnderTest.h"

// In the child of a fork the manager is as one that was never started.

namespace data_report {
namespace {

class ManagerFork : public ManagerUnderTest {};

TEST_F(ManagerFork, TheChildCannotStartIt) {
    InForkedChild([this] {
        EXPECT_FALSE(m_manager.Init());
        EXPECT_FALSE(m_center.hasSender(kStreamCommand));
    });
}

TEST_F(ManagerFork, TheChildOfAStartedOneIsToldNothingAndSendsNothing) {
    startConnected();
    ASSERT_TRUE(m_manager.IsConnected());
    InForkedChild([this] {
        EXPECT_FALSE(m_manager.Init());
        EXPECT_FALSE(m_manager.IsConnected());
        Json::Value head;
        EXPECT_FALSE(m_manager.SendStreamReport(Json::Value(), head));
        EXPECT_TRUE(head.isNull());
    });
}

TEST_F(ManagerFork, TheChildChangesNoStream) {
    start();
    startEventsOnly("a");
    m_manager.AddReportData("a", DataTypeEnum::VideoFramesSent, 1);
    m_manager.AddReportStringData("a", StringDataTypeEnum::SessionId, "parent");
    InForkedChild([this] {
        startEventsOnly("b");
        m_manager.AddReportData("a", DataTypeEnum::VideoFramesSent, 1);
        m_manager.AddReportStringData("a", StringDataTypeEnum::SessionId, "child");
        m_manager.ReportEventData("a", EventTypeEnum::StreamStart, Json::Value());
        EXPECT_EQ(ValueOf(*m_peer.data("a"), 2), 1);
        EXPECT_EQ(TextOf(*m_peer.data("a"), 2), "parent");
        m_manager.ReportStop("a");
        EXPECT_EQ(m_peer.ids(), std::vector<std::string>{"a"});
    });
}

}  // namespace
}  // namespace data_report
