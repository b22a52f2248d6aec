#include "host/pipeline/ArtificialLoad.h"

namespace host {

void BurnLoad(const StreamSettings& settings, const StopSignal& stop) {
    const std::chrono::microseconds busy(10000LL * settings.loadPercent / settings.fps);
    const auto end = StopSignal::Clock::now() + busy;
    while (StopSignal::Clock::now() < end && !stop.IsRequested()) {
    }
}

}  // namespace host
