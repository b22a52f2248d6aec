#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>

#include "../base/Export.h"
#include "../base/ThreadAnnotations.h"
#include "LiveHeartReportData.h"

class MsgSenderStatus;

namespace qolive {
class CriticalSection;
}

/// Tells the servers, every 3 seconds on the main and, where there is one, the backup connection, what the
/// broadcaster is doing, and passes the host's commands on.
///
/// The host tells it what changes as it changes; LiveHeartReportManager switches it on and off:
///
///     LiveHeartReport& heartbeat = *LiveHeartReport::GetInstance();
///     heartbeat.updateLiveID("session-1");
///     heartbeat.updateLiveBusinessInfo(7, 2);
///     heartbeat.updateLiveStreamInfo("stream-1", 11, 1920, 1080, 1);  // sets the push status to 2
///     heartbeat.updateliveStatus(true);
///     heartbeat.sendComand(5, R"({"say":"hello"})");
///
/// A change that marks makes the next report on each connection a full one, which carries the whole state;
/// otherwise a report is a bare sign of life.
///
/// Threads: every operation may be called from any thread at any time. Operations that read or write the
/// state wait for a report or command that is being handed over, which waits for the host's log sink but
/// never for the network. So do start and startBackUp; stop tells how long it takes.
///
/// A host may derive from it and use the protected operations. All heartbeats of a process share the command
/// numbers of the two centers, so one of them can be started at a time: the start of another returns 0, and
/// its stop closes the sender of the first, which then sends nothing until it is stopped and started.
///
/// Before the process exits the host calls stop: the destructor sends no final report and leaves the senders
/// open. The connections end with a goodbye all the same, where the system lets threads live on to the end
/// (not on Windows).
class QOLIVE_TYPE LiveHeartReport {
public:
    /// The instance that the process shares, made at the first call; never null.
    QOLIVE_API static LiveHeartReport* GetInstance();

    QOLIVE_API LiveHeartReport();

    /// A copy is a stopped instance of its own, with the state and the waiting commands of the original.
    /// Assignment replaces state and commands and leaves a running heartbeat running.
    QOLIVE_API LiveHeartReport(const LiveHeartReport& other);
    QOLIVE_API LiveHeartReport& operator=(const LiveHeartReport& other);

    /// Waits for up to 1 s until the heartbeat thread no longer uses the object, then gives up the share in
    /// the centers: the last one to do so ends their connections, which takes up to 1 s for each.
    QOLIVE_API virtual ~LiveHeartReport();

    /// The anchor goes live (`live` true) or stops. Marks if that is a change.
    QOLIVE_API void updateliveStatus(bool live);

    /// The anchor's push status, the host's code; 0 = not pushing, which leaves the anchor's stream out of
    /// reports. Marks if it is a change.
    QOLIVE_API void updatePushStatus(int status);

    /// The co-host link comes up (`on` true) or ends. Marks if that is a change.
    QOLIVE_API void updatemicStatus(bool on);

    /// The co-host's push status, the host's code. Marks if it is a change.
    QOLIVE_API void updateMicPushStatus(int status);

    /// The mix status, the host's code. Marks if it is a change.
    QOLIVE_API void updateMixStreamStatus(int status);

    /// The live session's identifier. Never marks: it reaches the servers with the next full report that
    /// something else causes.
    QOLIVE_API void updateLiveID(std::string id);

    /// Application id and business type of the anchor's stream. Always marks.
    QOLIVE_API void updateLiveBusinessInfo(int appId, int business);

    /// The anchor's stream; `width` and `height` in pixels. Sets the push status to 2. Always marks.
    QOLIVE_API void updateLiveStreamInfo(std::string streamName, int sid, int width, int height, int codec);

    /// The co-host's stream, the link to it, and the mix mode. Leaves the co-host's push status as it is.
    /// Always marks.
    QOLIVE_API void updateMicInfo(int appId, int business, std::string streamName, int sid, int width,
                                  int height, int codec, int role, std::string channelId, int mixMode);

    /// The mixed stream. Leaves the mix status as it is. Always marks.
    QOLIVE_API void updateMixStreamInfo(std::string mixStreamName, int width, int height, int sid, int codec);

    /// The mix mode. Always marks.
    QOLIVE_API void updateMixMode(int mode);

