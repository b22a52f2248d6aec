#pragma once

#include <string>

#include "chaos/Packets.h"
#include "chaos/Random.h"

namespace chaos {

/// What a hostile server sends at once.
struct Shot {
    std::string bytes;
    std::size_t packets = 1;
    bool mutated = true;      ///< at least one of them is not what a server may send
    bool byteByByte = false;  ///< each byte in a segment of its own
};

Shot AnyShot(Random& random, const Scene& scene);

}  // namespace chaos
