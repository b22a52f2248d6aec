#include "fakes/FailingKernel.h"

#include <atomic>

#include "fakes/FailingKernelState.h"

namespace fakes {
namespace {

std::atomic<int> failuresLeft{0};
std::atomic<int> created{0};

}  // namespace

void FailThreadCreations(int count) {
    failuresLeft = count;
}

int ThreadsCreated() {
    return created;
}

bool TakeThreadCreationFailure() {
    int left = failuresLeft.load();
    while (left > 0 && !failuresLeft.compare_exchange_weak(left, left - 1)) {
    }
    if (left <= 0) ++created;
    return left > 0;
}

}  // namespace fakes
