#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "../base/Export.h"
#include "HeartBaseConfig.h"

namespace QoPlayer {
class MsgCenter;
struct MsgCenterConfig;
}  // namespace QoPlayer

namespace Bas {

struct FactoryOptions;

/// Owns the two message centers of the process: the main one, and the backup one that carries a second copy
/// of the heartbeat.
///
///     Bas::HeartBaseConfig base;
///     base.textValue1 = "studio-7";
///     const int result = Bas::CMsgCenterFactory::Inst()->Start(
///         R"({"gatewayDns":{"main":["a.example:8883","b.example:8883"],"backup":["c.example:8883"]},
///             "accessToken":"...","expireTime":1900000000})",
///         base);
///     if (result == 0) return false;  // not usable, nothing runs
///     // ... LiveHeartReportManager and DataReportManager open their senders on the centers ...
///     Bas::CMsgCenterFactory::Inst()->Stop();
///
/// Threads: every operation may be called from any thread at any time; a Start or Stop waits for one that
/// another thread runs. Nothing here waits for the network but Stop, which closes connections and takes up to
/// 1 s for each center. Only copying takes no lock: nobody may start or stop either object meanwhile.
///
/// From inside a log sink nothing is started or stopped: Start returns 0 there (2 when the main center runs)
/// and Stop does nothing, as the sink may be running on the thread that a Stop waits for.
class CMsgCenterFactory {
public:
    /// The one instance, made at the first call; never null, lives until the library is unloaded.
    QOLIVE_API static CMsgCenterFactory* Inst();

    /// A copy shares the two centers with its original; its started flags are its own.
    QOLIVE_API CMsgCenterFactory(const CMsgCenterFactory& other);
    QOLIVE_API CMsgCenterFactory& operator=(const CMsgCenterFactory& other);

    /// Releases the centers without stopping them first; each ends its connections as the last user lets it
    /// go.
    QOLIVE_API ~CMsgCenterFactory();

    /// Configures both centers and starts them; they connect in the background.
    ///
    /// `config` is a JSON object; keys that are not named here are ignored:
    ///
    /// | key                 | type             |          | meaning                                         |
    /// |---------------------|------------------|----------|-------------------------------------------------|
    /// | "gatewayDns"        | object           | required | holds the two lists                             |
    /// | "gatewayDns.main"   | array of strings | required | "host:port" of the main servers, tried in order |
    /// | "gatewayDns.backup" | array of strings | required | the same of the backup servers                  |
    /// | "accessToken"       | string           |          | secret that opens the connection; never logged  |
    /// | "expireTime"        | integer          |          | when it expires, s since 1970-01-01 UTC; 0 never |
    /// | "options"           | object           |          | what most hosts do not need, see below          |
    ///
    /// Once it has expired no connection is made any more until RenewAccessToken (CenterWatch.h) brings
    /// another one, or a Stop and a Start do. A connection that is up stays.
    ///
    /// An address is split at its first colon; one without a colon is logged at level 4 and skipped. So an
    /// IPv6 literal is written without colons, as Windows does in names of shares: [2001:db8::1]:8883 is
    /// "2001-db8--1.ipv6-literal.net:8883", and "s" stands for the "%" of a scope. Of a port only the leading
    /// digits count, and a token that is a number or a boolean is taken as its text; a line at level 2 warns
    /// of either. When no usable backup address is given, the backup center connects to the main servers. An
    /// empty main list is handed to the main center as it is, and the center's refusal is then the result.
    ///
    /// "options", each member optional; an unknown one is ignored with a logged line, one of a wrong type
    /// makes the result 0, and so does what cannot be used:
    ///
    /// | member              | type    | meaning                                                                |
    /// |---------------------|---------|------------------------------------------------------------------------|
    /// | "clientCertificate" | string  | file (PEM) with the certificate that is shown to servers, its chain    |
    /// |                     |         | after it                                                               |
    /// | "clientKey"         | string  | file (PEM) with its key, not encrypted; missing: in the same file      |
    /// | "alpn"              | string  | protocol offered in the TLS handshake, up to 255 bytes; missing:       |
    /// |                     |         | "mqtt" to port 443, none to others                                     |
    /// | "socks5"            | object  | proxy that all connections go through, which looks the servers up:     |
    /// |                     |         | "host" and "port", and where it wants them "user" and "password".      |
    /// |                     |         | Through it TLS mode 0 means TLS, to loopback addresses too             |
    /// | "hostProcess"       | string  | program whose processor use records call the application's; missing:   |
    /// |                     |         | "QoLive.exe"                                                           |
    ///
    /// Files are read when a connection is made; one that cannot be read is told like a server that cannot be
    /// reached. The password is never logged.
    ///
    /// Returns 1 when the main center was started (IsHaveBKCenter tells about the backup), 2 when it was
    /// running already and nothing was changed, whatever `config` says, 0 when nothing was started: `config`
    /// is empty, not JSON, lacks a required key or has one of a wrong type, or the center refused. A line at
    /// level 2, "[LiveState] CMsgCenterFactory::Start failed: ...", says why; it never holds the token.
    /// Raises nothing. If something fails only after the main center has started (a backup address that is an
    /// object or an array, memory), the result is 0 too but IsMainCenterStartOK is true, and Stop is due
    /// before another Start.
    ///
    /// Blocks only while another thread's Start or Stop runs.
    QOLIVE_API int Start(const std::string& config, const HeartBaseConfig& base);

    /// Stops both centers, started or not. Senders that are open stay open, and come alive again with the
    /// next Start. Blocks for up to 1 s for each center, and while another thread's Start or Stop runs.
    QOLIVE_API void Stop();

    /// The main or the backup center, started or not: the same two from the first call on, never null. They
    /// belong to the factory.
    QOLIVE_API QoPlayer::MsgCenter* GetFactoryObj(bool main);

    /// Whether the backup center's last start succeeded and it has not been stopped since.
    QOLIVE_API bool IsHaveBKCenter();

    /// The same of the main center. "Started" does not mean connected.
    QOLIVE_API bool IsMainCenterStartOK();

protected:
    QOLIVE_API CMsgCenterFactory();

private:
    friend struct FactoryAccess;  // gives shares of the centers

    void StartCenters(const std::string& config, const HeartBaseConfig& base);
    void UseOptions(const FactoryOptions& options);
    void TellFailedStart(const char* why) const;
    bool StartMain(const QoPlayer::MsgCenterConfig& config);
    void StartBackup(const QoPlayer::MsgCenterConfig& config);
    void StopCenters();

    std::shared_ptr<QoPlayer::MsgCenter> m_mainCenter;
    std::shared_ptr<QoPlayer::MsgCenter> m_backupCenter;
    std::atomic<bool> m_bBackupStarted{false};
    std::atomic<bool> m_bMainStarted{false};
};

}  // namespace Bas
