#pragma once

#include <functional>
#include <string>

#include "host/Script.h"

namespace host {

/// What the actions that are not the library's alone need from the program.
struct Surroundings {
    std::function<void()> connect;     ///< starts the connections to the servers
    std::function<void()> disconnect;  ///< stops them
};

/// Everything that a script can do: one action per operation of the library's exported classes, about.
Actions Catalogue(const Surroundings& surroundings);

/// What a broadcaster whose pictures have that size does in the first 15 s of a show.
std::string DefaultScript(int width, int height);

}  // namespace host
