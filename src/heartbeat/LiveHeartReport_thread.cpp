#include <memory>

#include "base/StartResult.h"
#include "heartbeat/CommandTally.h"
#include "heartbeat/LiveHeartReportImpl.h"
#include "heartbeat/MsgSenderStatus.h"
#include "platform/GuardedPass.h"
#include "platform/Kernel.h"
#include "platform/KernelLocks.h"
#include "platform/Log.h"

namespace {

constexpr int kThreadAttempts = 4;
constexpr DWORD kPauseMs = 200;
constexpr DWORD kForcedExitCode = 1;
constexpr unsigned kDestructorWaitMs = 1000;

std::int64_t WallClockMs() {
    return static_cast<std::int64_t>(_time64(nullptr)) * 1000;
}

void TellLoopStarted() {
    Log(LogLevel::Info, "[LiveState] LiveHeartReport::ThreadProc start");
}

void TellLoopFinished() {
    Log(LogLevel::Info, "[LiveState] LiveHeartReport::ThreadProc finish");
}

void TellDroppedCommands(std::uint64_t count) {
    if (count == 0) return;
    Log(LogLevel::Info, "[LiveState] commands dropped, as more than %llu waited: %llu",
        static_cast<unsigned long long>(live_heartbeat::kMostWaitingCommands),
        static_cast<unsigned long long>(count));
}

}  // namespace

/// The library's own thread. It shares the lock and the handshake, so that it can see that its heartbeat has
/// gone: the destructor waits for 1 s at most.
struct LiveHeartReport::Impl::OwnThread {
    static DWORD WINAPI Proc(void* own);
    bool Run() const;

    LiveHeartReport* heartbeat;
    std::shared_ptr<qolive::CriticalSection> lock;
    std::shared_ptr<live_heartbeat::PauseHandshake> pause;
};

LiveHeartReport::~LiveHeartReport() {
    // At the end of a process that has no other thread any more, there is nothing to wait for, and the lock
    // may be held by a thread that is gone.
    if (IsProcessEnding()) return;
    SafeCloseThread(m_hThread);
    if (!m_impl->pause->waitUntilAllLeft(kDestructorWaitMs)) return;
    live_heartbeat::CommandTally::instance().queueShrinks(m_cmdQueue.size());
    // The senders stay open, as nobody has stopped; a center that only they kept ends its connection all the
    // same.
    for (MsgSenderStatus* const sender : {m_mainSender, m_backSender, m_commonSender})
        if (sender) sender->letCenterGo();
}

int LiveHeartReport::start() {
    if (IsProcessEnding()) return qolive::kNotStarted;
    const qolive::CriticalSectionLock lock(*m_lock);
    if (m_mainSender) {
        if (m_bRun && !m_hThread) StartThread();  // a thread that was refused gets another try
        return qolive::kAlreadyStarted;
    }
    try {
        if (!Impl::Open(*this, m_mainSender, m_heartCmd, "mainSender")) return qolive::kNotStarted;
        Impl::Open(*this, m_commonSender, m_commonCmd, "commonSender");
        m_bRun = true;
        StartThread();
        return qolive::kStarted;
    } catch (...) {  // memory is short: as if it had not been tried
        m_bRun = false;
        Impl::Delete(*this, m_commonSender);
        Impl::Delete(*this, m_mainSender);
        throw;
    }
}

bool LiveHeartReport::startBackUp() {
    if (IsProcessEnding()) return false;
    const qolive::CriticalSectionLock lock(*m_lock);
    if (m_backSender) return false;
    try {
        Impl::Open(*this, m_backSender, m_heartCmd, "backSender");
        return true;
    } catch (...) {
        Impl::Delete(*this, m_backSender);
        throw;
    }
}

bool LiveHeartReport::stop() {
    if (IsProcessEnding()) return false;
    // The final reports use the senders without m_lock: another stop must not delete them meanwhile.
    const qolive::CriticalSectionLock oneAtATime(m_impl->stopLock);
    MsgSenderStatus* mainSender = nullptr;
    MsgSenderStatus* backSender = nullptr;
    std::uint64_t dropped = 0;
    {
        const qolive::CriticalSectionLock lock(*m_lock);
        m_bRun = false;
        mainSender = m_mainSender;
        backSender = m_backSender;
        dropped = m_impl->droppedCommands.takeAll();
    }
    TellDroppedCommands(dropped);
    const std::int64_t nowMs = WallClockMs();
    const bool ok = report(mainSender, nowMs, false);
    report(backSender, nowMs, false);
    // In one piece, so that a start on another thread comes before all of it or after.
    const qolive::CriticalSectionLock lock(*m_lock);
    Impl::Delete(*this, m_commonSender);
    Impl::Delete(*this, m_mainSender);
    Impl::Delete(*this, m_backSender);
    SafeCloseThread(m_hThread);
    m_data.reset();
    return ok;
}

