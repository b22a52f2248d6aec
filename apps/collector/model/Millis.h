#pragma once

#include <cstdint>

namespace collector {

using Millis = std::int64_t;

}  // namespace collector
