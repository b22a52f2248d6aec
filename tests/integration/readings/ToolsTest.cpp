#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "integration/readings/BusyThread.h"
#include "integration/readings/Tool.h"
#include "platform/HostReadings.h"

// Readings beside what the system's own tools say of the same seconds.

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// The figure below `heading` in the last line; below zero when there is none.
double LastFigure(const std::vector<Words>& lines, const std::string& heading) {
    for (const Words& words : lines) {
        const auto found = std::find(words.begin(), words.end(), heading);
        const auto column = static_cast<std::size_t>(found - words.begin());
        if (found != words.end() && column < lines.back().size()) return std::stod(lines.back()[column]);
    }
    return -1;
}

int Processors() {
    return static_cast<int>(std::thread::hardware_concurrency());
}

TEST(Tools, SystemCpuAgreesWithVmstat) {
    const BusyThread busy;
    CCPUUseRate rate;
    rate.Initialize();
    const auto lines = OutputOf("vmstat -n 3 2");
    const int percent = rate.GetCPUUseRate();
    const double idle = LastFigure(lines, "id");
    const double waiting = LastFigure(lines, "wa");
    if (idle < 0) GTEST_SKIP() << "no vmstat (procps)";
    EXPECT_NEAR(percent, 100 - idle - waiting, 6);
    EXPECT_GE(percent, 100 / Processors() * 9 / 10);
}

TEST(Tools, ProcessCpuAgreesWithTop) {
    const BusyThread busy;
    CProcessCPUUseRate rate;
    rate.GetProcessCpuUsage(L"readings_test.exe", false);
    const auto lines = OutputOf("top -b -n 2 -d 3 -p " + std::to_string(getpid()));
    const int percent = rate.GetProcessCpuUsage(L"readings_test.exe", false);
    const double ofOneProcessor = LastFigure(lines, "%CPU");
    if (ofOneProcessor < 0) GTEST_SKIP() << "no top (procps)";
    EXPECT_NEAR(percent, ofOneProcessor / Processors(), 8);
}

TEST(Tools, MemoryAgreesWithFree) {
    const auto lines = OutputOf("free -k");
    CurrentMemoryInfo info;
    ASSERT_EQ(GetCurrentMemoryInfo(&info), 0u);
    if (lines.size() < 2 || lines[1].size() < 7) GTEST_SKIP() << "no free (procps)";
    EXPECT_EQ(std::to_string(info.totalPhysical), lines[1][1]);
    EXPECT_NEAR(info.availablePhysical, std::stod(lines[1][6]), info.totalPhysical / 10.0);
}

/// A process of its own that keeps one processor busy until it is ended, and that ends with this one.
class BusyProcess {
public:
    explicit BusyProcess(const std::string& name) : m_id(fork()) {
        if (m_id == 0) spin(name.c_str());
        waitForName(name);
    }
    ~BusyProcess() { end(); }
    BusyProcess(const BusyProcess&) = delete;
    BusyProcess& operator=(const BusyProcess&) = delete;

    void end() {
        if (m_id <= 0) return;
        kill(m_id, SIGKILL);
        waitpid(m_id, nullptr, 0);
        m_id = 0;
    }

    milliseconds used() const {
        clockid_t clock{};
        timespec time{};
        EXPECT_EQ(clock_getcpuclockid(m_id, &clock), 0);
        clock_gettime(clock, &time);
        return milliseconds(time.tv_sec * 1000 + time.tv_nsec / 1'000'000);
    }

private:
    [[noreturn]] static void spin(const char* name) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        prctl(PR_SET_NAME, name);
        alarm(60);
        for (volatile bool run = true; run;) {
        }
        _exit(0);
    }

    void waitForName(const std::string& name) const {
        const std::string path = "/proc/" + std::to_string(m_id) + "/comm";
        for (std::string seen; seen != name; std::this_thread::sleep_for(milliseconds(1)))
            std::getline(std::ifstream(path), seen);
    }

    pid_t m_id;
};

std::string OwnName() {
    return "Busy" + std::to_string(getpid());
}

std::wstring WideName() {
    return L"bUSY" + std::to_wstring(getpid()) + L".EXE";
}

double PercentOf(milliseconds used, steady_clock::duration elapsed) {
    return 100.0 * static_cast<double>(used.count()) /
           std::chrono::duration<double, std::milli>(elapsed).count() / Processors();
}

TEST(Processes, TwoOfOneNameReadAsTheirSum) {
    const BusyProcess one(OwnName());
    const BusyProcess two(OwnName());
    CProcessCPUUseRate rate;
    EXPECT_EQ(rate.GetProcessCpuUsage(WideName(), false), 0);
    const auto started = steady_clock::now();
    const milliseconds before = one.used() + two.used();
    std::this_thread::sleep_for(std::chrono::seconds(2));
    const int percent = rate.GetProcessCpuUsage(WideName(), false);
    const double expected = PercentOf(one.used() + two.used() - before, steady_clock::now() - started);
    EXPECT_NEAR(percent, expected, 6);
    EXPECT_GE(percent, 1);
}

TEST(Processes, OneThatEndsLeavesTheOther) {
    const BusyProcess staying(OwnName());
    BusyProcess ending(OwnName());
    CProcessCPUUseRate rate;
    rate.GetProcessCpuUsage(WideName(), false);
    const auto started = steady_clock::now();
    const milliseconds before = staying.used();
    std::this_thread::sleep_for(milliseconds(500));
    ending.end();
    std::this_thread::sleep_for(milliseconds(1500));
    const int percent = rate.GetProcessCpuUsage(WideName(), false);
    EXPECT_NEAR(percent, PercentOf(staying.used() - before, steady_clock::now() - started), 6);
}

// On a machine that is busy with other things, the process may have to wait for its turn.
bool ReadsAsBusy(CProcessCPUUseRate& rate) {
    for (int reading = 0; reading < 20; ++reading) {
        std::this_thread::sleep_for(milliseconds(500));
        if (rate.GetProcessCpuUsage(WideName(), false) >= 1) return true;
    }
    return false;
}

TEST(Processes, OneThatEndedReadsAsZeroAndANewOneFromItsSecondReading) {
    CProcessCPUUseRate rate;
    {
        const BusyProcess first(OwnName());
        rate.GetProcessCpuUsage(WideName(), false);
        EXPECT_TRUE(ReadsAsBusy(rate));
    }
    std::this_thread::sleep_for(milliseconds(150));
    EXPECT_EQ(rate.GetProcessCpuUsage(WideName(), false), 0);
    const BusyProcess second(OwnName());
    std::this_thread::sleep_for(milliseconds(150));
    EXPECT_EQ(rate.GetProcessCpuUsage(WideName(), false), 0);
    EXPECT_TRUE(ReadsAsBusy(rate));
}

}  // namespace
