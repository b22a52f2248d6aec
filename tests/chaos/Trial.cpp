#include "chaos/Trial.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace chaos {
namespace {

constexpr double kPhaseSeconds = 6;    // of hostility between two honest interludes
constexpr double kStartSeconds = 240;  // Wine makes its installation first
constexpr double kWarmAfter = 0.25;    // of the whole trial
constexpr std::size_t kMoreDescriptors = 16;
constexpr std::size_t kMoreThreads = 8;
constexpr std::size_t kMostAtOnce = 16;  // conversations

double SecondsSince(std::chrono::steady_clock::time_point begin) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

std::string Seconds(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f s", value);
    return text;
}

std::string Replaced(std::string text, const std::string& what, const std::string& with) {
    const auto at = text.find(what);
    return at == std::string::npos ? text : text.replace(at, what.size(), with);
}

}  // namespace

Trial::Trial(Options options) : m_options(std::move(options)), m_history(m_options.kept) {
    if (!m_options.replay.empty()) m_recording = ReadRecording(m_options.replay);
    m_ports[1].number = 1;
    for (Port& port : m_ports)
        listen(port);
}

Trial::~Trial() {
    for (const Port& port : m_ports)
        close(port.listener);
}

void Trial::listen(Port& port) {
    port.listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(port.listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(port.listener, 64) != 0)
        throw std::runtime_error("cannot listen on the loopback interface");
}

std::vector<std::string> Trial::hostCommand() const {
    std::vector<std::string> command = m_options.host;
    for (const Port& port : m_ports) {
        sockaddr_in address = {};
        socklen_t length = sizeof address;
        getsockname(port.listener, reinterpret_cast<sockaddr*>(&address), &length);
        command.push_back(std::to_string(ntohs(address.sin_port)));
    }
    return command;
}

double Trial::elapsed() const {
    return SecondsSince(m_begin);
}

bool Trial::isSpent() const {
    return !m_finding.empty() || m_tally.packets >= m_options.packets || elapsed() >= m_options.seconds;
}

bool Trial::run() {
    std::printf("seed %llu\n", static_cast<unsigned long long>(m_options.seed));
    std::fflush(stdout);
    m_host = std::make_unique<HostProcess>(hostCommand());
    while (m_finding.empty() && !m_ready) {
        turn();
        if (elapsed() > kStartSeconds) found("the host did not start");
    }
    honestInterlude();
    while (!isSpent() && !replayIsOver()) {
        hostilePhase();
        honestInterlude();
        measure();
        if (!isSpent()) restartHost();
    }
    endHost();
    conclude();
    return m_finding.empty();
}

void Trial::becomeHonest(bool honest) {
    m_honest = honest;
    m_conversations.clear();
}

// Heartbeats have to come on both connections.
void Trial::honestInterlude() {
    if (!m_finding.empty()) return;
    becomeHonest(true);
    const auto begin = Clock::now();
    const std::uint64_t before[2] = {m_tally.heartbeats[0], m_tally.heartbeats[1]};
    while (m_finding.empty() && (m_tally.heartbeats[0] == before[0] || m_tally.heartbeats[1] == before[1])) {
        turn();
        if (SecondsSince(begin) < m_options.heartbeatSeconds) continue;
        const bool onMain = m_tally.heartbeats[0] == before[0];
        found(std::string("no heartbeat on the ") + (onMain ? "main" : "backup") + " connection within " +
              Seconds(m_options.heartbeatSeconds));
    }
    ++m_interludes;
    m_longestWait = std::max(m_longestWait, SecondsSince(begin));
}

void Trial::hostilePhase() {
    becomeHonest(false);
    const auto begin = Clock::now();
    while (!isSpent() && !replayIsOver() && SecondsSince(begin) < kPhaseSeconds)
        turn();
}

bool Trial::replayIsOver() const {
    if (m_options.replay.empty()) return false;
    const bool played = std::all_of(m_recording.begin(), m_recording.end(),
                                    [](const auto& port) { return port.second.empty(); });
    return played && (m_honest || m_conversations.empty());
}

// In the midst of it.
void Trial::restartHost() {
    becomeHonest(false);
    const auto begin = Clock::now();
    while (m_finding.empty() && SecondsSince(begin) < 0.5)
        turn();
    m_host->tell("restart");
    awaitStop();
}

void Trial::awaitStop() {
    const auto begin = Clock::now();
    const std::size_t before = m_stops;
    while (m_finding.empty() && m_stops == before) {
        turn();
        if (SecondsSince(begin) > 15 + m_options.slackSeconds) found("the host does not stop");
    }
}

void Trial::endHost() {
    if (!m_finding.empty()) return;
    becomeHonest(false);
    m_host->closeInput();
    m_ending = true;
    awaitStop();
    const auto begin = Clock::now();
    while (m_finding.empty() && !m_host->end()) {
        turn();
        if (SecondsSince(begin) > 15 + m_options.slackSeconds) found("the host does not end");
    }
    if (m_finding.empty() && !m_host->endedWell()) found("the host " + *m_host->end());
}

