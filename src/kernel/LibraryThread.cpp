#include "platform/LibraryThread.h"

#include <new>
#include <utility>

#include "platform/Kernel.h"

void JoinUnlessEnding(std::shared_ptr<std::thread>& thread) {
    if (!thread) return;
    if (IsProcessEnding()) {
        // A std::thread that is destroyed while joinable ends the process with an error: keep it for ever.
        new (std::nothrow) std::shared_ptr<std::thread>(std::move(thread));
        return;
    }
    if (thread->joinable()) thread->join();
    thread.reset();
}
