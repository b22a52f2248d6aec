#include "host/pipeline/ArtificialLoad.h"

namespace host {

void BurnLoad(const StreamSettings& settings, const StopFlag& stop) {
    const std::chrono::microseconds busy(10000LL * settings.loadPercent / settings.fps);
    const auto end = StopFlag::Clock::now() + busy;
    while (StopFlag::Clock::now() < end && !stop.IsRaised()) {
    }
}

}  // namespace host
