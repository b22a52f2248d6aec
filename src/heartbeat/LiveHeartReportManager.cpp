#include "heartbeat/LiveHeartReportManager.h"

#include <exception>
#include <optional>

#include "base/JsonText.h"
#include "base/StartResult.h"
#include "heartbeat/LiveHeartReport.h"
#include "message_center/CMsgCenterFactory.h"

namespace {

constexpr int kModeOn = 1;

/// False when `config` cannot be used; `mode` stays empty when it names none.
bool ReadMode(const std::string& config, std::optional<int>& mode) {
    try {
        Json::Value root;
        if (config.empty() || !ParseJson(config, root)) return false;
        if (root.isMember("heartbeatMode") && root["heartbeatMode"].isInt())
            mode = root["heartbeatMode"].asInt();
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

}  // namespace

LiveHeartReportManager* LiveHeartReportManager::GetInstance() {
    static LiveHeartReportManager instance;
    return &instance;
}

LiveHeartReportManager::LiveHeartReportManager() = default;
LiveHeartReportManager::LiveHeartReportManager(const LiveHeartReportManager&) = default;
LiveHeartReportManager& LiveHeartReportManager::operator=(const LiveHeartReportManager&) = default;
LiveHeartReportManager::~LiveHeartReportManager() = default;

int LiveHeartReportManager::startLiveheart(const std::string& config, int& heartbeatMode) {
    std::optional<int> mode;
    if (!ReadMode(config, mode)) return qolive::kNotStarted;
    LiveHeartReport& heartbeat = *LiveHeartReport::GetInstance();
    if (mode) heartbeatMode = *mode;
    if (mode && *mode != kModeOn) {
        heartbeat.stop();
        return qolive::kSwitchedOff;
    }
    const int result = heartbeat.start();
    if (result != qolive::kNotStarted && Bas::CMsgCenterFactory::Inst()->IsHaveBKCenter())
        heartbeat.startBackUp();
    return result;
}

bool LiveHeartReportManager::stopLiveheart() {
    return LiveHeartReport::GetInstance()->stop();
}
