#pragma once

#include <json/value.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <thread>

#include "../base/Export.h"
#include "../base/Sync.h"
#include "ReportTypes.h"

namespace QoPlayer {
class MsgCenter;
class MsgSender;
}  // namespace QoPlayer

namespace data_report {

class StreamQulityData;
class StreamQualityReport;

/// Reports how well the host's live streams go: one object for the process, reached through Instance().
///
/// The host starts it once, announces each stream under an id of its choice, feeds the stream's counters and
/// settings from its pipeline and reports what happens to it. A sampled stream that the server has accepted
/// is sampled every 5 s and sends a quality record every 60 s without any further call.
///
///     Bas::CMsgCenterFactory::Inst()->Start(config, base);
///     auto& reports = data_report::DataReportManager::Instance();
///     if (!reports.Init()) return;
///
///     using namespace data_report;
///     const std::string id = "anchor";
///     reports.ReportStart(id, StreamTypeEnum::Sampled);
///     reports.AddReportStringData(id, StringDataTypeEnum::SessionId, "5f1c");
///     reports.AddReportData(id, DataTypeEnum::VideoWidth, 1280);
///     reports.ReportEventData(id, EventTypeEnum::StreamStart, Json::Value());
///     // for each frame that left the machine, on any thread:
///     reports.AddReportData(id, DataTypeEnum::VideoFramesSent, 1);
///     reports.AddReportData(id, DataTypeEnum::VideoBytesSent, 5200);
///     // at the end of the stream:
///     reports.ReportStop(id);
///
/// Threads. Every public operation may be called from any thread at any time, and none but ReportStop
/// waits for the network. Init starts two threads that live until the process ends: one ticks every stream
/// once a second, one sends; each sampled stream has one more, which pings its server every 3 s, and while
/// that server's name is looked up another (16 at most).
///
/// The records' processor use of the application is that of all processes named QoLive.exe (QoLive on Linux),
/// unless the configuration of CMsgCenterFactory::Start names another program.
///
/// Errors. Before Init has succeeded every operation does nothing. A stream id that was not started, or was
/// stopped, is ignored, and so is a slot that does not exist; nothing is logged for either. Ids and texts are
/// byte strings of any length. JSON is written in ASCII: what is not UTF-8 in a text or a member name arrives
/// as U+FFFD, and nothing beside it is touched. What jsoncpp raises never leaves an operation. Out of memory
/// raises std::bad_alloc, but from SendStreamReport and ReportEventData, which drop the record with a logged
/// line.
///
/// Queue. Records wait in order, without a limit (RecordQueueWatch.h can set one), until the connection is
/// up. Each waiting record costs its two texts and about 140 bytes: with one sampled stream, whose quality
/// record is 3.1 KiB, about 200 KiB for each hour without a connection. What waits goes out with the first
/// record that is queued after the connection has come up. Records that the send thread has taken are lost
/// when the connection goes down under it, with a logged line; RecordQueueWatch.h counts them.
///
/// Process exit. The destructor ends the threads: it waits for the current second of the tick, whose quality
/// records still go out, for one send and, with streams still started, for their pings (3 s each at most).
/// From then on every operation does nothing, should a thread of the host still call it. Where the system has
/// ended all threads before (Windows), the destructor does nothing. Records that wait for the connection then
/// are lost.
class DataReportManager {
public:
    /// The one instance, made by the first call. The call does not block.
    QOLIVE_API static DataReportManager& Instance();

    /// Wall-clock time in milliseconds since 1970-01-01 UTC. Never fails or blocks.
    QOLIVE_API static std::uint64_t GetTickCountMs();

    /// Opens the report channel on the main message center and starts the threads, whether the center has
    /// been started or not. True when the manager is enabled now; a call on an enabled manager changes
    /// nothing and returns true. After a false (the reason is logged) it may be tried again. Several threads
    /// may call it at once: one waits for another. Otherwise it does not block, and never waits for the
    /// network.
    bool Init() { return start(); }

    /// Whether the channel's connection to the server is up right now. Does not block.
    bool IsConnected() { return isConnected(); }

    /// Announces a stream. Nothing is changed when a stream of that id is started already, whatever its type.
    /// For a sampled stream it starts a thread, and raises std::system_error when the system has none to
    /// give; the stream is not started then.
    QOLIVE_API void ReportStart(const std::string& streamId, const StreamTypeEnum& type);

    /// Forgets the stream and what it was fed; nothing is sent. Ends the stream's own thread, which blocks
    /// for as long as a ping is under way, 3 s at most. Other streams, and who still feeds this one, are not
    /// held up meanwhile.
    QOLIVE_API void ReportStop(const std::string& streamId);

