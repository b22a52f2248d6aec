#pragma once

namespace fakes {

/// The next `count` calls of CreateThread in this process fail, with last error 8.
void failThreadCreations(int count);

/// Threads that CreateThread has made in this process.
int threadsCreated();

}  // namespace fakes
