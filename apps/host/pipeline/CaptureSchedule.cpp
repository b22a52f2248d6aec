#include "host/pipeline/CaptureSchedule.h"

namespace host {

namespace {

// Whole seconds apart, so that no length of a broadcast overflows.
std::chrono::nanoseconds TimeOf(std::int64_t units, std::int64_t perSecond) {
    constexpr std::int64_t kNsPerSecond = 1000000000;
    return std::chrono::seconds(units / perSecond) +
           std::chrono::nanoseconds(units % perSecond * kNsPerSecond / perSecond);
}

}  // namespace

std::chrono::nanoseconds CaptureSchedule::PictureTime(std::int64_t index, int fps) {
    return TimeOf(index, fps);
}

CaptureSchedule::Slot CaptureSchedule::Next() {
    const auto video = PictureTime(m_videoIndex, m_fps);
    const auto audio = TimeOf((m_audioIndex + 1) * kSamplesPerFrame, kSampleRate);
    if (video <= audio) return {MediaKind::Video, m_videoIndex++, video};
    return {MediaKind::Audio, m_audioIndex++, audio};
}

}  // namespace host
