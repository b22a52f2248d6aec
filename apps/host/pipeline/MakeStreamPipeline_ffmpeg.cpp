#include "host/pipeline/FfmpegPipeline.h"

namespace host {

std::unique_ptr<StreamPipeline> MakeStreamPipeline(const StreamSettings& settings, StreamFeed& feed) {
    return std::make_unique<FfmpegPipeline>(settings, feed);
}

}  // namespace host
