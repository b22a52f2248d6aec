#include <gtest/gtest.h>

#include <atomic>
#include <new>
#include <string>

#include "fakes/CapturingLog.h"
#include "platform/DetachedThread.h"
#include "platform/Log.h"

// What asks for memory and takes no for an answer.

namespace {

std::atomic<bool> isShort{false};

struct Shortage {
    Shortage() { isShort = true; }
    ~Shortage() { isShort = false; }
    Shortage(const Shortage&) = delete;
    Shortage& operator=(const Shortage&) = delete;
};

TEST(ShortMemory, AThreadThatItIsTooShortForIsNotStarted) {
    std::atomic<bool> ran{false};
    std::function<void()> work = [&ran] { ran = true; };
    const Shortage shortage;
    EXPECT_FALSE(StartDetachedThread(std::move(work)));
    EXPECT_FALSE(ran);
}

TEST(ShortMemory, ALongLineThatItIsTooShortForIsDroppedAndAShortOneIsNot) {
    const fakes::CapturingLog log;
    const std::string text(5000, 'x');
    {
        const Shortage shortage;
        Log(LogLevel::Info, "%s", text.c_str());
        Log(LogLevel::Info, "short");
        Log(LogLevel::Info, "%s", "");
    }
    EXPECT_EQ(log.texts(), (std::vector<std::string>{"short", ""}));
}

}  // namespace

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    if (isShort) return nullptr;
    try {
        return ::operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    if (isShort) return nullptr;
    try {
        return ::operator new[](size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
