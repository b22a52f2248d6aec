#include "host/pipeline/SyntheticPipeline.h"

namespace host {

std::unique_ptr<StreamPipeline> MakeStreamPipeline(const StreamSettings& settings, StreamFeed& feed) {
    return std::make_unique<SyntheticPipeline>(settings, feed);
}

}  // namespace host
