#pragma once

#include <functional>

#include "host/Script.h"

namespace host {

/// What the actions that are not the library's alone need from the program.
struct Surroundings {
    std::function<void()> connect;     ///< starts the connections to the servers
    std::function<void()> disconnect;  ///< stops them
};

/// Everything that a script can do: one action per operation of the library's exported classes, about.
Actions Catalogue(const Surroundings& surroundings);

/// What a broadcaster does in the first 20 s of a show.
extern const char defaultScript[];

}  // namespace host
