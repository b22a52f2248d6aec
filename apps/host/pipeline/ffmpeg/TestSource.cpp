#include "host/pipeline/ffmpeg/TestSource.h"

#include <algorithm>
#include <cmath>

#include "host/pipeline/CaptureSchedule.h"

namespace host {

namespace {

constexpr std::uint8_t kWhite = 235;
constexpr double kLeftHz = 440;
constexpr double kRightHz = 660;

void DrawGradient(AVFrame& frame, int shift) {
    for (int y = 0; y < frame.height; ++y) {
        std::uint8_t* row = frame.data[0] + static_cast<std::ptrdiff_t>(y) * frame.linesize[0];
        for (int x = 0; x < frame.width; ++x) {
            row[x] = static_cast<std::uint8_t>(16 + (x + y + shift) % 220);
        }
    }
}

void DrawColours(AVFrame& frame, int shift) {
    for (int y = 0; y < frame.height / 2; ++y) {
        std::uint8_t* blue = frame.data[1] + static_cast<std::ptrdiff_t>(y) * frame.linesize[1];
        std::uint8_t* red = frame.data[2] + static_cast<std::ptrdiff_t>(y) * frame.linesize[2];
        for (int x = 0; x < frame.width / 2; ++x) {
            blue[x] = static_cast<std::uint8_t>(64 + (x + shift) % 128);
            red[x] = static_cast<std::uint8_t>(64 + (y + shift) % 128);
        }
    }
}

void DrawBox(AVFrame& frame, int shift) {
    const int size = std::min(frame.width, frame.height) / 4;
    const int left = shift % (frame.width - size);
    for (int y = size; y < 2 * size; ++y) {
        std::uint8_t* row = frame.data[0] + static_cast<std::ptrdiff_t>(y) * frame.linesize[0];
        std::fill(row + left, row + left + size, kWhite);
    }
}

// Xorshift: the same noise in every run.
std::uint8_t NextNoise(std::uint32_t& state) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return static_cast<std::uint8_t>(16 + state % 220);
}

void DrawNoise(AVFrame& frame, std::uint32_t& state) {
    for (int y = frame.height * 7 / 8; y < frame.height; ++y) {
        std::uint8_t* row = frame.data[0] + static_cast<std::ptrdiff_t>(y) * frame.linesize[0];
        std::generate(row, row + frame.width, [&state] { return NextNoise(state); });
    }
}

void WriteTone(std::uint8_t* plane, double hz, std::int64_t firstSample) {
    constexpr double kTwoPi = 6.283185307179586;
    auto* samples = reinterpret_cast<float*>(plane);
    for (int i = 0; i < CaptureSchedule::kSamplesPerFrame; ++i) {
        // Whole tones per second: the phase starts anew each second, and stays exact however long it sounds.
        const auto inSecond = static_cast<double>((firstSample + i) % CaptureSchedule::kSampleRate);
        samples[i] =
            static_cast<float>(0.25 * std::sin(kTwoPi * hz * inSecond / CaptureSchedule::kSampleRate));
    }
}

}  // namespace

libav::FramePtr TestSource::Picture(std::int64_t index) {
    libav::FramePtr frame = libav::NewPicture(m_width, m_height);
    const int shift = static_cast<int>(index * 2 % 1000000);
    DrawGradient(*frame, shift);
    DrawColours(*frame, shift);
    DrawBox(*frame, shift);
    DrawNoise(*frame, m_noise);
    return frame;
}

libav::FramePtr TestSource::Sound(std::int64_t index) {
    libav::FramePtr frame = libav::NewSound();
    const std::int64_t firstSample = index * CaptureSchedule::kSamplesPerFrame;
    WriteTone(frame->data[0], kLeftHz, firstSample);
    WriteTone(frame->data[1], kRightHz, firstSample);
    return frame;
}

}  // namespace host
