#pragma once

#include <cstdint>
#include <memory>

#include "host/pipeline/StopFlag.h"
#include "host/pipeline/StreamSettings.h"
#include "host/pipeline/ffmpeg/Libav.h"

namespace host {

/// Pictures and sound of one stream, in the encoder's formats. For one thread; each index is asked for once,
/// growing from 0. The frames may be shared with the source: not to be written to.
class MediaSource {
public:
    virtual ~MediaSource() = default;
    virtual libav::FramePtr Picture(std::int64_t index) = 0;
    virtual libav::FramePtr Sound(std::int64_t index) = 0;
};

/// The input file of `settings`, or the test picture and tone. Raises a PipelineError (BadInput) when the
/// file cannot be played.
std::unique_ptr<MediaSource> OpenMediaSource(const StreamSettings& settings, const StopFlag& stop);

}  // namespace host
