#include <qolive_report/data_report/DataReportManager.h>
#include <qolive_report/heartbeat/LiveHeartReportManager.h>
#include <qolive_report/message_center/CMsgCenterFactory.h>

int main() {
    int mode = 0;
    if (Bas::CMsgCenterFactory::Inst()->Start(R"({"gatewayDns":{"main":["127.0.0.1:1"],"backup":[]}})", {}) !=
        1)
        return 1;
    if (LiveHeartReportManager::GetInstance()->startLiveheart("{}", mode) != 1) return 1;
    if (!data_report::DataReportManager::Instance().Init()) return 1;
    Json::Value head(Json::objectValue);
    if (!data_report::DataReportManager::Instance().SendStreamReport("record", head)) return 1;
    LiveHeartReportManager::GetInstance()->stopLiveheart();
    Bas::CMsgCenterFactory::Inst()->Stop();
    return head["mid"].isString() ? 0 : 1;
}
