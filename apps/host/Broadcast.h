#pragma once

#include <chrono>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "host/ReportingFeed.h"
#include "host/pipeline/StreamPipeline.h"

namespace host {

struct BroadcastOptions {
    StreamSettings settings;  ///< without a publish address there is no broadcast
    int streams = 1;          ///< 1 to 16: anchor, co-host, mix, more
    std::string figuresFile;
    bool quiet = false;
    StreamIdentity identity;
};

struct PlannedStream {
    int number = 0;  ///< 1 = anchor, 2 = co-host, 3 = mix; also the "liveType" of the records
    std::string id;
    StreamSettings settings;
};

/// The streams of `options`, each with an address of its own: over UDP every other port from the given one
/// on, over RTMP the stream's name at the end of the key. Throws apps::UsageError when a setting cannot be
/// met.
std::vector<PlannedStream> PlanStreams(const BroadcastOptions& options);

/// The host's streams: their pipelines, their reports, what the heartbeat says of their being sent and what
/// the terminal shows of them. A stream that is lost, or whose address does not answer, is tried again after
/// a pause that grows. For one thread.
class Broadcast {
public:
    /// Throws apps::UsageError when a setting cannot be met, the input file cannot be read or the file of
    /// figures cannot be written.
    explicit Broadcast(const BroadcastOptions& options);
    ~Broadcast();
    Broadcast(const Broadcast&) = delete;
    Broadcast& operator=(const Broadcast&) = delete;

    /// Starts reporting and all streams. Does nothing without a publish address. Returns at once.
    void Start();
    /// To be called every now and then: reports what is due, shows figures every 5 s, writes them every
    /// second.
    void Turn();
    /// Ends all streams and their reports. Says what did not work, for the user to read: a line for each
    /// stream that was not being sent any more, with the reason, and one for figures that could not be
    /// written.
    std::vector<std::string> Stop();

private:
    using Clock = std::chrono::steady_clock;
    class Stream;

    void ShowFigures();
    void WriteFigures();

    const BroadcastOptions m_options;
    const std::vector<PlannedStream> m_plan;
    std::ofstream m_figures;
    std::vector<std::unique_ptr<Stream>> m_streams;
    Clock::time_point m_nextShown;
    Clock::time_point m_nextWritten;
};

}  // namespace host
