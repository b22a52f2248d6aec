// What the library costs a host that broadcasts: processor time of the library's threads and resident memory
// of the process, minute by minute, with a heartbeat on two connections and four sampled streams.
// scripts/footprint runs it.

#include <dirent.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "data_report/DataReportManager.h"
#include "heartbeat/LiveHeartReport.h"
#include "heartbeat/LiveHeartReportManager.h"
#include "integration/support/Resident.h"
#include "message_center/CMsgCenterFactory.h"
#include "platform/Log.h"

namespace {

using data_report::DataReportManager;
using data_report::DataTypeEnum;
using Clock = std::chrono::steady_clock;

constexpr int kFramesPerSecond = 30;

double ProcessorSeconds(const std::string& task) {
    std::ifstream file("/proc/self/task/" + task + "/stat");
    std::string text;
    std::getline(file, text);
    const std::size_t afterName = text.rfind(')');
    if (afterName == std::string::npos) return 0;
    std::istringstream fields(text.substr(afterName + 2));
    std::string skipped;
    for (int field = 3; field < 14; ++field)
        fields >> skipped;
    double user = 0;
    double system = 0;
    fields >> user >> system;
    return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

/// Of all threads but the main one, which is the host.
double LibrarySeconds() {
    const std::string host = std::to_string(getpid());
    double sum = 0;
    const std::unique_ptr<DIR, int (*)(DIR*)> tasks(opendir("/proc/self/task"), closedir);
    while (const dirent* task = readdir(tasks.get())) {
        const std::string name = task->d_name;
        if (name[0] != '.' && name != host) sum += ProcessorSeconds(name);
    }
    return sum;
}

bool StartReporting(const std::string& broker) {
    const std::string config = R"({"gatewayDns":{"main":[")" + broker + R"("],"backup":[]}})";
    if (Bas::CMsgCenterFactory::Inst()->Start(config, {}) != 1) return false;
    int mode = 0;
    if (LiveHeartReportManager::GetInstance()->startLiveheart(R"({"heartbeatMode":1})", mode) != 1)
        return false;
    LiveHeartReport::GetInstance()->updateLiveStreamInfo("footprint", 1, 1920, 1080, 1);
    LiveHeartReport::GetInstance()->updateliveStatus(true);
    return DataReportManager::Instance().Init();
}

std::vector<std::string> StartStreams() {
    auto& reports = DataReportManager::Instance();
    const std::vector<std::string> streams{"one", "two", "three", "four"};
    for (const std::string& stream : streams) {
        reports.ReportStart(stream, data_report::StreamTypeEnum::Sampled);
        reports.ReportEventData(stream, data_report::EventTypeEnum::StreamStart, Json::Value());
    }
    return streams;
}

void FeedFrame(const std::string& stream) {
    auto& reports = DataReportManager::Instance();
    for (const auto frames :
         {DataTypeEnum::VideoFramesCaptured, DataTypeEnum::VideoFramesEncoded, DataTypeEnum::VideoFramesSent,
          DataTypeEnum::AudioFramesCaptured, DataTypeEnum::AudioFramesEncoded, DataTypeEnum::AudioFramesSent})
        reports.AddReportData(stream, frames, 1);
    reports.AddReportData(stream, DataTypeEnum::VideoBytesEncoded, 12000);
    reports.AddReportData(stream, DataTypeEnum::VideoBytesSent, 12000);
}

void FeedUntil(Clock::time_point end, const std::vector<std::string>& streams) {
    for (auto frame = Clock::now(); frame < end;
         frame += std::chrono::microseconds(1000000 / kFramesPerSecond)) {
        std::this_thread::sleep_until(frame);
        for (const std::string& stream : streams)
            FeedFrame(stream);
    }
}

void Broadcast(int minutes) {
    const auto streams = StartStreams();
    const auto started = Clock::now();
    long firstMinuteKiB = 0;
    double firstMinuteSeconds = 0;
    std::printf("minute  library threads, processor s  resident KiB\n");
    for (int minute = 1; minute <= minutes; ++minute) {
        FeedUntil(started + std::chrono::minutes(minute), streams);
        const double used = LibrarySeconds();
        const long resident = support::ResidentKiB();
        if (minute == 1) {
            firstMinuteKiB = resident;
            firstMinuteSeconds = used;
        }
        std::printf("%6d  %28.2f  %12ld\n", minute, used, resident);
        std::fflush(stdout);
    }
    if (minutes < 2) return;
    const double seconds = 60.0 * (minutes - 1);
    std::printf("after the first minute: %.3f %% of one core, %+ld KiB\n",
                100 * (LibrarySeconds() - firstMinuteSeconds) / seconds,
                support::ResidentKiB() - firstMinuteKiB);
    for (const std::string& stream : streams)
        DataReportManager::Instance().ReportStop(stream);
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 3) {
        std::fprintf(stderr, "usage: qolive_footprint HOST:PORT MINUTES\n");
        return 2;
    }
    SetLogSink([](void*, int, const char*) {}, nullptr);
    if (!StartReporting(arguments[1])) {
        std::fprintf(stderr, "qolive_footprint: reporting does not start\n");
        return 1;
    }
    Broadcast(std::atoi(arguments[2]));
    LiveHeartReportManager::GetInstance()->stopLiveheart();
    Bas::CMsgCenterFactory::Inst()->Stop();
    return 0;
}
