#include "heartbeat/PauseHandshake.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

using live_heartbeat::PauseHandshake;

TEST(PauseHandshake, ThereIsNoCurrentThreadAtFirst) {
    PauseHandshake pause;
    for (const std::uint64_t id : {0U, 1U, 7U}) {
        EXPECT_FALSE(pause.isCurrent(id));
        EXPECT_FALSE(pause.beginPause(id));
        EXPECT_FALSE(pause.endPause(id));
    }
    EXPECT_FALSE(pause.giveUpThread());
    EXPECT_TRUE(pause.waitUntilAllLeft(0));
}

TEST(PauseHandshake, AStartedThreadIsCurrentAndMayPauseAgainAndAgain) {
    PauseHandshake pause;
    pause.threadStarted(7);
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(pause.isCurrent(7));
        EXPECT_TRUE(pause.beginPause(7));
        EXPECT_TRUE(pause.endPause(7));
    }
    EXPECT_TRUE(pause.isCurrent(7));
    EXPECT_FALSE(pause.isCurrent(8));
}

TEST(PauseHandshake, AThreadGivenUpOutsideItsPauseIsLetGo) {
    PauseHandshake pause;
    pause.threadStarted(7);
    EXPECT_FALSE(pause.giveUpThread());
    EXPECT_FALSE(pause.isCurrent(7));
    EXPECT_FALSE(pause.beginPause(7));
    EXPECT_FALSE(pause.giveUpThread());
}

TEST(PauseHandshake, AThreadGivenUpInItsPauseNeverLeavesIt) {
    PauseHandshake pause;
    pause.threadStarted(7);
    ASSERT_TRUE(pause.beginPause(7));
    EXPECT_TRUE(pause.giveUpThread());
    EXPECT_FALSE(pause.endPause(7));
    EXPECT_FALSE(pause.isCurrent(7));
    EXPECT_FALSE(pause.giveUpThread());
}

TEST(PauseHandshake, AThreadThatWasLetGoDoesNotTakeItselfForItsSuccessor) {
    PauseHandshake pause;
    pause.threadStarted(7);
    pause.giveUpThread();
    pause.threadStarted(8);
    EXPECT_FALSE(pause.isCurrent(7));
    EXPECT_FALSE(pause.beginPause(7));
    EXPECT_TRUE(pause.isCurrent(8));
    EXPECT_TRUE(pause.beginPause(8));
    EXPECT_FALSE(pause.endPause(7));
    EXPECT_TRUE(pause.endPause(8));
}

TEST(PauseHandshake, ACondemnedThreadDoesNotLeaveThroughThePauseOfItsSuccessor) {
    PauseHandshake pause;
    pause.threadStarted(7);
    ASSERT_TRUE(pause.beginPause(7));
    ASSERT_TRUE(pause.giveUpThread());
    pause.threadStarted(8);
    ASSERT_TRUE(pause.beginPause(8));
    EXPECT_FALSE(pause.endPause(7));
    EXPECT_TRUE(pause.endPause(8));
}

TEST(PauseHandshake, AThreadCountsUntilItHasLeftOrIsGivenUpInItsPause) {
    PauseHandshake pause;
    pause.threadStarted(7);
    pause.giveUpThread();
    EXPECT_FALSE(pause.waitUntilAllLeft(0));
    pause.threadStarted(8);
    pause.beginPause(8);
    EXPECT_TRUE(pause.giveUpThread());
    EXPECT_FALSE(pause.waitUntilAllLeft(2));
    pause.threadLeft();
    EXPECT_TRUE(pause.waitUntilAllLeft(0));
}

TEST(PauseHandshake, TheWaitEndsAsSoonAsTheLastThreadLeaves) {
    PauseHandshake pause;
    pause.threadStarted(7);
    std::thread thread([&pause] { pause.threadLeft(); });
    EXPECT_TRUE(pause.waitUntilAllLeft(20000));
    thread.join();
}

TEST(PauseHandshake, ExactlyOneSideDecidesHowAThreadEnds) {
    for (std::uint64_t id = 1; id <= 1000; ++id) {
        PauseHandshake pause;
        pause.threadStarted(id);
        std::atomic<bool> ready{false};
        bool condemned = false;
        std::thread thread([&] {
            ready = true;
            while (pause.beginPause(id)) {
                condemned = !pause.endPause(id);
                if (condemned) return;
                std::this_thread::yield();
            }
            pause.threadLeft();
        });
        while (!ready)
            std::this_thread::yield();
        const bool toBeTerminated = pause.giveUpThread();
        thread.join();
        ASSERT_EQ(condemned, toBeTerminated);
        ASSERT_TRUE(pause.waitUntilAllLeft(0));
    }
}

}  // namespace
