#include "collector/Fleet.h"

#include <gtest/gtest.h>

#include "unit/collector/Samples.h"

namespace collector {
namespace {

using K = Notice::Kind;

const Source mainConnection{"demo", "0000000a"};
const Source backupConnection{"demo", "0000000b"};

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
        return fleet.Receive({source, command, DownTopic(source, command)},
                             ReadUplink(command, payload, head), now);
    }
    Outcome Beat(const Source& source, Millis now, bool full = false) {
        ++order;
        const std::string body = full ? samples::idle : samples::keepAlive;
        const std::string fresh = body.substr(0, body.find("\"order\":") + 8) + std::to_string(order) +
                                  body.substr(body.find(',', body.find("\"order\":")));
        return Send(source, kHeartbeatCommand, fresh, now);
    }
    Outcome Presence(const Source& source, bool online, Millis now) {
        const char* payload = online ? R"({"online":true})" : R"({"online":false})";
        return fleet.Receive({source, std::nullopt, {}}, ReadPresence(payload), now);
    }
    Outcome Record(int type, const std::string& body, Millis now = 0) {
        return Send(mainConnection, kStreamCommand, body, now, samples::Head(std::to_string(++mid), type));
    }
    const Broadcaster& Demo() { return fleet.Broadcasters().at("demo"); }
    const Connection& Of(const Source& source) { return Demo().connections.at(source.connection); }

    Fleet fleet{FleetRules{15000, 0}};
    int order = 1000;
    int mid = 0;
};

TEST(Dark, ASilenceIsDarkFromAKeepAliveOn) {
    EXPECT_FALSE(IsDark(14999, 15000));
    EXPECT_TRUE(IsDark(15000, 15000));
    EXPECT_TRUE(IsDark(15001, 15000));
}

TEST_F(FleetTest, AnUnknownBroadcasterIsAskedForAFullHeartbeatOnItsFirstKeepAlive) {
    const Outcome outcome = Beat(mainConnection, 0);
    EXPECT_EQ(Kinds(outcome.before), std::vector<K>{K::Joined});
    EXPECT_EQ(Kinds(outcome.after), std::vector<K>{K::AskedForState});
    ASSERT_EQ(outcome.answers.size(), 1U);
    EXPECT_EQ(outcome.answers[0].topic, "qolive/demo/0000000a/down/2");
    EXPECT_EQ(outcome.answers[0].payload, R"({"type":3})");
}

TEST_F(FleetTest, ABroadcasterThatBeginsWithAFullHeartbeatIsNotAsked) {
    EXPECT_TRUE(Beat(mainConnection, 0, true).answers.empty());
    EXPECT_TRUE(Beat(mainConnection, 3000).answers.empty());
}

TEST_F(FleetTest, TheStateHeardOnOneConnectionIsKnownForAll) {
    Beat(mainConnection, 0, true);
    const Outcome outcome = Beat(backupConnection, 10);
    EXPECT_TRUE(outcome.answers.empty());
    EXPECT_TRUE(outcome.before.empty());
    EXPECT_EQ(fleet.Broadcasters().size(), 1U);
    EXPECT_EQ(Demo().connections.size(), 2U);
}

TEST_F(FleetTest, TheQuestionIsRepeatedNoSoonerThanEveryThreeSeconds) {
    EXPECT_EQ(Beat(mainConnection, 0).answers.size(), 1U);
    EXPECT_EQ(Beat(backupConnection, 2999).answers.size(), 0U);
    EXPECT_EQ(Beat(mainConnection, 3000).answers.size(), 1U);
}

TEST_F(FleetTest, AResponseTopicOfAnotherIsNeverAnswered) {
    for (const std::string& foreign :
         {std::string(), DownTopic(backupConnection, 2), DownTopic(mainConnection, 4),
          std::string("qolive/+/+/down/2"), std::string("$SYS/x")}) {
        Fleet fresh{FleetRules{}};
        const Outcome outcome = fresh.Receive({mainConnection, kHeartbeatCommand, foreign},
                                              ReadUplink(kHeartbeatCommand, samples::keepAlive, {}), 0);
        EXPECT_TRUE(outcome.answers.empty());
        EXPECT_EQ(Kinds(outcome.after), std::vector<K>{K::NoAnswer});
    }
}

TEST_F(FleetTest, AConnectionGoesDarkAfterAKeepAliveOfSilence) {
    Beat(mainConnection, 1000, true);
    EXPECT_TRUE(fleet.Tick(15999).empty());
    const std::vector<Notice> notices = fleet.Tick(16000);
    EXPECT_EQ(Kinds(notices), (std::vector<K>{K::WentSilent, K::AllDark}));
    EXPECT_EQ(notices[0].duration, 15000);
    EXPECT_TRUE(fleet.Tick(16001).empty()) << "it is told once";
    EXPECT_EQ(Of(mainConnection).link, Link::Silent);
}

