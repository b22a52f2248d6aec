#include "host/pipeline/FrameQueue.h"

#include <gtest/gtest.h>

#include <thread>

namespace host {

namespace {

TEST(FrameQueue, KeepsTheOrderOfBothKinds) {
    FrameQueue<int> queue(2, 2);
    EXPECT_EQ(queue.Push(MediaKind::Video, 1), Pushed::Taken);
    EXPECT_EQ(queue.Push(MediaKind::Audio, 2), Pushed::Taken);
    EXPECT_EQ(queue.Push(MediaKind::Video, 3), Pushed::Taken);
    EXPECT_EQ(queue.Pop(), std::make_pair(MediaKind::Video, 1));
    EXPECT_EQ(queue.Pop(), std::make_pair(MediaKind::Audio, 2));
    EXPECT_EQ(queue.Pop(), std::make_pair(MediaKind::Video, 3));
}

TEST(FrameQueue, EachKindIsBoundedByItself) {
    FrameQueue<int> queue(1, 2);
    EXPECT_EQ(queue.Push(MediaKind::Video, 1), Pushed::Taken);
    EXPECT_EQ(queue.Push(MediaKind::Video, 2), Pushed::Full);
    EXPECT_EQ(queue.Push(MediaKind::Audio, 3), Pushed::Taken);
    EXPECT_EQ(queue.Push(MediaKind::Audio, 4), Pushed::Taken);
    EXPECT_EQ(queue.Push(MediaKind::Audio, 5), Pushed::Full);
    EXPECT_EQ(queue.Pop()->second, 1);
    EXPECT_EQ(queue.Push(MediaKind::Video, 6), Pushed::Taken);
}

TEST(FrameQueue, ClosingWakesTheWaiterAndRefusesFrames) {
    FrameQueue<int> queue(1, 1);
    std::thread closer([&queue] { queue.Close(); });
    EXPECT_FALSE(queue.Pop().has_value());
    closer.join();
    EXPECT_EQ(queue.Push(MediaKind::Video, 1), Pushed::Closed);
}

TEST(FrameQueue, WhatAClosedQueueStillHoldsIsNotHandedOut) {
    FrameQueue<int> queue(1, 1);
    queue.Push(MediaKind::Video, 1);
    queue.Close();
    EXPECT_FALSE(queue.Pop().has_value());
}

}  // namespace

}  // namespace host
