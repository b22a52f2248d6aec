#pragma once

#include <cstdint>

namespace apps {

/// Milliseconds since some moment; never set back, so that times can be compared.
std::int64_t SteadyMs();

/// Milliseconds since 1970-01-01 UTC.
std::int64_t WallMs();

}  // namespace apps
