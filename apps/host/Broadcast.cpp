#include "host/Broadcast.h"

#include <cstdio>
#include <iostream>

#include "common/CommandLine.h"
#include "common/Printable.h"
#include "data_report/DataReportManager.h"
#include "host/pipeline/PipelineError.h"
#include "host/pipeline/PipelineThread.h"
#include "host/pipeline/PublishUrl.h"
#include "platform/JsonText.h"

namespace host {
namespace {

constexpr std::chrono::seconds showInterval{5};
constexpr std::chrono::seconds writeInterval{1};
constexpr std::size_t mostShownBytes = 300;

std::string NameOf(int index) {
    static const char* const names[] = {"anchor", "co-host", "mix"};
    return index < 3 ? names[index] : "stream-" + std::to_string(index + 1);
}

std::string UdpUrlOf(std::string url, const PublishUrl& parsed, int index) {
    const std::string port = ":" + std::to_string(parsed.port);
    const std::size_t at = url.find(port, url.find(parsed.host) + parsed.host.size());
    if (at == std::string::npos) throw apps::UsageError("write the port without zeros before it: " + url);
    return url.replace(at, port.size(), ":" + std::to_string(parsed.port + 2 * index));
}

std::string UrlOf(std::string url, int index) {
    const PublishUrl parsed = ParsePublishUrl(url);
    if (index == 0) return url;
    if (parsed.transport == Transport::MpegTsOverUdp) return UdpUrlOf(url, parsed, index);
    return url.insert(std::min(url.find('?'), url.size()), "-" + NameOf(index));
}

std::string Rates(std::int64_t frames, std::int64_t bytes, double seconds) {
    char text[64] = {};
    std::snprintf(text, sizeof text, "%.1f fps %.0f kbps", static_cast<double>(frames) / seconds,
                  static_cast<double>(bytes) / 125 / seconds);
    return text;
}

std::string Describe(const StreamFacts& facts) {
    return facts.videoEncoder + " " + std::to_string(facts.width) + "x" + std::to_string(facts.height) + " " +
           std::to_string(facts.fps) + " fps " + std::to_string(facts.videoKbps) + " kbps, " +
           facts.audioEncoder + " " + std::to_string(facts.audioKbps) + " kbps to " +
           apps::Printable(facts.url, mostShownBytes);
}

}  // namespace

std::vector<PlannedStream> PlanStreams(const BroadcastOptions& options) {
    std::vector<PlannedStream> plan;
    const std::string fault = WhyUnusable(options.settings);
    if (!fault.empty()) throw apps::UsageError(fault);
    for (int i = 0; i < options.streams && !options.settings.publishUrl.empty(); ++i) {
        plan.push_back({i + 1, NameOf(i), options.settings});
        try {
            plan.back().settings.publishUrl = UrlOf(options.settings.publishUrl, i);
            ParsePublishUrl(plan.back().settings.publishUrl);
        } catch (const PipelineError& error) {
            throw apps::UsageError(error.what());
        }
    }
    return plan;
}

/// One stream with its report.
class Broadcast::Stream {
public:
    Stream(const PlannedStream& plan, StreamIdentity identity)
        : m_id(plan.id),
          m_feed(plan.id, data_report::StreamTypeEnum::Sampled, IdentityOf(plan, std::move(identity))),
          m_pipeline(MakeStreamPipeline(plan.settings, m_feed)) {
        m_pipeline->Start();
    }

    void Turn(std::int64_t nowMs, bool quiet) {
        m_feed.Turn(nowMs);
        if (!m_announced && !m_feed.Facts().url.empty()) {
            m_announced = true;
            if (!quiet) Say(m_pipeline->Name() + (": " + Describe(m_feed.Facts())));
        }
        const StreamEnd end = m_feed.End();
        if (m_ended || !end.ended) return;
        m_ended = true;
        // A fault is told even to those who want it quiet.
        if (end.code != EndCode::Stopped) std::cerr << "QoLive: " << m_id << ": " << Reason(end) << std::endl;
    }

