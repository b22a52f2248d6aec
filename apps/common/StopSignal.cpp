#include "common/StopSignal.h"

#include <csignal>

namespace apps {
namespace {

volatile std::sig_atomic_t stopRequested = 0;

extern "C" void OnStopSignal(int signal) {
    stopRequested = 1;
    std::signal(signal, SIG_DFL);
}

}  // namespace

void CatchStopSignals() {
    std::signal(SIGINT, OnStopSignal);
    std::signal(SIGTERM, OnStopSignal);
}

bool StopRequested() {
    return stopRequested != 0;
}

}  // namespace apps
