#include <string>

#include "message_center/CMsgCenterFactory.h"
#include "unit/data_report/ManagerUnderTest.h"

namespace data_report {
namespace {

void ReportOneStream(const std::string& config, const Bas::HeartBaseConfig& base) {
    Bas::CMsgCenterFactory::Inst()->Start(config, base);
    auto& reports = data_report::DataReportManager::Instance();
    if (!reports.Init()) return;

    using namespace data_report;
    const std::string id = "anchor";
    reports.ReportStart(id, StreamTypeEnum::Sampled);
    reports.AddReportStringData(id, StringDataTypeEnum::SessionId, "5f1c");
    reports.AddReportData(id, DataTypeEnum::VideoWidth, 1280);
    reports.ReportEventData(id, EventTypeEnum::StreamStart, Json::Value());
    // for each frame that left the machine, on any thread:
    reports.AddReportData(id, DataTypeEnum::VideoFramesSent, 1);
    reports.AddReportData(id, DataTypeEnum::VideoBytesSent, 5200);
    // at the end of the stream:
    reports.ReportStop(id);
}

class HeaderExample : public ManagerUnderTest {};

TEST_F(HeaderExample, SendsAStreamRecord) {
    ReportOneStream(R"({"gatewayDns":{"main":["a.example:8883"],"backup":[]}})", {});
    ASSERT_TRUE(m_center.connect(kStreamCommand));
    const auto records = sentSoFar();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].record["sid"].asString(), "5f1c");
    EXPECT_EQ(records[0].record["width"].asInt64(), 1280);
    EXPECT_TRUE(m_peer.ids().empty());
}

}  // namespace
}  // namespace data_report
