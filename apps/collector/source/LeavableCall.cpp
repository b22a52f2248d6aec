#include "collector/source/LeavableCall.h"

#include <cerrno>
#include <chrono>
#include <future>
#include <thread>
#include <utility>

namespace collector {
namespace {

constexpr auto kGlance = std::chrono::milliseconds(50);

}  // namespace

std::optional<CallEnd> CallAndMaybeLeave(std::function<int()> call, const std::function<bool()>& giveUp) {
    std::packaged_task<CallEnd()> task([call = std::move(call)] {
        const int result = call();
        return CallEnd{result, errno};
    });
    std::future<CallEnd> end = task.get_future();
    std::thread thread(std::move(task));
    while (end.wait_for(kGlance) != std::future_status::ready) {
        if (!giveUp()) continue;
        thread.detach();
        return std::nullopt;
    }
    thread.join();
    return end.get();
}

}  // namespace collector
