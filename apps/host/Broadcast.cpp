#include "host/Broadcast.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <optional>
#include <utility>

#include <qolive_report/data_report/DataReportManager.h>
#include "common/Clock.h"
#include "common/CommandLine.h"
#include "common/Json.h"
#include "common/Printable.h"
#include "common/TextWidth.h"
#include "host/PushStatus.h"
#include "host/RetryPause.h"
#include "host/pipeline/PipelineError.h"
#include "host/pipeline/PublishUrl.h"

namespace host {
namespace {

constexpr std::chrono::seconds kShowInterval{5};
constexpr std::chrono::seconds kWriteInterval{1};
constexpr std::size_t kMostShownBytes = 300;

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

std::string DescribeEncoding(const StreamFacts& facts) {
    return facts.videoEncoder + " " + std::to_string(facts.width) + "x" + std::to_string(facts.height) + " " +
           std::to_string(facts.fps) + " fps " + std::to_string(facts.videoKbps) + " kbps, " +
           facts.audioEncoder + " " + std::to_string(facts.audioKbps) + " kbps";
}

// What may go away by itself: the network and the server, not a mistake or a missing encoder.
bool MayPass(EndCode code) {
    return code == EndCode::PublishFailed || code == EndCode::PublishTimeout || code == EndCode::SendFailed;
}

EncoderFigures operator+(const EncoderFigures& a, const EncoderFigures& b) {
    return {a.videoFrames + b.videoFrames, a.videoBytes + b.videoBytes, a.audioFrames + b.audioFrames,
            a.audioBytes + b.audioBytes};
}

void RequireReadable(const std::string& path) {
    if (!path.empty() && !std::ifstream(path)) throw apps::UsageError("cannot read the input file " + path);
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
    Stream(const PlannedStream& plan, StreamIdentity identity, bool quiet)
        : m_id(plan.id),
          m_settings(plan.settings),
          m_quiet(quiet),
          m_push(plan.number),
          m_feed(plan.id, data_report::StreamTypeEnum::Sampled, IdentityOf(plan, std::move(identity))) {
        Begin();
    }

    void Turn(std::int64_t nowMs) {
        m_feed.Turn(nowMs);
        m_push.Turn(m_feed.IsSending());
        if (m_pipeline)
            Watch();
        else if (m_mayPass && Clock::now() >= m_nextTry)
            Begin();
    }

    void ShowFigures(Clock::time_point now) {
        if (!m_sendingSince) return;
        const EncoderFigures figures = FiguresNow();
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
        const EncoderFigures figures = FiguresNow();
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

    /// Empty while the stream is sent, or on its way to the first time.
    const std::string& Fault() const { return m_fault; }

    void Stop() {
        if (m_pipeline) m_pipeline->Stop();
    }

private:
    static StreamIdentity IdentityOf(const PlannedStream& plan, StreamIdentity identity) {
        identity.sessionId += "-" + plan.id;
        identity.liveType = plan.number;
        identity.clarity = plan.settings.height;
        return identity;
    }

    void Begin() {
        m_feed.Prepare();
        m_pipeline = MakeStreamPipeline(m_settings, m_feed);
        m_pipeline->Start();
    }

    void Watch() {
        if (m_feed.IsSending() && !m_sendingSince) Announce();
        const StreamEnd end = m_feed.End();
        if (end.ended) Close(end);
    }

    void Announce() {
        m_sendingSince = m_shownAt = Clock::now();
        m_shown = FiguresNow();
        m_fault.clear();
        if (std::exchange(m_announced, true)) return Say("is sent again");
        const StreamFacts facts = m_feed.Facts();
        Say(m_pipeline->Name() + (" to " + apps::Printable(facts.url, kMostShownBytes)));
        Say(DescribeEncoding(facts));
    }

    void Close(const StreamEnd& end) {
        m_past = FiguresNow();
        m_pipeline.reset();
        const auto since = std::exchange(m_sendingSince, std::nullopt);
        if (end.code == EndCode::Stopped) return;
        m_fault = m_id + ": " + apps::Printable(end.reason, kMostShownBytes);
        m_mayPass = MayPass(end.code);
        std::string next;
        if (m_mayPass) next = "; trying again in " + PlanNextTry(since);
        // A fault is told even to those who want it quiet.
        std::cerr << "QoLive: " << m_fault << next << std::endl;
    }

    std::string PlanNextTry(std::optional<Clock::time_point> since) {
        const auto now = Clock::now();
        const auto held = since ? now - *since : Clock::duration::zero();
        const auto pause = m_pause.Next(std::chrono::duration_cast<RetryPause::Time>(held));
        m_nextTry = now + pause;
        return std::to_string(pause.count() / 1000) + " s";
    }

    EncoderFigures FiguresNow() const { return m_pipeline ? m_past + m_pipeline->Figures() : m_past; }

    void Say(const std::string& text) const {
        const std::string begin = "[" + m_id + "] ";
        const std::size_t width = std::max(apps::OutputWidth(), 2 * begin.size()) - begin.size();
        if (!m_quiet) std::cout << begin << apps::Paragraph(text, width, begin.size()) << std::endl;
    }

    const std::string m_id;
    const StreamSettings m_settings;
    const bool m_quiet;
    PushStatus m_push;
    ReportingFeed m_feed;
    std::unique_ptr<StreamPipeline> m_pipeline;  // none while it waits for the next try
    EncoderFigures m_past;                       // of the pipelines before this one
    EncoderFigures m_shown;
    Clock::time_point m_shownAt;
    std::optional<Clock::time_point> m_sendingSince;
    bool m_announced = false;
    std::string m_fault;
    bool m_mayPass = false;
    RetryPause m_pause;
    Clock::time_point m_nextTry;
};

Broadcast::Broadcast(const BroadcastOptions& options) : m_options(options), m_plan(PlanStreams(options)) {
    if (!m_plan.empty()) RequireReadable(options.settings.inputFile);
    if (options.figuresFile.empty()) return;
    m_figures.open(options.figuresFile, std::ios::trunc);
    if (!m_figures) throw apps::UsageError("cannot write the figures to " + options.figuresFile);
}

Broadcast::~Broadcast() = default;

void Broadcast::Start() {
    if (m_plan.empty()) return;
    data_report::DataReportManager::Instance().Init();
    for (const PlannedStream& planned : m_plan)
        m_streams.push_back(std::make_unique<Stream>(planned, m_options.identity, m_options.quiet));
    m_nextShown = Clock::now() + kShowInterval;
    m_nextWritten = Clock::now();
}

void Broadcast::Turn() {
    for (const auto& stream : m_streams)
        stream->Turn(apps::WallMs());
    if (Clock::now() >= m_nextWritten) WriteFigures();
    if (Clock::now() >= m_nextShown) ShowFigures();
}

void Broadcast::ShowFigures() {
    m_nextShown += kShowInterval;
    for (const auto& stream : m_streams)
        stream->ShowFigures(Clock::now());
}

void Broadcast::WriteFigures() {
    m_nextWritten += kWriteInterval;
    for (const auto& stream : m_streams) {
        if (m_figures.is_open()) m_figures << apps::CompactJson(stream->Figures(apps::WallMs())) << std::endl;
    }
}

std::vector<std::string> Broadcast::Stop() {
    std::vector<std::string> faults;
    for (const auto& stream : m_streams) {
        if (!stream->Fault().empty()) faults.push_back(stream->Fault());
        stream->Stop();
    }
    WriteFigures();
    if (m_figures.is_open() && !m_figures)
        faults.push_back("the figures could not be written to " + m_options.figuresFile);
    m_streams.clear();
    return faults;
}

}  // namespace host
