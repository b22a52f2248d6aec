#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <vector>

#include "base/JsonText.h"
#include "fakes/FailingKernel.h"
#include "fakes/FakeMsgCenter.h"
#include "heartbeat/LiveHeartReport.h"
#include "heartbeat/MsgSenderStatus.h"
#include "platform/KernelLocks.h"
#include "platform/Log.h"
#include "support/Eventually.h"

namespace heartbeat_test {

constexpr int kHeartCmd = 2;
constexpr int kCommonCmd = 4;

inline Json::Value Parsed(const std::string& text) {
    Json::Value root;
    EXPECT_TRUE(ParseJson(text, root)) << text;
    return root;
}

using support::Eventually;

/// Opens what the tests look at.
class OpenReport : public LiveHeartReport {
public:
    using LiveHeartReport::m_backSender;
    using LiveHeartReport::m_bRun;
    using LiveHeartReport::m_cmdQueue;
    using LiveHeartReport::m_commonSender;
    using LiveHeartReport::m_data;
    using LiveHeartReport::m_lock;
    using LiveHeartReport::m_mainSender;
    using LiveHeartReport::report;
    using LiveHeartReport::run;
    using LiveHeartReport::sendComand;

    ~OpenReport() override { stop(); }

    /// Starts without the thread, so that the test alone decides when something is sent.
    void startUndriven() {
        fakes::FailThreadCreations(4);
        ASSERT_EQ(start(), 1);
        ASSERT_FALSE(hasThread());
    }

    bool hasThread() {
        const qolive::CriticalSectionLock lock(*m_lock);
        return m_hThread != nullptr;
    }
    std::deque<std::string> queued() {
        const qolive::CriticalSectionLock lock(*m_lock);
        return m_cmdQueue;
    }
    void queue(const std::string& text) {
        const qolive::CriticalSectionLock lock(*m_lock);
        m_cmdQueue.push_back(text);
    }
    bool marked(MsgSenderStatus* sender) { return sender->m_bDataChanged; }
    void unmark() { updateDataState(false); }
};

/// A heartbeat of its own whose time the test drives.
struct Undriven : testing::Test {
    void SetUp() override {
        SetLogSink([](void*, int, const char*) {}, nullptr);
        heartbeat.startUndriven();
        ASSERT_TRUE(heartbeat.startBackUp());
    }
    void TearDown() override {
        heartbeat.stop();
        SetLogSink(nullptr, nullptr);
    }

    void connectAll() {
        ASSERT_TRUE(main.connect(kHeartCmd));
        ASSERT_TRUE(backup.connect(kHeartCmd));
        ASSERT_TRUE(main.connect(kCommonCmd));
    }
    bool reportMain(std::int64_t nowMs, bool periodic = true) {
        return heartbeat.report(heartbeat.m_mainSender, nowMs, periodic);
    }
    std::vector<fakes::SentMessage> sentOnMain() { return main.sent(kHeartCmd); }
    Json::Value lastOnMain() { return Parsed(sentOnMain().back().body); }
    Json::Value fullReport() {
        heartbeat.updateDataState(true);
        EXPECT_TRUE(reportMain(0, false));
        return lastOnMain();
    }

    OpenReport heartbeat;
    fakes::FakeMsgCenter main = fakes::FakeMsgCenter::main();
    fakes::FakeMsgCenter backup = fakes::FakeMsgCenter::backup();
};

}  // namespace heartbeat_test
