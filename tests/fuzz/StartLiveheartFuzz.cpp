#include "fuzz/FuzzTarget.h"
#include "heartbeat/LiveHeartReportManager.h"

// Any text as the configuration of the heartbeat.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr int kUntouched = -77;
    fuzz::SilenceLog();
    LiveHeartReportManager& manager = *LiveHeartReportManager::GetInstance();
    int mode = kUntouched;
    const int result = manager.startLiveheart(fuzz::TextOf(data, size), mode);
    fuzz::Require(result >= 0 && result <= 2);
    fuzz::Require(result != 0 || mode == kUntouched);
    fuzz::Require((result == 1) == manager.stopLiveheart());
    return 0;
}
