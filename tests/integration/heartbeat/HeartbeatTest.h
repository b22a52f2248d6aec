#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "base/JsonText.h"
#include "heartbeat/LiveHeartReport.h"
#include "heartbeat/LiveHeartReportManager.h"
#include "integration/support/Broker.h"
#include "integration/support/Wire.h"
#include "message_center/CMsgCenterFactory.h"
#include "support/Eventually.h"
#include "support/Loopback.h"

/// Used as a host uses it: only the exported classes, on real brokers, watched by a client that is not ours.
namespace heartbeat_integration {

inline const std::string kReports = "/up/2";
inline const std::string kCommands = "/up/4";
inline const std::string kPresence = "/presence";

inline std::string AddressOf(int port) {
    return "\"127.0.0.1:" + std::to_string(port) + "\"";
}

/// Starts the centers for the two ports; 0 for the backup uses the main server for both.
inline int StartCenters(int mainPort, int backupPort) {
    Bas::HeartBaseConfig base;
    base.textValue1 = "studio-7";
    const std::string backup = backupPort == 0 ? "" : AddressOf(backupPort);
    return Bas::CMsgCenterFactory::Inst()->Start(
        R"({"gatewayDns":{"main":[)" + AddressOf(mainPort) + R"(],"backup":[)" + backup + "]}}", base);
}

inline Json::Value BodyOf(const support::WireMessage& message) {
    Json::Value body;
    EXPECT_TRUE(ParseJson(message.payload, body)) << message.payload;
    return body;
}

inline std::vector<Json::Value> BodiesOn(support::WireWatcher& watcher, const std::string& ending) {
    std::vector<Json::Value> bodies;
    for (const auto& message : watcher.on(ending))
        bodies.push_back(BodyOf(message));
    return bodies;
}

inline std::vector<int> TypesOn(support::WireWatcher& watcher) {
    std::vector<int> types;
    for (const Json::Value& body : BodiesOn(watcher, kReports))
        types.push_back(body["type"].asInt());
    return types;
}

inline std::vector<Json::Value> FullReportsOn(support::WireWatcher& watcher) {
    std::vector<Json::Value> full;
    for (const Json::Value& body : BodiesOn(watcher, kReports))
        if (body["type"].asInt() == 1) full.push_back(body);
    return full;
}

inline bool WaitForFullReports(support::WireWatcher& watcher, std::size_t count) {
    return support::Eventually([&] { return FullReportsOn(watcher).size() >= count; });
}

/// Waits for one more report and expects a keep-alive.
inline void ExpectKeepAliveNext(support::WireWatcher& watcher) {
    const std::size_t before = watcher.on(kReports).size();
    ASSERT_TRUE(watcher.waitFor(kReports, before + 1));
    EXPECT_EQ(TypesOn(watcher)[before], 2);
}

inline std::set<std::string> KeysOf(const Json::Value& value) {
    const auto names = value.getMemberNames();
    return {names.begin(), names.end()};
}

/// The topic of a connection that a message came on, up to the name of the channel.
inline std::string ConnectionOf(const support::WireMessage& message) {
    return message.topic.substr(0, message.topic.find('/', std::string("qolive/studio-7/").size()));
}

class HeartbeatTest : public testing::Test {
protected:
    void TearDown() override {
        LiveHeartReportManager::GetInstance()->stopLiveheart();
        Bas::CMsgCenterFactory::Inst()->Stop();
    }
    void start(int mainPort, int backupPort) {
        ASSERT_EQ(StartCenters(mainPort, backupPort), 1);
        int mode = 0;
        ASSERT_EQ(LiveHeartReportManager::GetInstance()->startLiveheart(R"({"heartbeatMode":1})", mode), 1);
    }
    void startOnBoth() { start(m_main.port(), m_backup.port()); }
    static bool stopHeartbeat() { return LiveHeartReportManager::GetInstance()->stopLiveheart(); }

    LiveHeartReport& m_heartbeat = *LiveHeartReport::GetInstance();
    support::Broker m_main;
    support::Broker m_backup;
    support::WireWatcher m_onMain{m_main};
    support::WireWatcher m_onBackup{m_backup};
};

}  // namespace heartbeat_integration
