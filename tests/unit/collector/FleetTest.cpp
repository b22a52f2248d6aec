#include "collector/model/Fleet.h"

#include <gtest/gtest.h>

#include "collector/model/Listening.h"
#include "unit/collector/Samples.h"

namespace collector {
namespace {

using K = Notice::Kind;

const Source kMainConnection{"demo", "0000000a"};
const Source kBackupConnection{"demo", "0000000b"};

std::vector<K> Kinds(const std::vector<Notice>& notices) {
    std::vector<K> kinds;
    kinds.reserve(notices.size());
    for (const Notice& notice : notices)
        kinds.push_back(notice.kind);
    return kinds;
}

class FleetTest : public testing::Test {
protected:
    Outcome Send(const Source& source, int command, const std::string& payload, Millis now,
                 const std::optional<std::string>& head = {}) {
        return m_fleet.Receive({source, command, DownTopic(source, command)},
                               ReadUplink(command, payload, head), now);
    }
    Outcome Beat(const Source& source, Millis now, bool full = false) {
        ++m_order;
        const std::string body = full ? samples::kIdle : samples::kKeepAlive;
        const std::string fresh = body.substr(0, body.find("\"order\":") + 8) + std::to_string(m_order) +
                                  body.substr(body.find(',', body.find("\"order\":")));
        return Send(source, kHeartbeatCommand, fresh, now);
    }
    Outcome Presence(const Source& source, bool online, Millis now) {
        const char* payload = online ? R"({"online":true})" : R"({"online":false})";
        return m_fleet.Receive({source, std::nullopt, {}}, ReadPresence(payload), now);
    }
    Outcome Record(int type, const std::string& body, Millis now = 0) {
        return Send(kMainConnection, kStreamCommand, body, now, samples::Head(std::to_string(++m_mid), type));
    }
    const Broadcaster& Demo() { return m_fleet.Broadcasters().at("demo"); }
    const Connection& Of(const Source& source) { return Demo().connections.at(source.connection); }

