#pragma once

namespace fakes {

constexpr unsigned long kThreadCreationError = 8;

/// Called by each CreateThread: true when this one is to fail, else it is counted as made.
bool TakeThreadCreationFailure();

}  // namespace fakes
