#pragma once

#include <functional>
#include <thread>

#include "host/pipeline/StopFlag.h"
#include "host/pipeline/StreamFeed.h"

namespace host {

/// Runs a pipeline's work on a thread of its own and reports its end to the feed, exactly once, whatever the
/// work throws. A pipeline holds it as its last member, so that the thread has ended before anything that it
/// uses goes.
class PipelineThread {
public:
    explicit PipelineThread(StreamFeed& feed) : m_feed(feed) {}
    ~PipelineThread() { Stop(); }
    PipelineThread(const PipelineThread&) = delete;
    PipelineThread& operator=(const PipelineThread&) = delete;

    void Start(std::function<void()> work);
    void Stop();
    StopFlag& Flag() { return m_stopFlag; }

private:
    void Run(const std::function<void()>& work);

    StreamFeed& m_feed;
    StopFlag m_stopFlag;
    std::thread m_thread;
};

}  // namespace host
