#include "host/RunFigures.h"

#include <gtest/gtest.h>

#include "fakes/FakeMsgCenter.h"
#include "message_center/CMsgCenterFactory.h"

namespace host {
namespace {

TEST(RunFigures, AreShortWhereNothingWentWrong) {
    Bas::CenterCounters counters;
    counters.accepted = 25;
    counters.acknowledged = 24;
    counters.waiting = 1;
    EXPECT_EQ(CenterText("main", {Bas::CenterState::Connected, "connected to a.example:8883 over TLS", 1000},
                         counters, 76'999),
              "main center: connected for 75 s\n"
              "  connected to a.example:8883 over TLS\n"
              "  messages: 25 taken, 24 acknowledged, 0 refused, 1 waiting\n");
}

TEST(RunFigures, TellWhatWentWrong) {
    Bas::CenterCounters counters;
    counters.accepted = 15;
    counters.refused = 5;
    counters.droppedUnusable = 1;
    counters.droppedLate = 2;
    counters.droppedAtReconnect = 3;
    counters.droppedAtStop = 4;
    counters.notAcceptedUnconnected = 6;
    counters.notAcceptedFull = 7;
    counters.reconnects = 8;
    EXPECT_EQ(CenterText("backup", {Bas::CenterState::Refused, "refused\n", 0}, counters, 5),
              "backup center: refused by the server\n"
              "  refused\\x0a\n"
              "  messages: 15 taken, 0 acknowledged, 5 refused, 0 waiting\n"
              "  dropped: 1 unusable, 2 too late, 3 at a reconnect, 4 at the stop\n"
              "  not taken: 6 without a connection, 7 as too much was waiting\n"
              "  connections: 8 made again\n");
}

TEST(RunFigures, HaveTheStateOfBeforeTheStopAndTheCountersOfAfterIt) {
    Bas::CMsgCenterFactory::Inst();
    using fakes::FakeMsgCenter;
    FakeMsgCenter::main().status({QoPlayer::MsgCenterState::Connected, "connected to m", 0});
    const RunFigures figures;
    FakeMsgCenter::main().status({QoPlayer::MsgCenterState::Stopped, "stopped", 0});
    QoPlayer::MsgCenterCounters counters;
    counters.droppedAtStop = 9;
    FakeMsgCenter::backup().counters(counters);
    EXPECT_EQ(figures.text(),
              "main center: connected\n"
              "  connected to m\n"
              "  messages: 0 taken, 0 acknowledged, 0 refused, 0 waiting\n"
              "backup center: unknown\n"
              "  messages: 0 taken, 0 acknowledged, 0 refused, 0 waiting\n"
              "  dropped: 9 at the stop\n"
              "records: 0 queued, 0 handed over, 0 lost, 0 waiting\n"
              "commands: 0 queued, 0 handed over, 0 dropped, 0 waiting\n");
}

TEST(RunFigures, TellWhatWaitsBeforeTheCenters) {
    EXPECT_EQ(QueuesText({9, 2, 3, 4, 1, 100, 5}, {8, 5, 2, 1}),
              "records: 9 queued, 2 handed over, 7 lost, 1 waiting\n"
              "commands: 8 queued, 5 handed over, 2 dropped, 1 waiting\n");
}

}  // namespace
}  // namespace host
