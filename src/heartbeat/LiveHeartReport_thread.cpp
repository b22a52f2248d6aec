#include <memory>

#include "base/DropNotice.h"
#include "base/StartResult.h"
#include "base/Sync.h"
#include "heartbeat/CommandTally.h"
#include "heartbeat/LiveHeartReport.h"
#include "heartbeat/MsgSenderStatus.h"
#include "heartbeat/PauseHandshake.h"
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

/// `loop` returns whether the thread ends by itself; one that was terminated says nothing any more.
template <class Loop>
void RunThread(Loop loop) {
    Log(LogLevel::Info, "[LiveState] LiveHeartReport::ThreadProc start");
    if (loop()) Log(LogLevel::Info, "[LiveState] LiveHeartReport::ThreadProc finish");
}

}  // namespace

/// What a thread needs to see that its report has gone: the destructor does not wait for ever for one that has
/// not come so far.
struct LiveHeartReport::OwnThread {
    LiveHeartReport* report;
    std::shared_ptr<qolive::CriticalSection> lock;
    std::shared_ptr<live_heartbeat::PauseHandshake> pause;
};

LiveHeartReport::~LiveHeartReport() {
    // At the end of a process that has no other thread any more, there is nothing to wait for, and the lock
    // may be held by a thread that is gone.
    if (IsProcessEnding()) return;
    SafeCloseThread(m_hThread);
    if (!m_pause->waitUntilAllLeft(kDestructorWaitMs)) return;
    live_heartbeat::CommandTally::instance().queueShrinks(m_cmdQueue.size());
    LetCentersGo();
}

/// The senders stay open, as nobody has stopped; a center that only they kept ends its connection all the same.
void LiveHeartReport::LetCentersGo() {
    for (MsgSenderStatus* const sender : {m_mainSender, m_backSender, m_commonSender})
        if (sender) sender->letCenterGo();
}

int LiveHeartReport::start() {
    if (IsProcessEnding()) return qolive::kNotStarted;
    const qolive::CriticalSectionLock lock(*m_lock);
    if (m_mainSender) return ThreadAgain();
    try {
        return OpenAndRun();
    } catch (...) {  // memory is short: as if it had not been tried
        m_bRun = false;
        Delete(m_commonSender);
        Delete(m_mainSender);
        throw;
    }
}

int LiveHeartReport::OpenAndRun() {
    Place(m_mainSender, new MsgSenderStatus);
    if (!m_mainSender->initSender(m_heartCmd, "mainSender")) return qolive::kNotStarted;
    Place(m_commonSender, new MsgSenderStatus);
    m_commonSender->initSender(m_commonCmd, "commonSender");
    m_bRun = true;
    StartThread();
    return qolive::kStarted;
}

/// A started heartbeat that was refused its thread gets another try.
int LiveHeartReport::ThreadAgain() {
    if (m_bRun && !m_hThread) StartThread();
    return qolive::kAlreadyStarted;
}

bool LiveHeartReport::startBackUp() {
    if (IsProcessEnding()) return false;
    const qolive::CriticalSectionLock lock(*m_lock);
    if (m_backSender) return false;
    try {
        Place(m_backSender, new MsgSenderStatus);
        m_backSender->initSender(m_heartCmd, "backSender");
        return true;
    } catch (...) {
        Delete(m_backSender);
        throw;
    }
}

bool LiveHeartReport::stop() {
    if (IsProcessEnding()) return false;
    // The final reports use the senders without m_lock: another stop must not delete them meanwhile.
    const qolive::CriticalSectionLock oneAtATime(*m_stopLock);
    MsgSenderStatus* mainSender = nullptr;
    MsgSenderStatus* backSender = nullptr;
    std::uint64_t dropped = 0;
    {
        const qolive::CriticalSectionLock lock(*m_lock);
        m_bRun = false;
        mainSender = m_mainSender;
        backSender = m_backSender;
        dropped = m_droppedCommands->takeAll();
    }
    TellDroppedCommands(dropped);
    const std::int64_t nowMs = WallClockMs();
    const bool ok = report(mainSender, nowMs, false);
    report(backSender, nowMs, false);
    EndHeartbeat();
    return ok;
}