    void ShowFigures(Clock::time_point now) {
        if (m_ended) return;
        const EncoderFigures figures = m_pipeline->Figures();
        const double seconds = std::chrono::duration<double>(now - m_shownAt).count();
        Say(Rates(figures.videoFrames - m_shown.videoFrames, figures.videoBytes - m_shown.videoBytes,
                  seconds) +
            ", sound " +
            Rates(figures.audioFrames - m_shown.audioFrames, figures.audioBytes - m_shown.audioBytes,
                  seconds) +
            ", " + std::to_string(m_feed.FramesLost()) + " lost");
        m_shown = figures;
        m_shownAt = now;
    }

    Json::Value Figures(std::int64_t nowMs) const {
        const EncoderFigures figures = m_pipeline->Figures();
        Json::Value line;
        line["t"] = static_cast<Json::Int64>(nowMs);
        line["stream"] = m_id;
        line["videoFrames"] = static_cast<Json::Int64>(figures.videoFrames);
        line["videoBytes"] = static_cast<Json::Int64>(figures.videoBytes);
        line["audioFrames"] = static_cast<Json::Int64>(figures.audioFrames);
        line["audioBytes"] = static_cast<Json::Int64>(figures.audioBytes);
        line["lostFrames"] = static_cast<Json::Int64>(m_feed.FramesLost());
        return line;
    }

    void Stop() { m_pipeline->Stop(); }

private:
    static StreamIdentity IdentityOf(const PlannedStream& plan, StreamIdentity identity) {
        identity.sessionId += "-" + plan.id;
        identity.liveType = plan.number;
        identity.clarity = plan.settings.height;
        return identity;
    }

    static std::string Reason(const StreamEnd& end) { return apps::Printable(end.reason, mostShownBytes); }

    void Say(const std::string& text) const { std::cout << "[" << m_id << "] " << text << std::endl; }

    const std::string m_id;
    ReportingFeed m_feed;
    std::unique_ptr<StreamPipeline> m_pipeline;
    EncoderFigures m_shown;
    Clock::time_point m_shownAt = Clock::now();
    bool m_announced = false;
    bool m_ended = false;
};

Broadcast::Broadcast(const BroadcastOptions& options) : m_options(options), m_plan(PlanStreams(options)) {
    if (options.figuresFile.empty()) return;
    m_figures.open(options.figuresFile, std::ios::trunc);
    if (!m_figures) throw apps::UsageError("cannot write the figures to " + options.figuresFile);
}

Broadcast::~Broadcast() = default;

void Broadcast::Start() {
    if (m_plan.empty()) return;
    data_report::DataReportManager::Instance().Init();
    for (const PlannedStream& planned : m_plan)
        m_streams.push_back(std::make_unique<Stream>(planned, m_options.identity));
    m_nextShown = Clock::now() + showInterval;
    m_nextWritten = Clock::now();
}

void Broadcast::Turn() {
    for (const auto& stream : m_streams)
        stream->Turn(WallClockMs(), m_options.quiet);
    if (Clock::now() >= m_nextWritten) WriteFigures();
    if (Clock::now() >= m_nextShown) ShowFigures();
}

void Broadcast::ShowFigures() {
    m_nextShown += showInterval;
    for (const auto& stream : m_streams) {
        if (!m_options.quiet) stream->ShowFigures(Clock::now());
    }
}

void Broadcast::WriteFigures() {
    m_nextWritten += writeInterval;
    for (const auto& stream : m_streams) {
        if (m_figures.is_open()) m_figures << WriteCompactJson(stream->Figures(WallClockMs())) << std::flush;
    }
}

void Broadcast::Stop() {
    for (const auto& stream : m_streams)
        stream->Stop();
    WriteFigures();
    m_streams.clear();
}

}  // namespace host
