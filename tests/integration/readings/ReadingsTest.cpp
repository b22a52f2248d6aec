#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

#include "integration/readings/BusyThread.h"
#include "platform/HostReadings.h"

// What holds on every system, whatever else the machine is doing.

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr wchar_t kThisProgram[] = L"Readings_Test.EXE";

int ShareOfOneProcessor() {
    return 100 / static_cast<int>(std::thread::hardware_concurrency());
}

bool Pings(const std::string& host, int& rttMs) {
    return CPing::GetInstance()->PingHost(host, rttMs);
}

TEST(SystemCpu, OneBusyProcessorReadsAsItsShareOfAll) {
    CCPUUseRate rate;
    ASSERT_EQ(rate.Initialize(), 0);
    const BusyThread busy;
    std::this_thread::sleep_for(seconds(2));
    const int percent = rate.GetCPUUseRate();
    // The machine may be doing more than this. If it is so busy that the thread gets less, that is use too.
    EXPECT_GE(percent, ShareOfOneProcessor() * 9 / 10);
    EXPECT_LE(percent, 100);
}

TEST(SystemCpu, AReadingWithoutInitializeStartsTheMeasurement) {
    CCPUUseRate rate;
    EXPECT_EQ(rate.GetCPUUseRate(), 0);
    const BusyThread busy;
    std::this_thread::sleep_for(seconds(1));
    EXPECT_GE(rate.GetCPUUseRate(), ShareOfOneProcessor() / 2);
}

TEST(SystemCpu, TwoThreadsMayReadOneObject) {
    CCPUUseRate rate;
    rate.Initialize();
    std::vector<std::thread> readers;
    for (int i = 0; i < 2; ++i)
        readers.emplace_back([&rate] {
            for (int reading = 0; reading < 200; ++reading) {
                const int percent = rate.GetCPUUseRate();
                EXPECT_TRUE(percent >= 0 && percent <= 100) << percent;
                std::this_thread::sleep_for(milliseconds(1));
            }
        });
    for (auto& reader : readers)
        reader.join();
}

TEST(ProcessCpu, ThisProcessIsFoundByItsNameWhateverItsCase) {
    CProcessCPUUseRate rate;
    EXPECT_EQ(rate.GetProcessCpuUsage(kThisProgram, false), 0);
    const BusyThread busy;
    std::this_thread::sleep_for(seconds(2));
    const int percent = rate.GetProcessCpuUsage(kThisProgram, false);
    EXPECT_GE(percent, 1);
    EXPECT_LE(percent, 100);
}

TEST(ProcessCpu, AMissingProcessReadsAsZero) {
    CProcessCPUUseRate rate;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(rate.GetProcessCpuUsage(L"no-such-program-anywhere.exe", false), 0);
        std::this_thread::sleep_for(milliseconds(110));
    }
    EXPECT_EQ(rate.GetProcessCpuUsage(L"", false), 0);
    EXPECT_EQ(rate.GetProcessCpuUsage(L".exe", false), 0);
    EXPECT_EQ(rate.GetProcessCpuUsage(std::wstring(1'000'000, L'x'), false), 0);
}

TEST(ProcessCpu, ManyThreadsMayReadManyObjects) {
    std::vector<std::thread> readers;
    CProcessCPUUseRate shared;
    for (int i = 0; i < 4; ++i)
        readers.emplace_back([&shared] {
            CProcessCPUUseRate own;
            for (int reading = 0; reading < 60; ++reading) {
                for (CProcessCPUUseRate* rate : {&shared, &own}) {
                    const int percent = rate->GetProcessCpuUsage(kThisProgram, false);
                    EXPECT_TRUE(percent >= 0 && percent <= 100) << percent;
                }
                std::this_thread::sleep_for(milliseconds(5));
            }
        });
    for (auto& reader : readers)
        reader.join();
}

TEST(Memory, SomeOfItIsAvailable) {
    CurrentMemoryInfo info;
    ASSERT_EQ(GetCurrentMemoryInfo(&info), 0u);
    EXPECT_GT(info.totalPhysical, 64u * 1024);
    EXPECT_GT(info.availablePhysical, 0u);
    EXPECT_LT(info.availablePhysical, info.totalPhysical);
}

TEST(Ping, LoopbackAnswersAtOnce) {
    int rttMs = 3000;
    ASSERT_TRUE(Pings("127.0.0.1", rttMs));
    EXPECT_GE(rttMs, 0);
    EXPECT_LT(rttMs, 1000);
}

TEST(Ping, ANameIsLookedUp) {
    int rttMs = 3000;
    ASSERT_TRUE(Pings("localhost", rttMs));
    EXPECT_LT(rttMs, 1000);
}

TEST(Ping, SeveralThreadsMayPingAtOnce) {
    std::vector<std::thread> pingers;
    for (int i = 0; i < 8; ++i)
        pingers.emplace_back([i] {
            for (int ping = 0; ping < 20; ++ping) {
                int rttMs = 3000;
                EXPECT_TRUE(Pings(i % 2 ? "127.0.0.1" : "localhost", rttMs));
            }
        });
    for (auto& pinger : pingers)
        pinger.join();
}

}  // namespace