/// In one piece, so that a start on another thread comes before all of it or after.
void LiveHeartReport::EndHeartbeat() {
    const qolive::CriticalSectionLock lock(*m_lock);
    Delete(m_commonSender);
    Delete(m_mainSender);
    Delete(m_backSender);
    SafeCloseThread(m_hThread);
    m_data.reset();
}

void LiveHeartReport::Place(MsgSenderStatus*& slot, MsgSenderStatus* sender) {
    const qolive::MutexLock lock(*m_slotLock);
    slot = sender;
}

void LiveHeartReport::Delete(MsgSenderStatus*& slot) {
    MsgSenderStatus* const sender = slot;
    Place(slot, nullptr);
    delete sender;
}

void LiveHeartReport::StartThread() {
    KeepLibraryLoaded();
    for (int attempt = 0; attempt < kThreadAttempts; ++attempt) {
        DWORD id = 0;
        auto thread = std::make_unique<OwnThread>(OwnThread{this, m_lock, m_pause});
        const auto enter = [](void* own) -> DWORD {
            EnterOwnThread(own);
            return 0;
        };
        m_hThread = CreateThread(nullptr, 0, enter, thread.get(), 0, &id);
        if (m_hThread) {
            static_cast<void>(thread.release());  // the thread's now
            m_pause->threadStarted(id);
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
    if (exitCode == STILL_ACTIVE && m_pause->giveUpThread()) TerminateThread(thread, kForcedExitCode);
    CloseHandle(thread);
    thread = nullptr;
}

unsigned long LiveHeartReport::ThreadProc(void* param) {
    RunThread([param] {
        if (param) static_cast<LiveHeartReport*>(param)->run();
        return true;
    });
    return 0;
}

void LiveHeartReport::EnterOwnThread(void* thread) {
    // Nothing on the heap is this thread's when it is terminated.
    const OwnThread own(*std::unique_ptr<OwnThread>(static_cast<OwnThread*>(thread)));
    RunThread([&own] { return RunOwnThread(own); });
}

void LiveHeartReport::run() {
    while (m_bRun && !IsProcessEnding())
        if (!Pass()) Sleep(kPauseMs);
}

/// False when the thread was terminated in its pause.
bool LiveHeartReport::RunOwnThread(const OwnThread& thread) {
    live_heartbeat::PauseHandshake& pause = *thread.pause;
    const std::uint64_t id = GetCurrentThreadId();
    {
        // StartThread makes this the current thread while it holds the lock.
        const qolive::CriticalSectionLock started(*thread.lock);
    }
    while (pause.isCurrent(id) && thread.report->m_bRun) {
        if (thread.report->PassOf(id)) continue;
        if (!pause.beginPause(id)) break;
        Sleep(kPauseMs);
        if (!pause.endPause(id)) {
            AwaitTermination();
            return false;
        }
    }
    pause.threadLeft();
    return true;
}

/// Not on the senders of a later start, should this thread have been let go while it waited for the lock.
bool LiveHeartReport::PassOf(std::uint64_t threadId) {
    const qolive::CriticalSectionLock lock(*m_lock);
    return m_pause->isCurrent(threadId) && Pass();
}

bool LiveHeartReport::Pass() {
    const qolive::CriticalSectionLock lock(*m_lock);
    const std::int64_t nowMs = WallClockMs();
    bool sent = false;
    RunPass("[LiveState] out of memory: a pass of the heartbeat was dropped", [&] {
        report(m_mainSender, nowMs, true);
        report(m_backSender, nowMs, true);
        sent = sendComand();
    });
    TellDroppedCommands(m_droppedCommands->take(GetTickCount64()));
    return sent;
}
