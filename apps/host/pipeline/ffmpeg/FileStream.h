#pragma once

#include <chrono>
#include <string>

#include "host/pipeline/StopFlag.h"
#include "host/pipeline/ffmpeg/Libav.h"

namespace host {

/// The pictures, or the sound, of a media file, decoded one frame after the other. Reads local regular files
/// only. For one thread.
class FileStream {
public:
    /// Raises a PipelineError (BadInput) when the file cannot be read as media.
    FileStream(const std::string& path, AVMediaType type, const StopFlag& stop);

    /// Whether the file holds anything of that type that can be decoded.
    bool Exists() const { return m_codec != nullptr; }
    /// The whole file's playing time; above zero.
    std::chrono::nanoseconds Period();

    /// The next frame; null at the end of the file and once a stop is requested. Faulty packets are skipped.
    libav::FramePtr Next();
    /// When a frame is to be shown, from the beginning of the file.
    std::chrono::nanoseconds TimeOf(const AVFrame& frame) const;
    /// Back to the beginning of the file.
    void Rewind();

private:
    void Open();
    void OpenDecoder(int index, const AVCodec* codec);
    bool FeedDecoder();
    std::chrono::nanoseconds Measure();
    std::chrono::nanoseconds InNanoseconds(std::int64_t time) const;

    const std::string m_path;
    const AVMediaType m_type;
    const StopFlag& m_stop;
    libav::InputPtr m_format;
    libav::CodecPtr m_codec;
    libav::PacketPtr m_packet;
    AVStream* m_stream = nullptr;
};

}  // namespace host