TEST_F(FleetTest, ABroadcasterIsDarkOnlyWhenItsLastConnectionIs) {
    Beat(mainConnection, 0, true);
    Beat(backupConnection, 5000, true);
    EXPECT_EQ(Kinds(fleet.Tick(15000)), std::vector<K>{K::WentSilent});
    EXPECT_EQ(Kinds(fleet.Tick(20000)), (std::vector<K>{K::WentSilent, K::AllDark}));
}

TEST_F(FleetTest, ALastWillMakesItsConnectionDarkAtOnce) {
    Beat(mainConnection, 0, true);
    Beat(backupConnection, 0, true);
    EXPECT_TRUE(Presence(mainConnection, false, 100).after.empty());
    EXPECT_EQ(Of(mainConnection).link, Link::Gone);
    EXPECT_EQ(Kinds(Presence(backupConnection, false, 200).after), std::vector<K>{K::AllDark});
    EXPECT_TRUE(fleet.Tick(100000).empty()) << "what is gone is not silent as well";
}

TEST_F(FleetTest, AConnectionComesBackWithItsNextWord) {
    Beat(mainConnection, 0, true);
    fleet.Tick(15000);
    const Outcome outcome = Beat(mainConnection, 20000);
    EXPECT_EQ(Kinds(outcome.before), std::vector<K>{K::CameBack});
    EXPECT_EQ(outcome.before[0].duration, 20000);
    EXPECT_EQ(Of(mainConnection).link, Link::Up);

    Presence(mainConnection, false, 21000);
    EXPECT_EQ(Kinds(Presence(mainConnection, true, 22000).before), std::vector<K>{K::CameBack});
}

TEST_F(FleetTest, AFullHeartbeatThatSaysNothingNewIsKnown) {
    EXPECT_FALSE(Beat(mainConnection, 0, true).unchanged);
    EXPECT_TRUE(Beat(backupConnection, 10, true).unchanged);
    EXPECT_FALSE(Send(mainConnection, kHeartbeatCommand, samples::live, 3000).unchanged);
    EXPECT_FALSE(Beat(mainConnection, 6000, true).unchanged);
}

TEST_F(FleetTest, TheStateOfADarkBroadcasterIsForgotten) {
    Beat(mainConnection, 0, true);
    fleet.Tick(15000);
    EXPECT_EQ(Beat(mainConnection, 20000).answers.size(), 1U);
}

TEST_F(FleetTest, AnOfflineWordOfAnUnknownConnectionIsNoNews) {
    EXPECT_TRUE(Presence(mainConnection, false, 0).before.empty());
    EXPECT_TRUE(fleet.Broadcasters().empty());
}

TEST_F(FleetTest, SilenceWhileTheCollectorWasCutOffIsNobodys) {
    Beat(mainConnection, 0, true);
    fleet.ListenAgain(60000);
    EXPECT_TRUE(fleet.Tick(74999).empty());
    EXPECT_FALSE(fleet.Tick(75000).empty());
    EXPECT_EQ(Beat(mainConnection, 76000).before.at(0).duration, 76000);
}

TEST_F(FleetTest, GapsBetweenHeartbeatsAreMeasuredPerConnection) {
    EXPECT_FALSE(Beat(mainConnection, 0, true).sinceLast);
    Beat(backupConnection, 100);
    EXPECT_EQ(Beat(mainConnection, 3000).sinceLast, 3000);
    EXPECT_EQ(Beat(mainConnection, 10000).sinceLast, 7000);
    EXPECT_EQ(Beat(mainConnection, 13000).sinceLast, 3000);
    EXPECT_EQ(Of(mainConnection).counters.longestGap, 7000);
    EXPECT_EQ(Of(mainConnection).counters.full, 1);
    EXPECT_EQ(Of(mainConnection).counters.keepAlive, 3);
    EXPECT_EQ(Of(backupConnection).counters.longestGap, 0);
}

TEST_F(FleetTest, AHeartbeatThatComesTwiceCountsOnce) {
    EXPECT_FALSE(Send(mainConnection, kHeartbeatCommand, samples::idle, 0).repeated);
    const Outcome outcome = Send(mainConnection, kHeartbeatCommand, samples::idle, 10);
    EXPECT_TRUE(outcome.repeated);
    EXPECT_FALSE(outcome.sinceLast);
    EXPECT_EQ(Of(mainConnection).counters.full, 1);
    EXPECT_EQ(Of(mainConnection).counters.repeated, 1);
}

