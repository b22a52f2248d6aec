#pragma once

#include <cstdint>
#include <string>

#include "host/pipeline/ffmpeg/Libav.h"

namespace host {

/// What FFmpeg's own demultiplexer and decoders find in a stream, wherever it comes from.
struct Decoded {
    std::string videoCodec;
    std::string audioCodec;
    int width = 0;
    int height = 0;
    int sampleRate = 0;
    std::int64_t pictures = 0;
    std::int64_t samples = 0;
    std::int64_t faults = 0;
    /// Mean brightness of the last picture, loudness of the last sound (root mean square): black and silence
    /// are 0.
    double brightness = 0;
    double loudness = 0;
};

Decoded DecodeFile(const std::string& path);

/// Waits for one RTMP client on `url`. Takes little in advance, so that a client soon notices when nothing is
/// read.
class RtmpServer {
public:
    explicit RtmpServer(const std::string& url);
    /// Decodes the next `pictures` pictures, or what there is.
    Decoded Decode(std::int64_t pictures);

private:
    libav::InputPtr m_input;
};

}  // namespace host
