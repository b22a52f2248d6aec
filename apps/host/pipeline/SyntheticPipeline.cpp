#include "host/pipeline/SyntheticPipeline.h"

#include "common/Clock.h"
#include "host/pipeline/ArtificialLoad.h"
#include "host/pipeline/CaptureThread.h"
#include "host/pipeline/PipelineError.h"
#include "host/pipeline/PublishUrl.h"

namespace host {

namespace {

// The bytes that a stream of `kbps` has made up to frame `index`, so that no rounding adds up.
std::int64_t BytesUpTo(std::int64_t index, int kbps, std::int64_t unitsPerFrame,
                       std::int64_t unitsPerSecond) {
    return index * unitsPerFrame * kbps * 125 / unitsPerSecond;
}

std::size_t FrameBytes(const CaptureSchedule::Slot& slot, const StreamSettings& settings) {
    const bool video = slot.kind == MediaKind::Video;
    const int kbps = video ? settings.videoKbps : settings.audioKbps;
    const std::int64_t perFrame = video ? 1 : CaptureSchedule::kSamplesPerFrame;
    const std::int64_t perSecond = video ? settings.fps : CaptureSchedule::kSampleRate;
    return static_cast<std::size_t>(BytesUpTo(slot.index + 1, kbps, perFrame, perSecond) -
                                    BytesUpTo(slot.index, kbps, perFrame, perSecond));
}

}  // namespace

void SyntheticPipeline::Start() {
    m_thread.Start([this] { Stream(); });
}

void SyntheticPipeline::Stream() {
    const std::string fault = WhyUnusable(m_settings);
    if (!fault.empty()) throw PipelineError(EndCode::BadSettings, fault);
    Publish();
    CaptureThread<std::size_t> capture(
        m_settings.fps, m_feed, m_thread.Flag(),
        [this](const CaptureSchedule::Slot& slot) { return FrameBytes(slot, m_settings); });
    while (const auto frame = capture.Pop()) {
        if (frame->first == MediaKind::Video) BurnLoad(m_settings, m_thread.Flag());
        Deliver(frame->first, frame->second);
    }
}

void SyntheticPipeline::Publish() {
    const PublishUrl address = ParsePublishUrl(m_settings.publishUrl);
    StreamFacts facts = FactsOf(m_settings);
    facts.videoEncoder = "none";
    facts.audioEncoder = "none";
    m_feed.OnPublishRequested(apps::WallMs(), facts);
    facts.serverAddress = address.host;
    m_feed.OnPublishAnswered(apps::WallMs(), facts);
}

void SyntheticPipeline::Deliver(MediaKind kind, std::size_t bytes) {
    m_counters.Add(kind, static_cast<std::int64_t>(bytes));
    m_feed.OnEncoded(kind, bytes);
    if (!m_firstSent) m_feed.OnFirstPacketSent(apps::WallMs());
    m_firstSent = true;
    m_feed.OnSent(kind, bytes);
}

}  // namespace host
