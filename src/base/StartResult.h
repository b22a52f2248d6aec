#pragma once

// What an operation that starts something returns, to the host in the end.

namespace qolive {

constexpr int kNotStarted = 0;
constexpr int kStarted = 1;
constexpr int kAlreadyStarted = 2;
constexpr int kSwitchedOff = 2;  ///< as the configuration wants it

}  // namespace qolive
