#include "host/pipeline/ffmpeg/MediaSource.h"

#include "host/pipeline/ffmpeg/FileSource.h"
#include "host/pipeline/ffmpeg/TestSource.h"

namespace host {

std::unique_ptr<MediaSource> OpenMediaSource(const StreamSettings& settings, const StopFlag& stop) {
    if (settings.inputFile.empty()) return std::make_unique<TestSource>(settings.width, settings.height);
    return std::make_unique<FileSource>(settings, stop);
}

}  // namespace host
