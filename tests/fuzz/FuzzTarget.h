#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/Log.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

inline std::string TextOf(const std::uint8_t* data, std::size_t size) {
    return data ? std::string(reinterpret_cast<const char*>(data), size) : std::string();
}

/// Log lines are formatted, as in a host, and go nowhere.
inline void SilenceLog() {
    SetLogSink([](void*, int, const char*) {}, nullptr);
}

/// What must hold for every input; ends the process where it does not.
inline void Require(bool holds) {
    if (!holds) __builtin_trap();
}

}  // namespace fuzz
