#pragma once

#include <functional>
#include <memory>
#include <thread>

/// Starts a thread of the library, to be ended with JoinUnlessEnding. As all threads of the library, it keeps
/// away from the signals that are sent to the process for the host to handle (SIGINT, SIGTERM, SIGCHLD,
/// SIGALRM and the like, SIGPIPE); every other signal is as in the thread that calls, because managed
/// runtimes suspend threads with some (SIGPWR, SIGXCPU, SIGUSR1, real-time signals). Raises std::system_error
/// when the system gives none.
std::shared_ptr<std::thread> StartLibraryThread(std::function<void()> work);

/// Joins `thread` if it runs and releases it; when the process is ending the thread is gone already and the
/// object is abandoned instead. Blocks until the thread has returned; not to be called from that thread.
void JoinUnlessEnding(std::shared_ptr<std::thread>& thread);
