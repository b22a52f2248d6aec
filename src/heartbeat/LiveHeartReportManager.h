#pragma once

#include <string>

#include "../base/Export.h"

/// Switches the heartbeat on and off.
///
///     Bas::CMsgCenterFactory::Inst()->Start(gateways, Bas::HeartBaseConfig());
///     int mode = 1;
///     if (LiveHeartReportManager::GetInstance()->startLiveheart(R"({"heartbeatMode":1})", mode) == 1)
///         LiveHeartReport::GetInstance()->updateliveStatus(true);
///     // ... on air ...
///     LiveHeartReportManager::GetInstance()->stopLiveheart();
///     Bas::CMsgCenterFactory::Inst()->Stop();
///
/// It holds no data. Every operation may be called from any thread at any time.
class QOLIVE_TYPE LiveHeartReportManager {
public:
    /// The instance that the process shares, made at the first call; never null.
    QOLIVE_API static LiveHeartReportManager* GetInstance();

    QOLIVE_API LiveHeartReportManager();
    QOLIVE_API LiveHeartReportManager(const LiveHeartReportManager&);
    QOLIVE_API LiveHeartReportManager& operator=(const LiveHeartReportManager&);
    QOLIVE_API virtual ~LiveHeartReportManager();

    /// Starts the heartbeat, or stops it where `config` says so. To be called after CMsgCenterFactory::Start:
    /// the backup connection is used only if the factory's backup center is started by then.
    ///
    /// `config` is a JSON object of which one member is read, "heartbeatMode": 1 means that this library
    /// sends the heartbeat, any other integer that it must not. The mode is written to `heartbeatMode`; where
    /// the member is missing or no 32-bit integer, `heartbeatMode` stays as it was and the heartbeat is
    /// started; so it is when `config` is null instead of an object.
    ///
    /// | result | meaning                                                                                |
    /// |--------|----------------------------------------------------------------------------------------|
    /// | 0      | `config` is empty, not JSON or another JSON value, or the main sender was refused      |
    /// | 1      | the heartbeat has been started                                                         |
    /// | 2      | it was started already (a missing backup sender is added), or the mode switched it off |
    ///
    /// The mode in `heartbeatMode` tells the two meanings of 2 apart. Blocks as LiveHeartReport::start
    /// and stop do.
    QOLIVE_API int startLiveheart(const std::string& config, int& heartbeatMode);

    /// Stops the heartbeat as LiveHeartReport::stop does, which tells what it does, waits for and returns.
    QOLIVE_API bool stopLiveheart();
};