void Trial::turn() {
    std::vector<pollfd> sockets = {{m_host->output(), POLLIN, 0}};
    for (const Port& port : m_ports)
        sockets.push_back({port.listener, POLLIN, 0});
    for (const Conversation& each : m_conversations)
        sockets.push_back(
            {each.socket(), static_cast<short>(POLLIN | (each.wantsToWrite() ? POLLOUT : 0)), 0});
    poll(sockets.data(), sockets.size(), waitMs());
    std::size_t at = 3;
    const auto now = Clock::now();
    for (Conversation& each : m_conversations)
        if (sockets[at++].revents != 0 || each.due() <= now) each.advance();
    m_conversations.remove_if([](const Conversation& each) { return each.isOver(); });
    for (Port& port : m_ports)
        accept(port);
    watchHost();
}

int Trial::waitMs() const {
    auto due = Clock::now() + std::chrono::milliseconds(50);
    for (const Conversation& each : m_conversations)
        due = std::min(due, each.due());
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(due - Clock::now()).count();
    return static_cast<int>(std::max<std::int64_t>(left, 0));
}

void Trial::accept(Port& port) {
    while (m_conversations.size() < kMostAtOnce) {
        const int socket = accept4(port.listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (socket < 0) return;
        m_conversations.emplace_back(socket, port.number, port.accepted, scriptFor(port), m_tally, m_history);
    }
}

std::unique_ptr<Script> Trial::scriptFor(Port& port) {
    if (m_honest) return HonestScript();
    const std::size_t number = port.accepted++;
    if (m_options.replay.empty())
        return RandomScript(
            Random(m_options.seed * 2 + static_cast<std::uint64_t>(port.number) + (number << 20U)).next());
    auto& conversations = m_recording[port.number];
    if (conversations.empty()) return HonestScript();
    auto script = RecordedScript(std::move(conversations.front()));
    conversations.pop_front();
    return script;
}

void Trial::watchHost() {
    for (const std::string& line : m_host->lines())
        takeLine(line);
    if (m_ending || !m_finding.empty()) return;
    if (const auto end = m_host->end()) found("the host " + *end);
}

void Trial::takeLine(const std::string& line) {
    double heartbeatMs = 0;
    double centersMs = 0;
    if (line == "ready")
        m_ready = true;
    else if (std::sscanf(line.c_str(), "stopped %lf %lf", &heartbeatMs, &centersMs) == 2)
        judgeStop(heartbeatMs, centersMs);
    else
        found("the host says: " + line);
}

// Of the two centers each may take a second.
void Trial::judgeStop(double heartbeatMs, double centersMs) {
    ++m_stops;
    m_longestStopMs = std::max({m_longestStopMs, heartbeatMs, centersMs});
    if (heartbeatMs > 1000 * (1 + m_options.slackSeconds))
        found("the heartbeat took " + Seconds(heartbeatMs / 1000) + " to stop");
    if (centersMs > 1000 * (2 + m_options.slackSeconds))
        found("the centers took " + Seconds(centersMs / 1000) + " to stop");
}

void Trial::measure() {
    if (!m_finding.empty()) return;
    m_now = {m_host->residentMiB(), m_host->descriptors(), m_host->threads()};
    const double packets = static_cast<double>(m_tally.packets) / static_cast<double>(m_options.packets);
    if (!m_isWarm && std::max(packets, elapsed() / m_options.seconds) >= kWarmAfter) {
        m_warm = m_now;
        m_isWarm = true;
    }
    if (!m_isWarm) return;
    std::ostringstream grown;
    if (m_now.residentMiB > m_warm.residentMiB + m_options.growthMiB)
        grown << "the host grew from " << m_warm.residentMiB << " MiB to " << m_now.residentMiB;
    else if (m_now.descriptors > m_warm.descriptors + kMoreDescriptors)
        grown << "the host had " << m_warm.descriptors << " open files and has " << m_now.descriptors;
    else if (m_now.threads > m_warm.threads + kMoreThreads)
        grown << "the host had " << m_warm.threads << " threads and has " << m_now.threads;
    if (!grown.str().empty()) found(grown.str());
}

void Trial::found(const std::string& what) {
    if (!m_finding.empty()) return;
    m_finding = what;
    std::printf("FOUND: %s\n", what.c_str());
    const std::string file = Replaced(m_options.keep, "%", std::to_string(m_options.seed));
    if (m_options.replay.empty() && m_history.write(file))
        std::printf("the last shots are in %s: try --replay with it, or --seed %llu\n", file.c_str(),
                    static_cast<unsigned long long>(m_options.seed));
}

void Trial::conclude() const {
    const double took = elapsed();
    std::printf(
        "%llu packets (%llu shots that no server may send, %llu shots survived) in %llu connections, %.0f s, "
        "%.0f packets/s; %zu interludes, longest wait for a heartbeat %.1f s; %zu stops, longest %.0f ms; "
        "resident %.1f MiB when warm, %.1f at last: %s\n",
        static_cast<unsigned long long>(m_tally.packets), static_cast<unsigned long long>(m_tally.mutated),
        static_cast<unsigned long long>(m_tally.survived),
        static_cast<unsigned long long>(m_tally.conversations), took,
        static_cast<double>(m_tally.packets) / took, m_interludes, m_longestWait, m_stops, m_longestStopMs,
        m_warm.residentMiB, m_now.residentMiB, m_finding.empty() ? "nothing found" : m_finding.c_str());
}

}  // namespace chaos
