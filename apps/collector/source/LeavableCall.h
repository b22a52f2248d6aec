#pragma once

#include <functional>
#include <optional>

namespace collector {

struct CallEnd {
    int result = 0;
    int error = 0;  ///< errno
};

/// Makes `call`, which may take minutes, on a thread of its own and waits for its end, looking at `giveUp`
/// several times a second. Nothing once that says so: then the thread is left behind with what `call` holds.
std::optional<CallEnd> CallAndMaybeLeave(std::function<int()> call, const std::function<bool()>& giveUp);

}  // namespace collector
