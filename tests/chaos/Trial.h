#pragma once

#include <poll.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "chaos/Conversation.h"
#include "chaos/HostProcess.h"

namespace chaos {

struct Options {
    std::uint64_t packets = UINT64_MAX;
    double seconds = 3600;
    std::uint64_t seed = 0;
    std::string replay;            ///< a recording; empty: shots chosen by the seed
    std::string keep;              ///< where the last shots go when something is found
    std::size_t kept = 5000;       ///< shots
    double growthMiB = 32;         ///< that the host may use more than when it was warm
    double heartbeatSeconds = 20;  ///< within which an honest server must be found again
    double slackSeconds = 1;       ///< beyond what a stop may take
    std::vector<std::string> host;
};

/// A hostile server on two ports, the host that connects to it, and the watch over that host.
class Trial {
public:
    explicit Trial(Options options);
    ~Trial();
    Trial(const Trial&) = delete;
    Trial& operator=(const Trial&) = delete;

    /// Runs to the end; true when the host came through.
    bool run();

private:
    using Clock = std::chrono::steady_clock;
    struct Port {
        int listener = -1;
        int number = 0;
        std::size_t accepted = 0;  ///< conversations of hostile phases
    };
    struct Usage {
        double residentMiB = 0;
        std::size_t descriptors = 0;
        std::size_t threads = 0;
    };

    void listen(Port& port);
    std::vector<std::string> hostCommand() const;
    bool isSpent() const;
    double elapsed() const;

    void becomeHonest(bool honest);
    void honestInterlude();
    void hostilePhase();
    void restartHost();
    void endHost();
    void awaitStop();
    bool replayIsOver() const;

    void turn();
    void accept(Port& port);
    std::unique_ptr<Script> scriptFor(Port& port);
    int waitMs() const;
    void watchHost();
    void takeLine(const std::string& line);
    void judgeStop(double heartbeatMs, double centersMs);
    void measure();
    void found(const std::string& what);
    void conclude() const;

    const Options m_options;
    const Clock::time_point m_begin = Clock::now();
    std::array<Port, 2> m_ports;
    Recording m_recording;
    History m_history;
    Tally m_tally;
    std::list<Conversation> m_conversations;
    std::unique_ptr<HostProcess> m_host;
    bool m_honest = true;
    bool m_ready = false;
    bool m_ending = false;
    std::size_t m_stops = 0;
    std::size_t m_interludes = 0;
    double m_longestStopMs = 0;
    double m_longestWait = 0;  ///< for a heartbeat in an interlude, seconds
    Usage m_warm;
    Usage m_now;
    bool m_isWarm = false;
    std::string m_finding;
};

}  // namespace chaos