TEST_F(FleetTest, AMalformedMessageChangesNothingElse) {
    Beat(mainConnection, 0, true);
    const Outcome outcome = Send(mainConnection, kHeartbeatCommand, "nonsense", 10000);
    EXPECT_TRUE(outcome.before.empty());
    EXPECT_TRUE(outcome.after.empty());
    EXPECT_TRUE(outcome.answers.empty());
    EXPECT_EQ(fleet.Malformed(), 1);
    EXPECT_EQ(Of(mainConnection).lastHeard, 0);
    EXPECT_FALSE(fleet.Tick(15000).empty()) << "it is no sign of life";

    Send({"stranger", "0000000c"}, kHostCommand, "[]", 0);
    EXPECT_EQ(fleet.Broadcasters().count("stranger"), 0U);
}

TEST_F(FleetTest, CommandsAreCounted) {
    Send(mainConnection, kHostCommand, samples::command, 0);
    Send(mainConnection, kHostCommand, samples::command, 1);
    EXPECT_EQ(Of(mainConnection).counters.commands, 2);
}

TEST_F(FleetTest, AStreamRecordIsAccepted) {
    const Outcome outcome = Record(1, samples::StreamRecord("7", "show"));
    ASSERT_EQ(outcome.answers.size(), 1U);
    EXPECT_EQ(outcome.answers[0].topic, "qolive/demo/0000000a/down/5");
    EXPECT_EQ(outcome.answers[0].payload, R"({"type":1,"code":0})");
    EXPECT_EQ(outcome.stream, "show");
}

TEST_F(FleetTest, AStreamRecordIsRefusedWithTheCodeAskedFor) {
    fleet = Fleet(FleetRules{15000, -7});
    const Outcome outcome = Record(1, samples::StreamRecord("7", "show"));
    EXPECT_EQ(outcome.answers.at(0).payload, R"({"type":1,"code":-7})");
    EXPECT_EQ(outcome.after.at(0).number, -7);
}

TEST_F(FleetTest, ARepeatedMidIsDroppedAndCounted) {
    const std::string head = samples::Head("99", 1);
    Send(mainConnection, kStreamCommand, samples::StreamRecord("7", "show"), 0, head);
    const Outcome outcome = Send(mainConnection, kStreamCommand, samples::StreamRecord("7", "show"), 1, head);
    EXPECT_TRUE(outcome.repeated);
    EXPECT_TRUE(outcome.answers.empty());
    EXPECT_EQ(Demo().streams.at("7").starts, 1);
    EXPECT_EQ(Of(mainConnection).counters.streamMessages, 1);
    EXPECT_EQ(Of(mainConnection).counters.repeated, 1);
}

TEST_F(FleetTest, ARepeatIsKnownOnEveryConnectionOfTheBroadcaster) {
    const std::string head = samples::Head("99", 2);
    Send(mainConnection, kStreamCommand, samples::Quality(1, "7"), 0, head);
    EXPECT_TRUE(Send(backupConnection, kStreamCommand, samples::Quality(1, "7"), 1, head).repeated);
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
    Beat(mainConnection, 0, true);
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
    EXPECT_EQ(Record(4, samples::firstFrame).stream, "show");
    EXPECT_EQ(Demo().streams.at("7").firstFrames, 1);
}

TEST_F(FleetTest, StreamsThatWereRequestedAtTheSameTimeHaveOneFirstFrameEach) {
    Record(1, samples::StreamRecord("7", "show"));
    Record(1, samples::StreamRecord("8", "guest"));
    EXPECT_EQ(Record(4, samples::firstFrame).stream, "show");
    EXPECT_EQ(Record(4, samples::firstFrame).stream, "guest");
    EXPECT_EQ(Record(4, samples::firstFrame).stream, "show") << "one too many is shown all the same";
}

TEST_F(FleetTest, AFirstFrameOfAnUnknownStreamIsHarmless) {
    EXPECT_EQ(Record(4, samples::firstFrame).stream, "");
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
    for (int i = 0; i < 5000; ++i)
        Presence({"client-" + std::to_string(i), "0000000a"}, true, 2000 + i);
    EXPECT_EQ(fleet.Broadcasters().size(), 4096U);
}

TEST(SeenIds, TheOldestOfAThousandIsForgotten) {
    SeenIds ids;
    EXPECT_TRUE(ids.Insert("first"));
    for (int i = 0; i < 1023; ++i)
        EXPECT_TRUE(ids.Insert(std::to_string(i)));
    EXPECT_FALSE(ids.Insert("first"));
    EXPECT_TRUE(ids.Insert("one more"));
    EXPECT_TRUE(ids.Insert("first"));
}

}  // namespace
}  // namespace collector
