#include "mqtt/StatusBoard.h"
#include "support/WallClock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using QoPlayer::MsgCenterState;
using QoPlayer::mqtt::StatusBoard;

namespace {

struct Heard {
    std::vector<std::pair<MsgCenterState, std::string>> changes;
    StatusBoard* board = nullptr;

    static void listen(void* user, MsgCenterState state, const char* reason) {
        auto& self = *static_cast<Heard*>(user);
        self.changes.emplace_back(state, reason);
        EXPECT_EQ(self.board->get().reason, reason);  // no lock is held
    }
};

TEST(StatusBoard, BeginsStopped) {
    const std::int64_t before = support::WallMs();
    const StatusBoard board;
    EXPECT_EQ(board.state(), MsgCenterState::Stopped);
    EXPECT_EQ(board.get().reason, "not started");
    EXPECT_GE(board.get().sinceMs, before);
    EXPECT_LE(board.get().sinceMs, support::WallMs());
}

TEST(StatusBoard, TellsEachChangeOnceAndCanBeReadMeanwhile) {
    StatusBoard board;
    Heard heard;
    heard.board = &board;
    board.setListener(Heard::listen, &heard);
    board.set(MsgCenterState::Connecting, "starting");
    board.set(MsgCenterState::Connecting, "starting");
    board.set(MsgCenterState::Connecting, "cannot connect");
    board.set(MsgCenterState::Waiting, "cannot connect");
    EXPECT_EQ(heard.changes, (std::vector<std::pair<MsgCenterState, std::string>>{
                                 {MsgCenterState::Connecting, "starting"},
                                 {MsgCenterState::Connecting, "cannot connect"},
                                 {MsgCenterState::Waiting, "cannot connect"}}));
}

TEST(StatusBoard, WhatIsOnlyNotedIsToldWithTheNextSetting) {
    StatusBoard board;
    Heard heard;
    heard.board = &board;
    board.setListener(Heard::listen, &heard);
    board.note(MsgCenterState::Connecting, "starting");
    EXPECT_EQ(board.state(), MsgCenterState::Connecting);
    EXPECT_TRUE(heard.changes.empty());
    board.set(MsgCenterState::Connecting, "starting");
    EXPECT_EQ(heard.changes.size(), 1U);
    board.set(MsgCenterState::Connecting, "starting");
    EXPECT_EQ(heard.changes.size(), 1U);
}

TEST(StatusBoard, AStateIsAsOldAsItIsWhateverItsReason) {
    StatusBoard board;
    board.set(MsgCenterState::Connected, "a");
    const std::int64_t since = board.get().sinceMs;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    board.set(MsgCenterState::Connected, "b");
    EXPECT_EQ(board.get().sinceMs, since);
    EXPECT_EQ(board.get().reason, "b");
    board.set(MsgCenterState::Waiting, "b");
    EXPECT_GT(board.get().sinceMs, since);
}

}  // namespace
