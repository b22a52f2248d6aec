#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fakes/FakeHostReadings.h"
#include "fakes/FakeMsgCenter.h"
#include "unit/data_report/Peers.h"

namespace data_report {

constexpr int kStreamCommand = 5;

struct SentRecord {
    Json::Value record;
    Json::Value head;
};

/// The manager with its threads, on the scripted main center.
class ManagerUnderTest : public ::testing::Test {
protected:
    void start() { ASSERT_TRUE(m_manager.Init()); }

    void startConnected() {
        start();
        ASSERT_TRUE(m_center.connect(kStreamCommand));
    }

    void startSampled(const std::string& id) { m_manager.ReportStart(id, StreamTypeEnum::Sampled); }
    void startEventsOnly(const std::string& id) { m_manager.ReportStart(id, StreamTypeEnum::EventsOnly); }
    void acceptStreams() { ASSERT_TRUE(m_center.serverData(kStreamCommand, R"({"type":1,"code":0})")); }

    bool send(const std::string& text) {
        Json::Value record;
        record["text"] = text;
        Json::Value head;
        return m_manager.SendStreamReport(record, head);
    }

    /// Queues one more record and gives what has been sent once it has arrived; the send thread has dealt
    /// with everything before it then.
    std::vector<SentRecord> sentSoFar() {
        EXPECT_TRUE(send("last"));
        std::vector<SentRecord> result;
        EXPECT_TRUE(Eventually([&] {
            result = sent();
            return !result.empty() && isLast(result.back().record);
        }));
        if (!result.empty()) result.pop_back();
        return result;
    }

    static bool isLast(const Json::Value& record) { return record.isObject() && record["text"] == "last"; }

    std::vector<SentRecord> sent() const {
        std::vector<SentRecord> result;
        for (const fakes::SentMessage& message : m_center.sent(kStreamCommand)) {
            result.emplace_back();
            EXPECT_TRUE(ParseJson(message.body, result.back().record));
            EXPECT_TRUE(ParseJson(message.head, result.back().head));
        }
        return result;
    }

    std::vector<std::string> sentTexts() const {
        std::vector<std::string> result;
        for (const SentRecord& each : sent())
            result.push_back(each.record["text"].asString());
        return result;
    }

    DataReportManager& m_manager = DataReportManager::Instance();
    DataReportManagerTestPeer m_peer{m_manager};
    fakes::FakeMsgCenter m_center = fakes::FakeMsgCenter::main();
};

}  // namespace data_report