void LiveHeartReport::StartThread() {
    KeepLibraryLoaded();
    for (int attempt = 0; attempt < kThreadAttempts; ++attempt) {
        DWORD id = 0;
        auto own = std::make_unique<Impl::OwnThread>(Impl::OwnThread{this, m_lock, m_impl->pause});
        m_hThread = CreateThread(nullptr, 0, &Impl::OwnThread::Proc, own.get(), 0, &id);
        if (m_hThread) {
            static_cast<void>(own.release());  // the thread's now
            m_impl->pause->threadStarted(id);
            Log(LogLevel::Info, "[LiveState] StartThread Success id=%d", static_cast<int>(id));
            return;
        }
        Log(LogLevel::Info, "[LiveState] StartThread failed err=%d", static_cast<int>(GetLastError()));
    }
    Log(LogLevel::Error, "[LiveState] StartThread gave up: no heartbeat is sent until another start");
}

void LiveHeartReport::SafeCloseThread(HANDLE& thread) {
    if (!thread) return;
    DWORD exitCode = 0;
    GetExitCodeThread(thread, &exitCode);
    if (exitCode == STILL_ACTIVE && m_impl->pause->giveUpThread()) TerminateThread(thread, kForcedExitCode);
    CloseHandle(thread);
    thread = nullptr;
}

unsigned long LiveHeartReport::ThreadProc(void* param) {
    TellLoopStarted();
    if (param) static_cast<LiveHeartReport*>(param)->run();
    TellLoopFinished();
    return 0;
}

/// On a thread of the host's, which nobody terminates.
void LiveHeartReport::run() {
    while (m_bRun && !IsProcessEnding())
        if (!Impl::Pass(*this)) Sleep(kPauseMs);
}

DWORD WINAPI LiveHeartReport::Impl::OwnThread::Proc(void* own) {
    // Nothing on the heap is this thread's when it is terminated.
    const OwnThread thread(*std::unique_ptr<OwnThread>(static_cast<OwnThread*>(own)));
    TellLoopStarted();
    if (thread.Run()) TellLoopFinished();
    return 0;
}

/// The same as `run` with the handshake around the pause. False when the thread was terminated there: it says
/// nothing any more.
bool LiveHeartReport::Impl::OwnThread::Run() const {
    const std::uint64_t id = GetCurrentThreadId();
    {
        // StartThread makes this the current thread while it holds the lock.
        const qolive::CriticalSectionLock started(*lock);
    }
    while (pause->isCurrent(id) && heartbeat->m_bRun) {
        {
            // Not on the senders of a later start, should this thread be let go while it waits for the lock.
            const qolive::CriticalSectionLock held(*lock);
            if (pause->isCurrent(id) && Pass(*heartbeat)) continue;
        }
        if (!pause->beginPause(id)) break;
        Sleep(kPauseMs);
        if (!pause->endPause(id)) {
            AwaitTermination();
            return false;
        }
    }
    pause->threadLeft();
    return true;
}

bool LiveHeartReport::Impl::Pass(LiveHeartReport& heartbeat) {
    const qolive::CriticalSectionLock lock(*heartbeat.m_lock);
    const std::int64_t nowMs = WallClockMs();
    bool sent = false;
    RunPass("[LiveState] out of memory: a pass of the heartbeat was dropped", [&] {
        heartbeat.report(heartbeat.m_mainSender, nowMs, true);
        heartbeat.report(heartbeat.m_backSender, nowMs, true);
        sent = heartbeat.sendComand();
    });
    TellDroppedCommands(heartbeat.m_impl->droppedCommands.take(GetTickCount64()));
    return sent;
}

bool LiveHeartReport::Impl::Open(LiveHeartReport& heartbeat, MsgSenderStatus*& slot, int cmd,
                                 const char* name) {
    Place(heartbeat, slot, new MsgSenderStatus);
    return slot->initSender(cmd, name);
}

void LiveHeartReport::Impl::Delete(LiveHeartReport& heartbeat, MsgSenderStatus*& slot) {
    MsgSenderStatus* const sender = slot;
    Place(heartbeat, slot, nullptr);
    delete sender;
}

void LiveHeartReport::Impl::Place(LiveHeartReport& heartbeat, MsgSenderStatus*& slot,
                                  MsgSenderStatus* sender) {
    const qolive::MutexLock lock(heartbeat.m_impl->slotLock);
    slot = sender;
}
