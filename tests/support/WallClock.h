#pragma once

#include <chrono>
#include <cstdint>

namespace support {

/// Milliseconds since 1970-01-01 UTC.
inline std::int64_t WallMs() {
    const auto time = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
}

}  // namespace support
