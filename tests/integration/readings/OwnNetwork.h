#pragma once

#include <string>

/// Moves the calling thread, and what it starts from then on, into a network of its own, with nothing in it
/// but a loopback that is up. Its file system is apart as well: what is mounted there is not seen outside.
/// Returns why that is not possible here; empty on success.
std::string EnterOwnNetwork();
