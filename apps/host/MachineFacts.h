#pragma once

#include <cstdint>
#include <string>

namespace host {

/// What the stream records say about this machine.
struct MachineFacts {
    std::string processor;
    std::int64_t memoryMiB = 0;
    std::int64_t pid = 0;
};

/// Empty or 0 where the system does not tell.
MachineFacts ReadMachineFacts();

}  // namespace host
