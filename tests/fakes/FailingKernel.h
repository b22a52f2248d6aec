#pragma once

namespace fakes {

/// The next `count` calls of CreateThread in this process fail, with last error 8.
void FailThreadCreations(int count);

/// Threads that CreateThread has made in this process.
int ThreadsCreated();

}  // namespace fakes