    Fleet m_fleet{FleetRules{15000, 0}};
    int m_order = 1000;
    int m_mid = 0;
};

TEST(Dark, ASilenceIsDarkFromAKeepAliveOn) {
    EXPECT_FALSE(IsDark(14999, 15000));
    EXPECT_TRUE(IsDark(15000, 15000));
    EXPECT_TRUE(IsDark(15001, 15000));
}

TEST_F(FleetTest, AnUnknownBroadcasterIsAskedForAFullHeartbeatOnItsFirstKeepAlive) {
    const Outcome outcome = Beat(kMainConnection, 0);
    EXPECT_EQ(Kinds(outcome.before), std::vector<K>{K::Joined});
    EXPECT_EQ(Kinds(outcome.after), std::vector<K>{K::AskedForState});
    ASSERT_EQ(outcome.answers.size(), 1U);
    EXPECT_EQ(outcome.answers[0].topic, "qolive/demo/0000000a/down/2");
    EXPECT_EQ(outcome.answers[0].payload, R"({"type":3})");
}

TEST_F(FleetTest, ABroadcasterThatBeginsWithAFullHeartbeatIsNotAsked) {
    EXPECT_TRUE(Beat(kMainConnection, 0, true).answers.empty());
    EXPECT_TRUE(Beat(kMainConnection, 3000).answers.empty());
}

TEST_F(FleetTest, TheStateHeardOnOneConnectionIsKnownForAll) {
    Beat(kMainConnection, 0, true);
    const Outcome outcome = Beat(kBackupConnection, 10);
    EXPECT_TRUE(outcome.answers.empty());
    EXPECT_TRUE(outcome.before.empty());
    EXPECT_EQ(m_fleet.Broadcasters().size(), 1U);
    EXPECT_EQ(Demo().connections.size(), 2U);
}

TEST_F(FleetTest, TheQuestionIsRepeatedNoSoonerThanEveryThreeSeconds) {
    EXPECT_EQ(Beat(kMainConnection, 0).answers.size(), 1U);
    EXPECT_EQ(Beat(kBackupConnection, 2999).answers.size(), 0U);
    EXPECT_EQ(Beat(kMainConnection, 3000).answers.size(), 1U);
}

TEST_F(FleetTest, AResponseTopicOfAnotherIsNeverAnswered) {
    for (const std::string& foreign :
         {std::string(), DownTopic(kBackupConnection, 2), DownTopic(kMainConnection, 4),
          std::string("qolive/+/+/down/2"), std::string("$SYS/x")}) {
        Fleet fresh{FleetRules{}};
        const Outcome outcome = fresh.Receive({kMainConnection, kHeartbeatCommand, foreign},
                                              ReadUplink(kHeartbeatCommand, samples::kKeepAlive, {}), 0);
        EXPECT_TRUE(outcome.answers.empty());
        EXPECT_EQ(Kinds(outcome.after), std::vector<K>{K::NoAnswer});
    }
}

TEST_F(FleetTest, AConnectionGoesDarkAfterAKeepAliveOfSilence) {
    Beat(kMainConnection, 1000, true);
    EXPECT_TRUE(m_fleet.Tick(15999).empty());
    const std::vector<Notice> notices = m_fleet.Tick(16000);
    EXPECT_EQ(Kinds(notices), (std::vector<K>{K::WentSilent, K::AllDark}));
    EXPECT_EQ(notices[0].duration, 15000);
    EXPECT_TRUE(m_fleet.Tick(16001).empty()) << "it is told once";
    EXPECT_EQ(Of(kMainConnection).link, Link::Silent);
}

TEST_F(FleetTest, ABroadcasterIsDarkOnlyWhenItsLastConnectionIs) {
    Beat(kMainConnection, 0, true);
    Beat(kBackupConnection, 5000, true);
    EXPECT_EQ(Kinds(m_fleet.Tick(15000)), std::vector<K>{K::WentSilent});
    EXPECT_EQ(Kinds(m_fleet.Tick(20000)), (std::vector<K>{K::WentSilent, K::AllDark}));
}

TEST_F(FleetTest, SilenceIsToldInTheOrderOfTheLastWords) {
    Beat(kMainConnection, 0, true);
    Beat({"other", "0000000c"}, 1000, true);
    Beat(kBackupConnection, 2000);
    Beat(kMainConnection, 3000);
    std::vector<std::string> silent;
    for (const Notice& notice : m_fleet.Tick(18000))
        if (notice.kind == K::WentSilent) silent.push_back(notice.source.connection);
    EXPECT_EQ(silent, (std::vector<std::string>{"0000000c", "0000000b", "0000000a"}));
}

TEST_F(FleetTest, AConnectionThatSpeaksIsNeverSilentHoweverOftenItIsLookedAt) {
    for (Millis now = 0; now < 200000; now += 1000) {
        if (now % 3000 == 0) Beat(kMainConnection, now, now == 0);
        EXPECT_TRUE(m_fleet.Tick(now).empty()) << now;
    }
    EXPECT_TRUE(m_fleet.Tick(198000 + 14999).empty());
    EXPECT_EQ(Kinds(m_fleet.Tick(198000 + 15000)), (std::vector<K>{K::WentSilent, K::AllDark}));
}

TEST_F(FleetTest, AConnectionThatCameBackGoesSilentAgain) {
    Beat(kMainConnection, 0, true);
    EXPECT_EQ(m_fleet.Tick(15000).size(), 2U);
    Beat(kMainConnection, 20000, true);
    EXPECT_TRUE(m_fleet.Tick(34999).empty());
    EXPECT_EQ(m_fleet.Tick(35000).size(), 2U);
    Beat(kMainConnection, 40000, true);
    Presence(kMainConnection, false, 41000);
    Presence(kMainConnection, true, 42000);
    EXPECT_TRUE(m_fleet.Tick(56999).empty());
    EXPECT_EQ(m_fleet.Tick(57000).size(), 2U);
}

TEST_F(FleetTest, WhatWasForgottenIsNotToldAsSilent) {
    for (int i = 0; i < 100; ++i) {
        char id[9];
        std::snprintf(id, sizeof id, "%08x", i);
        Beat({"demo", id}, i);
    }
    EXPECT_EQ(m_fleet.Tick(20000).size(), Demo().connections.size() + 1);
}

TEST_F(FleetTest, ALastWillMakesItsConnectionDarkAtOnce) {
    Beat(kMainConnection, 0, true);
    Beat(kBackupConnection, 0, true);
    EXPECT_TRUE(Presence(kMainConnection, false, 100).after.empty());
    EXPECT_EQ(Of(kMainConnection).link, Link::Gone);
    EXPECT_EQ(Kinds(Presence(kBackupConnection, false, 200).after), std::vector<K>{K::AllDark});
    EXPECT_TRUE(m_fleet.Tick(100000).empty()) << "what is gone is not silent as well";
}

TEST_F(FleetTest, AConnectionComesBackWithItsNextWord) {
    Beat(kMainConnection, 0, true);
    m_fleet.Tick(15000);
    const Outcome outcome = Beat(kMainConnection, 20000);
    EXPECT_EQ(Kinds(outcome.before), std::vector<K>{K::CameBack});
    EXPECT_EQ(outcome.before[0].duration, 20000);
    EXPECT_EQ(Of(kMainConnection).link, Link::Up);

    Presence(kMainConnection, false, 21000);
    EXPECT_EQ(Kinds(Presence(kMainConnection, true, 22000).before), std::vector<K>{K::CameBack});
}

TEST_F(FleetTest, AFullHeartbeatThatSaysNothingNewIsKnown) {
    EXPECT_FALSE(Beat(kMainConnection, 0, true).unchanged);
    EXPECT_TRUE(Beat(kBackupConnection, 10, true).unchanged);
    EXPECT_FALSE(Send(kMainConnection, kHeartbeatCommand, samples::kLive, 3000).unchanged);
    EXPECT_FALSE(Beat(kMainConnection, 6000, true).unchanged);
}

TEST_F(FleetTest, TheStateOfADarkBroadcasterIsForgotten) {
    Beat(kMainConnection, 0, true);
    m_fleet.Tick(15000);
    EXPECT_EQ(Beat(kMainConnection, 20000).answers.size(), 1U);
}

TEST_F(FleetTest, AnOfflineWordOfAnUnknownConnectionIsNoNews) {
    EXPECT_TRUE(Presence(kMainConnection, false, 0).before.empty());
    EXPECT_TRUE(m_fleet.Broadcasters().empty());
}

TEST_F(FleetTest, SilenceWhileTheCollectorWasCutOffIsNobodys) {
    Beat(kMainConnection, 0, true);
    m_fleet.ListenAgain(60000);
    EXPECT_TRUE(m_fleet.Tick(74999).empty());
    EXPECT_FALSE(m_fleet.Tick(75000).empty());
    EXPECT_EQ(Beat(kMainConnection, 76000).before.at(0).duration, 76000);
}

TEST(Listening, ASecondWithoutAGlanceIsMissed) {
    Listening listening(100);
    EXPECT_EQ(listening.Missed(1099), 0);
    EXPECT_EQ(listening.Missed(2099), 1000);
    EXPECT_EQ(listening.Missed(3100), 1001);
    EXPECT_EQ(listening.Missed(3101), 0);
}

TEST_F(FleetTest, TimeInWhichTheCollectorDidNotListenIsNobodysSilence) {
    Beat(kMainConnection, 0, true);
    Beat(kBackupConnection, 1000);
    m_fleet.Miss(18000);
    EXPECT_TRUE(m_fleet.Tick(18000 + 14999).empty());
    EXPECT_EQ(Beat(kBackupConnection, 18000 + 14999).sinceLast, 18000 + 13999) << "the gap is what it was";
    const std::vector<Notice> notices = m_fleet.Tick(18000 + 15000);
    ASSERT_EQ(Kinds(notices), std::vector<K>{K::WentSilent});
    EXPECT_EQ(notices[0].source, kMainConnection);
    EXPECT_EQ(notices[0].duration, 15000);
    EXPECT_EQ(Kinds(m_fleet.Tick(18000 + 29999)), (std::vector<K>{K::WentSilent, K::AllDark}));
}

TEST_F(FleetTest, GapsBetweenHeartbeatsAreMeasuredPerConnection) {
    EXPECT_FALSE(Beat(kMainConnection, 0, true).sinceLast);
    Beat(kBackupConnection, 100);
    EXPECT_EQ(Beat(kMainConnection, 3000).sinceLast, 3000);
    EXPECT_EQ(Beat(kMainConnection, 10000).sinceLast, 7000);
    EXPECT_EQ(Beat(kMainConnection, 13000).sinceLast, 3000);
    EXPECT_EQ(Of(kMainConnection).counters.longestGap, 7000);
    EXPECT_EQ(Of(kMainConnection).counters.full, 1);
    EXPECT_EQ(Of(kMainConnection).counters.keepAlive, 3);
    EXPECT_EQ(Of(kBackupConnection).counters.longestGap, 0);
}

TEST_F(FleetTest, AHeartbeatThatComesTwiceCountsOnce) {
    EXPECT_FALSE(Send(kMainConnection, kHeartbeatCommand, samples::kIdle, 0).repeated);
    const Outcome outcome = Send(kMainConnection, kHeartbeatCommand, samples::kIdle, 10);
    EXPECT_TRUE(outcome.repeated);
    EXPECT_FALSE(outcome.sinceLast);
    EXPECT_EQ(Of(kMainConnection).counters.full, 1);
    EXPECT_EQ(Of(kMainConnection).counters.repeated, 1);
}

TEST_F(FleetTest, AMalformedMessageChangesNothingElse) {
    Beat(kMainConnection, 0, true);
    const Outcome outcome = Send(kMainConnection, kHeartbeatCommand, "nonsense", 10000);
    EXPECT_TRUE(outcome.before.empty());
    EXPECT_TRUE(outcome.after.empty());
    EXPECT_TRUE(outcome.answers.empty());
    EXPECT_EQ(m_fleet.Malformed(), 1);
    EXPECT_EQ(Of(kMainConnection).lastHeard, 0);
    EXPECT_FALSE(m_fleet.Tick(15000).empty()) << "it is no sign of life";

    Send({"stranger", "0000000c"}, kHostCommand, "[]", 0);
    EXPECT_EQ(m_fleet.Broadcasters().count("stranger"), 0U);
}

TEST_F(FleetTest, ARetainedMessageIsNoSignOfLife) {
    const auto retained = [&](const Message& message, std::optional<int> command, Millis now) {
        return m_fleet.Receive({kMainConnection, command, DownTopic(kMainConnection, 2), true}, message, now);
    };
    EXPECT_TRUE(retained(ReadPresence(R"({"online":true})"), std::nullopt, 0).before.empty());
    EXPECT_TRUE(retained(ReadUplink(2, samples::kKeepAlive, {}), kHeartbeatCommand, 0).answers.empty());
    EXPECT_TRUE(m_fleet.Broadcasters().empty());

    Beat(kMainConnection, 1000, true);
    retained(ReadPresence(R"({"online":false})"), std::nullopt, 2000);
    EXPECT_EQ(Of(kMainConnection).link, Link::Up);
    retained(ReadUplink(2, samples::kKeepAlive, {}), kHeartbeatCommand, 15000);
    EXPECT_EQ(m_fleet.Tick(16000).size(), 2U);
}

TEST_F(FleetTest, CommandsAreCounted) {
    Send(kMainConnection, kHostCommand, samples::kCommand, 0);
    Send(kMainConnection, kHostCommand, samples::kCommand, 1);
    EXPECT_EQ(Of(kMainConnection).counters.commands, 2);
}

TEST_F(FleetTest, AStreamRecordIsAccepted) {
    const Outcome outcome = Record(1, samples::StreamRecord("7", "show"));
    ASSERT_EQ(outcome.answers.size(), 1U);
    EXPECT_EQ(outcome.answers[0].topic, "qolive/demo/0000000a/down/5");
    EXPECT_EQ(outcome.answers[0].payload, R"({"type":1,"code":0})");
    EXPECT_EQ(outcome.stream, "show");
}

TEST_F(FleetTest, AStreamRecordIsRefusedWithTheCodeAskedFor) {
    m_fleet = Fleet(FleetRules{15000, -7});
    const Outcome outcome = Record(1, samples::StreamRecord("7", "show"));
    EXPECT_EQ(outcome.answers.at(0).payload, R"({"type":1,"code":-7})");
    EXPECT_EQ(outcome.after.at(0).number, -7);
}

TEST_F(FleetTest, WhoOnlyWatchesAnswersNobody) {
    m_fleet = Fleet(FleetRules{15000, 0, true});
    const Outcome beat = Beat(kMainConnection, 0);
    const Outcome record = Record(1, samples::StreamRecord("7", "show"));
    EXPECT_TRUE(beat.answers.empty() && beat.after.empty());
    EXPECT_TRUE(record.answers.empty() && record.after.empty());
    EXPECT_EQ(Demo().streams.at("7").starts, 1);
}

TEST_F(FleetTest, ARepeatedMidIsDroppedAndCounted) {
    const std::string head = samples::Head("99", 1);
    Send(kMainConnection, kStreamCommand, samples::StreamRecord("7", "show"), 0, head);
    const Outcome outcome =
        Send(kMainConnection, kStreamCommand, samples::StreamRecord("7", "show"), 1, head);
    EXPECT_TRUE(outcome.repeated);
    EXPECT_TRUE(outcome.answers.empty());
    EXPECT_EQ(Demo().streams.at("7").starts, 1);
    EXPECT_EQ(Of(kMainConnection).counters.streamMessages, 1);
    EXPECT_EQ(Of(kMainConnection).counters.repeated, 1);
}

TEST_F(FleetTest, ARepeatIsKnownOnEveryConnectionOfTheBroadcaster) {
    const std::string head = samples::Head("99", 2);
    Send(kMainConnection, kStreamCommand, samples::Quality(1, "7"), 0, head);
    EXPECT_TRUE(Send(kBackupConnection, kStreamCommand, samples::Quality(1, "7"), 1, head).repeated);
    EXPECT_FALSE(Send({"other", "0000000c"}, kStreamCommand, samples::Quality(1, "7"), 1, head).repeated);
}

TEST_F(FleetTest, MissingQualityRecordsAreCountedByTheirNumbers) {
    Record(1, samples::StreamRecord("7", "show"));
    EXPECT_TRUE(Record(2, samples::Quality(1, "7")).before.empty());
    EXPECT_TRUE(Record(2, samples::Quality(2, "7")).before.empty());
    const Outcome outcome = Record(2, samples::Quality(5, "7"));
    ASSERT_EQ(Kinds(outcome.before), std::vector<K>{K::LostRecords});
    EXPECT_EQ(outcome.before[0].number, 2);
    EXPECT_EQ(outcome.before[0].stream, "show");
    EXPECT_EQ(Demo().streams.at("7").lost, 2);
    EXPECT_EQ(Demo().streams.at("7").qualityRecords, 3);
    EXPECT_EQ(Demo().streams.at("7").samples, 3);
}

TEST_F(FleetTest, TheFirstNumberIsExpectedToBeOneOnlyWhenTheStreamsStartWasSeen) {
    Beat(kMainConnection, 0, true);
    EXPECT_TRUE(Record(2, samples::Quality(9, "unseen")).before.empty());
    Record(1, samples::StreamRecord("7", "show"));
    EXPECT_EQ(Record(2, samples::Quality(3, "7")).before.at(0).number, 2);
}

TEST_F(FleetTest, AStreamThatBeginsAgainLosesNothing) {
    Record(1, samples::StreamRecord("7", "show"));
    Record(2, samples::Quality(1, "7"));
    Record(2, samples::Quality(2, "7"));
    Record(1, samples::StreamRecord("7", "show"));
    EXPECT_TRUE(Record(2, samples::Quality(1, "7")).before.empty());
    Record(1, samples::StreamRecord("7", "show"));
    EXPECT_TRUE(Record(2, samples::Quality(2, "7")).before.empty()) << "the same stream, announced once more";
    EXPECT_EQ(Demo().streams.at("7").lost, 0);
}

TEST_F(FleetTest, AFirstFrameBelongsToTheStreamWithItsRequestTime) {
    Record(1, samples::StreamRecord("7", "show"));
    EXPECT_EQ(Record(4, samples::kFirstFrame).stream, "show");
    EXPECT_EQ(Demo().streams.at("7").firstFrames, 1);
}

TEST_F(FleetTest, StreamsThatWereRequestedAtTheSameTimeHaveOneFirstFrameEach) {
    Record(1, samples::StreamRecord("7", "show"));
    Record(1, samples::StreamRecord("8", "guest"));
    EXPECT_EQ(Record(4, samples::kFirstFrame).stream, "show");
    EXPECT_EQ(Record(4, samples::kFirstFrame).stream, "guest");
    EXPECT_EQ(Record(4, samples::kFirstFrame).stream, "show") << "one too many is shown all the same";
}

TEST_F(FleetTest, AFirstFrameOfAnUnknownStreamIsHarmless) {
    EXPECT_EQ(Record(4, samples::kFirstFrame).stream, "");
    EXPECT_TRUE(Demo().streams.empty());
}

TEST_F(FleetTest, AFloodOfNamesIsBounded) {
    for (int i = 0; i < 1000; ++i) {
        char id[9];
        std::snprintf(id, sizeof id, "%08x", i);
        Beat({"demo", id}, i);
        Record(2, samples::Quality(1, "stream-" + std::to_string(i)), i);
    }
    EXPECT_LE(Demo().connections.size(), 32U);
    EXPECT_LE(Demo().streams.size(), 256U);
    EXPECT_EQ(Demo().connections.count("000003e7"), 1U) << "the latest is kept";
}

TEST_F(FleetTest, WhoSendsTooMuchIsNotReadAndIsNoLessAlive) {
    Beat(kMainConnection, 0, true);
    Beat(kBackupConnection, 0, true);
    std::vector<Notice> notices;
    for (int i = 0; i < 10; ++i)
        m_fleet.MayBeRead(kMainConnection, 1U << 20U, 1000, notices);
    ASSERT_EQ(Kinds(notices), std::vector<K>{K::TooMuch});
    EXPECT_EQ(notices[0].source, kMainConnection);
    EXPECT_FALSE(m_fleet.MayBeRead(kMainConnection, 1U << 20U, 5000, notices));
    EXPECT_TRUE(m_fleet.MayBeRead({"other", "0000000c"}, 1U << 20U, 5000, notices));
    EXPECT_EQ(Kinds(m_fleet.Tick(19999)), std::vector<K>{K::WentSilent}) << "the backup connection";
    EXPECT_EQ(Kinds(m_fleet.Tick(20000)), (std::vector<K>{K::WentSilent, K::AllDark}));
    EXPECT_FALSE(m_fleet.MayBeRead(kMainConnection, 9U << 20U, 21000, notices));
    EXPECT_EQ(Of(kMainConnection).link, Link::Silent) << "only what is read brings it back";
}

class CrowdedTest : public FleetTest {
protected:
    CrowdedTest() {
        FleetRules rules;
        rules.mostBroadcasters = 3;
        m_fleet = Fleet(rules);
    }
    Outcome Hear(const std::string& client, Millis now) { return Beat({client, "0000000a"}, now); }
    void HearFor(const std::string& client, Millis begin, Millis end) {
        for (Millis now = begin; now <= end; now += 3000)
            Hear(client, now);
    }
    std::string Known() const {
        std::string names;
        for (const auto& [client, broadcaster] : m_fleet.Broadcasters())
            names += client + ".";
        return names;
    }
};

TEST_F(CrowdedTest, WhatIsUpIsNeverForgotten) {
    for (const char* client : {"a", "b", "c"})
        Hear(client, 0);
    const Outcome outcome = Hear("d", 1);
    EXPECT_EQ(Kinds(outcome.before), std::vector<K>{K::Crowded});
    EXPECT_TRUE(outcome.answers.empty());
    EXPECT_EQ(Known(), "a.b.c.");
}

TEST_F(CrowdedTest, ItIsToldOnceAMinute) {
    for (const char* client : {"a", "b", "c"})
        Hear(client, 0);
    EXPECT_EQ(Hear("d", 100).before.at(0).number, 1);
    EXPECT_TRUE(Hear("e", 200).before.empty());
    EXPECT_TRUE(Hear("d", 60099).before.empty());
    EXPECT_EQ(Hear("d", 60100).before.at(0).number, 3);
}

TEST_F(CrowdedTest, NamesThatWereHeardForAMomentMakeRoomBeforeTheOthers) {
    HearFor("real", 0, 15000);
    Hear("made-up", 16000);
    Hear("made-up-too", 17000);
    m_fleet.Tick(40000);
    Hear("next", 41000);
    EXPECT_EQ(Known(), "made-up-too.next.real.");
    Hear("after", 42000);
    EXPECT_EQ(Known(), "after.next.real.");
    Hear("one-more", 43000);
    EXPECT_EQ(Known(), "after.next.real.") << "a name that nobody knows takes no place of one that was there";
}

TEST_F(CrowdedTest, ItTakesAKeepAliveToBeMoreThanAMoment) {
    Hear("short", 0);
    Hear("short", 14999);
    Hear("real", 0);
    Hear("real", 15000);
    Hear("up", 20000);
    m_fleet.Tick(30001);
    Hear("next", 30002);
    EXPECT_EQ(Known(), "next.real.up.");
}

TEST_F(CrowdedTest, AfterADayOfDarknessTheLongestDarkMakesRoom) {
    constexpr Millis kDay = 86400000;
    HearFor("old", 0, 15000);
    HearFor("older", 0, 15000);
    Hear("old", 16000);
    m_fleet.Tick(30000);
    m_fleet.Tick(31000);
    Hear("up", 40000);
    Hear("next", 30000 + kDay - 1);
    EXPECT_EQ(Known(), "old.older.up.");
    Hear("next", 30000 + kDay);
    EXPECT_EQ(Known(), "next.old.up.");
}

TEST_F(CrowdedTest, WhoCameBackIsNotForgotten) {
    for (const char* client : {"a", "b", "c"})
        Hear(client, 0);
    m_fleet.Tick(15000);
    Hear("a", 16000);
    Presence({"b", "0000000a"}, false, 17000);
    Presence({"b", "0000000a"}, true, 18000);
    Hear("d", 19000);
    Hear("e", 19000);
    EXPECT_EQ(Known(), "a.b.d.");
}

TEST_F(CrowdedTest, AFloodOfNamesIsAnsweredForTheFirstAlone) {
    std::size_t answers = 0;
    for (int i = 0; i < 5000; ++i)
        answers += Hear("client-" + std::to_string(i), i).answers.size();
    EXPECT_EQ(answers, 3U);
    EXPECT_EQ(m_fleet.Broadcasters().size(), 3U);
}

TEST(SeenIds, TheOldestAreForgotten) {
    SeenIds ids(16);
    for (std::uint64_t id = 0; id < 16; ++id)
        EXPECT_TRUE(ids.Insert(id));
    EXPECT_FALSE(ids.Insert(0));
    EXPECT_FALSE(ids.Insert(15));
    EXPECT_TRUE(ids.Insert(16));
    EXPECT_TRUE(ids.Insert(0)) << "was the oldest";
    EXPECT_FALSE(ids.Insert(2));
    EXPECT_FALSE(ids.Insert(16));
}

}  // namespace
}  // namespace collector