    /// Feeds a number: 0 to 11 are counters, which it is added to (any sign, modulo 2^64), 12 to 41 settings,
    /// which it replaces; other types are ignored. Made to be called for every frame: no allocation, and the
    /// same cost whatever the number of streams.
    QOLIVE_API void AddReportData(const std::string& streamId, const DataTypeEnum& type,
                                  const std::int64_t& value);

    /// Feeds a text, which replaces the slot's; types other than 0 to 6 are ignored.
    QOLIVE_API void AddReportStringData(const std::string& streamId, const StringDataTypeEnum& type,
                                        const std::string& value);

    /// Reports what happened to a stream and queues the record that belongs to it, built on this thread. The
    /// record starts as a copy of `event`; for StreamStart and FirstFrame the library's keys are set in it,
    /// so `event` is an object or null then. With anything else, and with an event that nests deeper than
    /// 1000 levels, nothing is sent and one line is logged. Until the server has accepted the stream,
    /// everything but StreamStart is dropped.
    QOLIVE_API void ReportEventData(const std::string& streamId, const EventTypeEnum& type,
                                    const Json::Value& event);

    /// Queues one record of the caller's own: sets "mid" in `head` to a new message id, writes both and
    /// returns true. False, with `head` as it was, when the manager is not enabled, and, with one logged
    /// line, when one of them nests deeper than 1000 levels, `head` is neither an object nor null, or memory
    /// is short (`head` may hold "mid" then).
    QOLIVE_API bool SendStreamReport(const Json::Value& record, Json::Value& head);

    DataReportManager(const DataReportManager&) = delete;
    DataReportManager& operator=(const DataReportManager&) = delete;

private:
    friend struct DataReportManagerTestPeer;
    friend struct RecordQueueAccess;

    struct StreamReportEntry {
        std::shared_ptr<StreamQulityData> data;
        std::shared_ptr<StreamQualityReport> report;
    };
    struct SendData;
    struct Impl;

    QOLIVE_API DataReportManager();
    QOLIVE_API ~DataReportManager();

    QOLIVE_API bool start();
    QOLIVE_API bool isConnected();
    QOLIVE_API void OnThread();
    QOLIVE_API static void OnSrvCb(void* user, int msgType, int code, const unsigned char* data,
                                   std::size_t len);
    QOLIVE_API void disponseStatus(int code, const unsigned char* data, std::size_t len);
    QOLIVE_API void disponseData(int code, const unsigned char* data, std::size_t len);
    QOLIVE_API std::string GetMid();
    QOLIVE_API bool DoSendStreamReport(const std::string& body, const std::string& head);
    QOLIVE_API void StartSendThread();
    QOLIVE_API void StopSendThread();
    QOLIVE_API void OnSendThread();

    std::atomic<bool> m_bInit{false};

    std::int64_t m_startSteadyNs QOLIVE_GUARDED_BY(m_midMutex);
    std::int64_t m_startSystemMs QOLIVE_GUARDED_BY(m_midMutex);
    std::int64_t m_lastMs QOLIVE_GUARDED_BY(m_midMutex) = -1;
    std::int64_t m_workerId QOLIVE_GUARDED_BY(m_midMutex) = 1;
    std::int64_t m_datacenterId QOLIVE_GUARDED_BY(m_midMutex) = 1;
    std::int64_t m_sequence QOLIVE_GUARDED_BY(m_midMutex) = 0;
    qolive::Mutex m_midMutex;

    std::shared_ptr<std::thread> m_collectThread;
    std::atomic<bool> m_bStopThread{false};
    const std::int32_t m_intervalSec = 1;

    qolive::Mutex m_reportMutex;
    std::map<std::string, StreamReportEntry> m_reports QOLIVE_GUARDED_BY(m_reportMutex);

    qolive::Mutex m_sendMutex;
    qolive::ConditionVariable m_sendCond;
    std::deque<std::shared_ptr<SendData>> m_sendQueue QOLIVE_GUARDED_BY(m_sendMutex);

    QoPlayer::MsgCenter* m_msgCenter = nullptr;
    QoPlayer::MsgSender* m_senderPtr = nullptr;
    std::atomic<bool> m_bStatusReceived{false};
    [[maybe_unused]] const std::int64_t m_reserved = -1;
    std::atomic<bool> m_bConnected{false};
    std::int32_t m_cmd = 0;
    std::string m_name = "unknown";
    std::shared_ptr<std::thread> m_sendThread;
    std::atomic<bool> m_bStopSend{false};

    const std::unique_ptr<Impl> m_impl;
};

}  // namespace data_report
