// host PORT ENDING: a host of the C++ classes. ENDING is "stop", or "return" to leave everything running.

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

#include <qolive_report/data_report/DataReportManager.h>
#include <qolive_report/heartbeat/LiveHeartReport.h>
#include <qolive_report/heartbeat/LiveHeartReportManager.h>
#include <qolive_report/message_center/CMsgCenterFactory.h>
#include <qolive_report/platform/Log.h>

namespace {

std::atomic<int> g_lines{0};

void countLine(void*, int, const char*) {
    ++g_lines;
}

bool isConnected() {
    return LiveHeartReport::GetInstance()->isConnecting() &&
           data_report::DataReportManager::Instance().IsConnected();
}

bool start(const std::string& port) {
    const std::string address = "\"127.0.0.1:" + port + "\"";
    const std::string servers = R"({"gatewayDns":{"main":[)" + address + R"(],"backup":[)" + address + "]}}";
    int mode = 0;
    SetLogSink(countLine, nullptr);
    return Bas::CMsgCenterFactory::Inst()->Start(servers, {}) == 1 &&
           LiveHeartReportManager::GetInstance()->startLiveheart("{}", mode) == 1 &&
           data_report::DataReportManager::Instance().Init();
}

void feed() {
    using namespace data_report;
    auto& reports = DataReportManager::Instance();
    reports.ReportStart("anchor", StreamTypeEnum::Sampled);
    for (int i = 0; i < 40; ++i) {
        reports.AddReportData("anchor", DataTypeEnum::VideoFramesSent, 1);
        reports.ReportEventData("anchor", EventTypeEnum::StreamStart, Json::Value());
        LiveHeartReport::GetInstance()->updateliveStatus(i % 2 == 0);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3 || !start(argv[1])) return 1;
    for (int waited = 0; !isConnected(); ++waited) {
        if (waited > 4000) return 2;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    feed();
    if (g_lines == 0) return 3;
    std::puts("ending");
    std::fflush(stdout);
    if (std::strcmp(argv[2], "return") == 0) return 0;
    data_report::DataReportManager::Instance().ReportStop("anchor");
    if (!LiveHeartReportManager::GetInstance()->stopLiveheart()) return 4;
    Bas::CMsgCenterFactory::Inst()->Stop();
    return 0;
}
