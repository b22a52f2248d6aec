#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <random>
#include <thread>

#include <qolive_report/data_report/DataReportManager.h>
#include <qolive_report/heartbeat/LiveHeartReport.h>
#include <qolive_report/heartbeat/LiveHeartReportManager.h>
#include <qolive_report/message_center/CMsgCenterFactory.h>
#include "common/Printable.h"
#include "common/Program.h"
#include "common/TextWidth.h"
#include "host/Broadcast.h"
#include "host/Catalogue.h"
#include "host/HostLog.h"
#include "host/MachineFacts.h"
#include "host/Options.h"
#include "host/RunFigures.h"

namespace host {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kTurn = std::chrono::milliseconds(20);

// A change is reported within 3 s.
constexpr double kSecondsAfterTheLastStep = 4;

constexpr std::size_t kMostShownBytes = 200;

double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void Announce(double seconds, const std::string& text, bool quiet) {
    if (quiet) return;
    char time[32];
    const int length = std::snprintf(time, sizeof time, "%7.1f s  ", seconds);
    const auto indent = static_cast<std::size_t>(length);
    std::cout << time
              << apps::Paragraph(apps::Printable(text, kMostShownBytes), apps::OutputWidth() - indent, indent)
              << std::endl;
}

bool ReachedAServer() {
    return LiveHeartReport::GetInstance()->isConnecting() ||
           data_report::DataReportManager::Instance().IsConnected();
}

/// What a whole show led to.
struct Course {
    double seconds = 0;
    bool reachedAServer = false;
};

Course Follow(const std::vector<Step>& steps, double duration, bool quiet, Broadcast& broadcast) {
    const Clock::time_point start = Clock::now();
    Course course;
    auto next = steps.begin();
    while (!apps::StopRequested() && (course.seconds = SecondsSince(start)) < duration) {
        for (; next != steps.end() && next->seconds <= SecondsSince(start); ++next) {
            Announce(next->seconds, next->text, quiet);
            next->run();
        }
        broadcast.Turn();
        course.reachedAServer = course.reachedAServer || ReachedAServer();
        std::this_thread::sleep_for(kTurn);
    }
    course.reachedAServer = course.reachedAServer || ReachedAServer();
    return course;
}

// What is still live ends with the program; the last heartbeats say so.
void EndShow(double seconds, bool quiet) {
    LiveHeartReport& heartbeat = *LiveHeartReport::GetInstance();
    const LiveHeartReportData state = heartbeat.GetLiveHeartReportData();
    heartbeat.updatemicStatus(false);
    heartbeat.updateliveStatus(false);
    if (state.micStatus == 1) Announce(seconds, "co-host-link off", quiet);
    if (state.liveStatus == 1) Announce(seconds, "live off", quiet);
}

double DurationOf(const Options& options, const std::vector<Step>& steps) {
    if (options.duration >= 0) return options.duration;
    return (steps.empty() ? 0 : steps.back().seconds) + kSecondsAfterTheLastStep;
}

std::vector<Step> ReadSteps(const Options& options, const Actions& actions) {
    const StreamSettings& pictures = options.broadcast.settings;
    if (options.scriptFile.empty())
        return ParseScript("the default script", DefaultScript(pictures.width, pictures.height), actions);
    return ParseScript(options.scriptFile, ReadScriptFile(options.scriptFile), actions);
}

std::string NewSessionId() {
    char text[9] = {};
    std::snprintf(text, sizeof text, "%08x", std::random_device()());
    return text;
}

BroadcastOptions WithIdentity(const Options& options) {
    const MachineFacts machine = ReadMachineFacts();
    BroadcastOptions broadcast = options.broadcast;
    StreamIdentity& identity = broadcast.identity;
    identity.sessionId = NewSessionId();
    identity.version = QOLIVE_HOST_VERSION;
    identity.deviceId = options.base.textValue1.empty() ? "QoLive" : options.base.textValue1;
    identity.processor = machine.processor;
    identity.memoryMiB = machine.memoryMiB;
    identity.pid = machine.pid;
    identity.userId = options.base.int64Value2;
    identity.provider = 1;
    identity.applicationId = 1;
    identity.roomId = 1;
    broadcast.quiet = options.quiet;
    return broadcast;
}

int Tell(const std::vector<std::string>& faults) {
    for (const std::string& fault : faults)
        std::cerr << "QoLive: " << fault << "\n";
    return faults.empty() ? EXIT_SUCCESS : EXIT_FAILURE;
}

int Run(const Options& options) {
    const std::string config = FactoryConfig(options);
    Bas::CMsgCenterFactory& factory = *Bas::CMsgCenterFactory::Inst();
    const Actions actions =
        Catalogue({[&] { factory.Start(config, options.base); }, [&] { factory.Stop(); }});
    const std::vector<Step> steps = ReadSteps(options, actions);
    Broadcast broadcast(WithIdentity(options));
    const HostLog log(options.logFile, options.quiet);
    if (factory.Start(config, options.base) == 0) {
        std::cerr << "QoLive: no connection could be started; the log tells why\n";
        return EXIT_FAILURE;
    }
    data_report::DataReportManager::Instance().Init();
    broadcast.Start();
    const Course course = Follow(steps, DurationOf(options, steps), options.quiet, broadcast);
    const std::string lastOfConnections = log.LastOfConnections();
    EndShow(course.seconds, options.quiet);
    std::vector<std::string> faults = broadcast.Stop();
    if (!course.reachedAServer) faults.push_back("no server was reached: " + lastOfConnections);
    LiveHeartReportManager::GetInstance()->stopLiveheart();
    const RunFigures figures;
    factory.Stop();
    if (!options.quiet) std::cout << figures.text();
    if (log.Failed()) faults.push_back("the log could not be written to " + options.logFile);
    return Tell(faults);
}

}  // namespace
}  // namespace host

int main(int argc, char** argv) {
    const auto help = [] { return host::HelpText(host::Catalogue({})); };
    return apps::Main<host::Options>({"QoLive", host::ParseOptions, help, host::Run}, argc, argv);
}