    /// Marks both connections (`changed` true) or takes marks back. Does not wait for a report that is being
    /// handed over.
    QOLIVE_API void updateDataState(bool changed);

    /// The identifier given with updateLiveID.
    QOLIVE_API std::string getSessionId();

    /// A copy of the whole state: all or none of each update that runs meanwhile.
    QOLIVE_API LiveHeartReportData GetLiveHeartReportData();

    /// When the last report was attempted on the main and on the backup connection, in ms since 1970-01-01
    /// UTC, with -1 for never. A figure whose sender does not exist is left as it was.
    QOLIVE_API void GetLastReportTm(std::int64_t& mainTm, std::int64_t& backTm);

    /// Whether the main or the backup connection is up.
    QOLIVE_API bool isConnecting();

    /// Queues a command for the server: {"bizType": `bizType`, "data": `data`}, with `data` as a JSON string
    /// whatever it holds. Commands leave in order as soon as the main connection is up, those that stop left
    /// over after the next start. At most 21 wait: a further one drops the oldest. They wait while the
    /// connection is up as well, for up to 200 ms, until the heartbeat thread comes to them: of a burst of
    /// more than 21 the last 21 leave. Drops are told in the log, in one line a second at most, and counted
    /// (CommandCounters.h). False when the heartbeat is not started or memory is short; nothing is queued
    /// then.
    QOLIVE_API bool sendComand(int bizType, std::string data);

    /// Opens the main and the command sender on the factory's main center and starts the heartbeat thread. 1
    /// = started; 2 = it was started already, or an earlier start failed and no stop has followed; 0 = the
    /// main sender could not be opened. The center may still be connecting, or not be started: reports begin
    /// when it connects. When the system has no thread to give the result is 1 too, and a line of level 4
    /// says that nothing is sent: each further start, whose result is 2, tries the thread again.
    QOLIVE_API int start();

    /// Adds the sender on the factory's backup center. False when there is one already.
    QOLIVE_API bool startBackUp();

    /// Sends a final report on each connection that is up, closes the senders, ends the thread and resets the
    /// state. Commands that wait stay queued. True when the final report on the main connection was accepted.
    ///
    /// Blocks while a report, a command or a callback of these senders is being handed over, or another stop
    /// runs; never for the network. When it returns nothing is sent any more. Without a start it only resets
    /// the state and returns false.
    QOLIVE_API bool stop();

    /// The heartbeat on the calling thread, until the heartbeat is stopped; `param` is the LiveHeartReport,
    /// null does nothing. The library makes a thread of its own for it: not for the host to call.
    QOLIVE_API static unsigned long ThreadProc(void* param);

protected:
    /// Builds a report as of `nowMs`, in ms since 1970-01-01 UTC, and hands it to `sender`. True when it was
    /// accepted. With `periodic` it first keeps the sender's period, and false can mean that it is not due.
    QOLIVE_API bool report(MsgSenderStatus* sender, std::int64_t nowMs, bool periodic);

    /// Sends the oldest waiting command; true when that was accepted and the command is gone from the queue.
    QOLIVE_API bool sendComand();

    /// The loop of ThreadProc.
    QOLIVE_API void run();

    void* m_hThread QOLIVE_GUARDED_BY(*m_lock) = nullptr;
    LiveHeartReportData m_data QOLIVE_GUARDED_BY(*m_lock);
    std::atomic<bool> m_bRun{false};
    int m_heartCmd QOLIVE_GUARDED_BY(*m_lock);
    int m_commonCmd QOLIVE_GUARDED_BY(*m_lock);

    // Written with both m_lock and a lock of their own held, so that either is enough to use one.
    MsgSenderStatus* m_mainSender = nullptr;
    MsgSenderStatus* m_backSender = nullptr;
    MsgSenderStatus* m_commonSender = nullptr;

    std::deque<std::string> m_cmdQueue QOLIVE_GUARDED_BY(*m_lock);
    const std::shared_ptr<qolive::CriticalSection> m_lock;

private:
    struct QOLIVE_LOCAL Impl;

    QOLIVE_API void StartThread() QOLIVE_REQUIRES(*m_lock);
    QOLIVE_API void SafeCloseThread(void*& thread);

    const std::unique_ptr<Impl> m_impl;
};
