#include "platform/LibraryThread.h"

#include <utility>

std::shared_ptr<std::thread> StartLibraryThread(std::function<void()> work) {
    return std::make_shared<std::thread>(std::move(work));
}
