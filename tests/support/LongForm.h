#pragma once

#include <cstdlib>
#include <string>

namespace support {

/// Whether the tests that have a long form run in it: `scripts/test --full`.
inline bool LongForm() {
    const char* const full = std::getenv("QOLIVE_TEST_FULL");
    return full && std::string(full) == "1";
}

}  // namespace support
