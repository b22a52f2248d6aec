#include "host/pipeline/PipelineThread.h"

#include <utility>

#include "common/Clock.h"
#include "host/pipeline/PipelineError.h"

namespace host {

void PipelineThread::Start(std::function<void()> work) {
    m_thread = std::thread([this, work = std::move(work)] { Run(work); });
}

void PipelineThread::Stop() {
    m_stopFlag.Raise();
    if (m_thread.joinable()) m_thread.join();
}

void PipelineThread::Run(const std::function<void()>& work) {
    EndCode code = EndCode::Stopped;
    std::string reason;
    try {
        work();
    } catch (const PipelineError& error) {
        code = error.Code();
        reason = error.what();
    } catch (const std::exception& error) {
        code = EndCode::InternalFault;
        reason = error.what();
    }
    // What a stop interrupts fails, and is not a fault.
    if (m_stopFlag.IsRaised()) {
        code = EndCode::Stopped;
        reason.clear();
    }
    m_feed.OnEnded(apps::WallMs(), code, reason);
}

}  // namespace host
