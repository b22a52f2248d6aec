#include "message_center/CMsgCenterFactory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "fakes/CapturingLog.h"
#include "fakes/FakeMsgCenter.h"
#include "platform/HostProcess.h"

namespace {

using Bas::CMsgCenterFactory;
using Bas::HeartBaseConfig;
using fakes::CapturingLog;
using fakes::FakeMsgCenter;
using fakes::StartedWith;

constexpr const char* kEntryLine = "[LiveState] CMsgCenterFactory::Start 1";
const std::string kFailedLine = "[LiveState] CMsgCenterFactory::Start failed: ";

std::string Gateway(const std::string& main, const std::string& backup, const std::string& rest = "") {
    return R"({"gatewayDns":{"main":)" + main + R"(,"backup":)" + backup + "}" + rest + "}";
}

const std::string& Usable() {
    static const std::string text = Gateway(R"(["m1:1","m2:2"])", R"(["b1:3"])");
    return text;
}

struct Factory : testing::Test {
    int start(const std::string& config, const HeartBaseConfig& base = {}) {
        return factory().Start(config, base);
    }
    CMsgCenterFactory& factory() { return *CMsgCenterFactory::Inst(); }
    StartedWith lastStart(FakeMsgCenter center) { return center.starts().back(); }

    /// The entry line is followed by one that says why.
    void expectNothingStarted(const std::string& config, const std::string& why = "") {
        const CapturingLog log;
        EXPECT_EQ(start(config), 0) << config;
        ASSERT_EQ(log.lines().size(), 2u) << config;
        EXPECT_EQ(log.lines()[0].text, kEntryLine);
        EXPECT_EQ(log.lines()[1].level, 2);
        const std::string line = log.lines()[1].text;
        EXPECT_EQ(line.compare(0, kFailedLine.size(), kFailedLine), 0) << line;
        EXPECT_TRUE(why.empty() || line == kFailedLine + why) << line;
        EXPECT_TRUE(FakeMsgCenter::main().starts().empty()) << config;
        EXPECT_TRUE(FakeMsgCenter::backup().starts().empty()) << config;
        EXPECT_FALSE(factory().IsMainCenterStartOK());
        EXPECT_FALSE(factory().IsHaveBKCenter());
    }
};

TEST_F(Factory, MakesBothCentersAndInstallsTheLogSinkOnFirstUse) {
    EXPECT_EQ(FakeMsgCenter::centersMade(), 0);
    EXPECT_EQ(fakes::CurrentSdkLogSink(), nullptr);
    CMsgCenterFactory& first = factory();
    EXPECT_EQ(FakeMsgCenter::centersMade(), 2);
    EXPECT_NE(fakes::CurrentSdkLogSink(), nullptr);
    EXPECT_EQ(FakeMsgCenter::centersMadeBeforeTheLogSink(), 0);
    EXPECT_EQ(&factory(), &first);
    EXPECT_NE(first.GetFactoryObj(true), nullptr);
    EXPECT_NE(first.GetFactoryObj(false), nullptr);
    EXPECT_NE(first.GetFactoryObj(true), first.GetFactoryObj(false));
    EXPECT_FALSE(first.IsHaveBKCenter());
    EXPECT_FALSE(first.IsMainCenterStartOK());
    EXPECT_EQ(FakeMsgCenter::centersMade(), 2);
}

TEST_F(Factory, StartStartsBothCentersOnTheirOwnLists) {
    EXPECT_EQ(start(Usable()), 1);
    EXPECT_TRUE(factory().IsMainCenterStartOK());
    EXPECT_TRUE(factory().IsHaveBKCenter());
    const StartedWith main = lastStart(FakeMsgCenter::main());
    ASSERT_EQ(main.addrs.size(), 2u);
    EXPECT_EQ(main.addrs[0].ip, "m1");
    EXPECT_EQ(main.addrs[0].port, 1);
    EXPECT_EQ(main.addrs[0].reserved, 0);
    EXPECT_EQ(main.addrs[1].ip, "m2");
    EXPECT_EQ(main.addrs[1].port, 2);
    const StartedWith backup = lastStart(FakeMsgCenter::backup());
    ASSERT_EQ(backup.addrs.size(), 1u);
    EXPECT_EQ(backup.addrs[0].ip, "b1");
    EXPECT_EQ(backup.addrs[0].port, 3);
}

TEST_F(Factory, WhatAHostDoesNotSetReachesTheCentersAsNothing) {
    const QoPlayer::MsgCenterConfig config;
    EXPECT_EQ(config.addrs, nullptr);
    EXPECT_EQ(config.addrCount, 0u);
    EXPECT_EQ(config.intValue1, 0);
    EXPECT_EQ(config.intValue2, 0);
    EXPECT_EQ(config.int64Value1, 0);
    EXPECT_EQ(config.int64Value2, 0);
    EXPECT_EQ(config.expireTime, 0);
    const QoPlayer::MsgCenterAddr addr;
    EXPECT_EQ(addr.ip, "0.0.0.0");
    EXPECT_EQ(addr.port, -1);
    EXPECT_EQ(addr.reserved, 0);
    ASSERT_EQ(start(Usable()), 1);
    for (const FakeMsgCenter center : {FakeMsgCenter::main(), FakeMsgCenter::backup()}) {
        const StartedWith with = lastStart(center);
        EXPECT_EQ(with.intValue1, 0);
        EXPECT_EQ(with.intValue2, 0);
        EXPECT_EQ(with.int64Value1, 0);
        EXPECT_EQ(with.int64Value2, 0);
    }
}

TEST_F(Factory, BothCentersGetTheSixValuesTheTokenAndItsExpiry) {
    HeartBaseConfig base;
    base.intValue1 = -1;
    base.intValue2 = INT32_MAX;
    base.int64Value1 = INT64_MIN;
    base.int64Value2 = INT64_MAX;
    base.textValue1 = std::string("t\0x", 3);
    base.textValue2 = "\xff";
    const std::string rest = R"(,"accessToken":"secret","expireTime":9007199254740993,"other":[1])";
    EXPECT_EQ(start(Gateway(R"(["m:1"])", "[]", rest), base), 1);
    for (const FakeMsgCenter center : {FakeMsgCenter::main(), FakeMsgCenter::backup()}) {
        const StartedWith with = lastStart(center);
        EXPECT_EQ(with.intValue1, base.intValue1);
        EXPECT_EQ(with.intValue2, base.intValue2);
        EXPECT_EQ(with.int64Value1, base.int64Value1);
        EXPECT_EQ(with.int64Value2, base.int64Value2);
        EXPECT_EQ(with.textValue1, base.textValue1);
        EXPECT_EQ(with.textValue2, base.textValue2);
        EXPECT_EQ(with.accessToken, "secret");
        EXPECT_EQ(with.expireTime, 9007199254740993);
    }
}

TEST_F(Factory, AMissingTokenIsEmptyAndAMissingExpiryIsZero) {
    EXPECT_EQ(start(Usable()), 1);
    EXPECT_EQ(lastStart(FakeMsgCenter::main()).accessToken, "");
    EXPECT_EQ(lastStart(FakeMsgCenter::main()).expireTime, 0);
}

TEST_F(Factory, TokenAndExpiryInsideGatewayDnsAreIgnored) {
    EXPECT_EQ(start(R"({"gatewayDns":{"main":["m:1"],"backup":[],"accessToken":"x","expireTime":5}})"), 1);
    EXPECT_EQ(lastStart(FakeMsgCenter::main()).accessToken, "");
    EXPECT_EQ(lastStart(FakeMsgCenter::main()).expireTime, 0);
}

TEST_F(Factory, ASecondStartReturnsTwoLogsOnlyTheEntryLineAndChangesNothing) {
    ASSERT_EQ(start(Usable()), 1);
    const CapturingLog log;
    EXPECT_EQ(start(Gateway(R"(["other:9","malformed"])", "[]")), 2);
    EXPECT_EQ(log.texts(), std::vector<std::string>{kEntryLine});
    EXPECT_EQ(FakeMsgCenter::main().starts().size(), 1u);
    EXPECT_EQ(FakeMsgCenter::backup().starts().size(), 1u);
    EXPECT_TRUE(factory().IsHaveBKCenter());
}

TEST_F(Factory, AnEmptyTextIsRefusedUnlessTheMainCenterRuns) {
    expectNothingStarted("", "the configuration is empty");
    ASSERT_EQ(start(Usable()), 1);
    EXPECT_EQ(start(""), 2);
}

TEST_F(Factory, TheEntryLineIsLoggedAtLevelTwoBeforeAnyCheck) {
    const CapturingLog log;
    start("");
    ASSERT_EQ(log.lines().size(), 2u);
    EXPECT_EQ(log.lines()[0].level, 2);
    EXPECT_EQ(log.lines()[0].text, kEntryLine);
}

TEST_F(Factory, TextThatIsNotAConfigurationStartsNothing) {
    const std::string deep(10000, '[');
    for (const std::string& text : {std::string("{"),
                                    std::string("no json"),
                                    std::string("null"),
                                    std::string("7"),
                                    std::string("\"text\""),
                                    std::string("[]"),
                                    std::string("{}"),
                                    std::string("\0", 1),
                                    std::string("\xff\xfe"),
                                    std::string(R"({"gatewayDns":null})"),
                                    std::string(R"({"gatewayDns":[]})"),
                                    std::string(R"({"gatewayDns":"m:1"})"),
                                    std::string(R"({"gatewayDns":{}})"),
                                    std::string(R"({"gatewayDns":{"main":["m:1"]}})"),
                                    std::string(R"({"gatewayDns":{"backup":[]}})"),
                                    Gateway("{}", "[]"),
                                    Gateway("null", "[]"),
                                    Gateway(R"(["m:1"])", "null"),
                                    deep,
                                    R"({"gatewayDns":)" + deep,
                                    std::string(10 * 1024 * 1024, ' ')})
        expectNothingStarted(text);
}

TEST_F(Factory, AMainListGivenAsAStringStartsNothing) {
    expectNothingStarted(Gateway(R"("m:1")", "[]"), R"("gatewayDns"."main" is no array)");
}

TEST_F(Factory, ABackupListGivenAsAStringStartsNothing) {
    expectNothingStarted(Gateway(R"(["m:1"])", R"("b:1")"), R"("gatewayDns"."backup" is no array)");
}

TEST_F(Factory, AnElementThatCannotBeTextStartsNothing) {
    expectNothingStarted(Gateway(R"(["m:1",{}])", "[]"), "an address is no text");
    expectNothingStarted(Gateway(R"([["m:1"]])", "[]"), "an address is no text");
}

TEST_F(Factory, ATokenOrExpiryOfAWrongTypeStartsNothing) {
    const std::string list = R"(["m:1"])";
    for (const char* token : {"{}", "[1]"})
        expectNothingStarted(Gateway(list, "[]", std::string(R"(,"accessToken":)") + token),
                             R"("accessToken" is no text)");
    for (const char* expiry : {R"("soon")", "1e300", "[]", "{}", "9223372036854775808"})
        expectNothingStarted(Gateway(list, "[]", std::string(R"(,"expireTime":)") + expiry),
                             R"("expireTime" is no 64-bit integer)");
}

TEST_F(Factory, AnExpiryThatIsANumberOfAnotherKindIsRead) {
    const std::pair<const char*, std::int64_t> read[] = {{"1.5", 1},
                                                         {"-1", -1},
                                                         {"null", 0},
                                                         {"true", 1},
                                                         {"9223372036854775807", INT64_MAX},
                                                         {"-9223372036854775808", INT64_MIN},
                                                         {"4294967296.5", 4294967296}};
    for (const auto& [text, seconds] : read) {
        ASSERT_EQ(start(Gateway(R"(["m:1"])", "[]", std::string(R"(,"expireTime":)") + text)), 1) << text;
        EXPECT_EQ(lastStart(FakeMsgCenter::main()).expireTime, seconds);
        factory().Stop();
    }
}

TEST_F(Factory, AFailedStartSaysWhatIsMissingOrWrong) {
    for (const char* text : {"null", "7", "\"text\"", "[]"})
        expectNothingStarted(text, "the configuration is no JSON object");
    expectNothingStarted("{}", R"("gatewayDns" is missing)");
    for (const char* value : {"null", "[]", "\"m:1\""})
        expectNothingStarted(std::string(R"({"gatewayDns":)") + value + "}", R"("gatewayDns" is no object)");
    expectNothingStarted(R"({"gatewayDns":{}})", R"("gatewayDns"."main" is missing)");
    expectNothingStarted(R"({"gatewayDns":{"main":[]}})", R"("gatewayDns"."backup" is missing)");
    expectNothingStarted(Gateway("null", "[]"), R"("gatewayDns"."main" is no array)");
    expectNothingStarted(std::string(10000, '['),
                         "the configuration nests deeper than 1000 levels, or memory is short");
}

TEST_F(Factory, AFailedStartSaysWhereTheTextIsNotJson) {
    expectNothingStarted("{\n  \"a\": [1, 2,\n  ]\n}", "trailing comma at line 2, column 13");
    expectNothingStarted("{\"a\":1 , }", "trailing comma at line 1, column 8");
    expectNothingStarted("{\n\"a\":1\n\"b\":2}",
                         "not JSON: Missing ',' or '}' in object declaration at line 3, column 1");
    expectNothingStarted(R"({"a":tru})",
                         "not JSON: Syntax error: value, object or array expected. at line 1, column 6");
    expectNothingStarted(" ", "not JSON: Syntax error: value, object or array expected. at line 1, column 2");
}

TEST_F(Factory, AFailedStartQuotesNothingOfTheText) {
    for (const char* token : {"-hush", "12hush", "1e", "hush", "'hush'", "\"hush\\q\"", "\"hush"}) {
        const CapturingLog log;
        EXPECT_EQ(start(std::string(R"({"accessToken":)") + token + "}"), 0);
        EXPECT_EQ(log.countContaining("hush"), 0) << token;
        EXPECT_EQ(log.countContaining("12"), 0) << token;
        EXPECT_EQ(log.countContaining(kFailedLine), 1) << token;
    }
    expectNothingStarted(R"({"accessToken":1e})", "not JSON: malformed number at line 1, column 16");
}

TEST_F(Factory, AFailureAfterTheMainStartSaysThatItRuns) {
    const CapturingLog log;
    EXPECT_EQ(start(Gateway(R"(["m:1"])", "[[]]")), 0);
    EXPECT_EQ(
        log.count(kFailedLine + "an address is no text; the main center runs, so Stop is due before another "
                                "Start"),
        1);
}

TEST_F(Factory, AnErrorOfACenterIsAFailedStart) {
    FakeMsgCenter::main().startThrows();
    const CapturingLog log;
    EXPECT_EQ(start(Usable()), 0);
    EXPECT_EQ(log.count(kFailedLine + "a message center raised an error"), 1);
}

TEST_F(Factory, ATokenThatIsNoTextIsTakenAsOneWithAWarning) {
    const std::pair<const char*, const char*> read[] = {{"4711", "4711"}, {"true", "true"}, {"null", ""}};
    for (const auto& [value, token] : read) {
        const CapturingLog log;
        ASSERT_EQ(start(Gateway(R"(["m:1"])", "[]", std::string(R"(,"accessToken":)") + value)), 1);
        EXPECT_EQ(lastStart(FakeMsgCenter::main()).accessToken, token);
        ASSERT_EQ(log.lines().size(), 2u);
        EXPECT_EQ(log.lines()[1].text,
                  R"([LiveState] CMsgCenterFactory::Start warning: "accessToken" is no text)");
        EXPECT_EQ(log.lines()[1].level, 2);
        factory().Stop();
    }
}

TEST_F(Factory, APortThatIsNoPlainNumberIsReadWithAWarning) {
    const CapturingLog log;
    ASSERT_EQ(start(Gateway(R"(["h:80","h1:80x","h2:secret:80","h3:99999999999"])", "[]")), 1);
    const std::string warning = "[LiveState] CMsgCenterFactory::Start warning: the port of ";
    EXPECT_EQ(log.texts(),
              (std::vector<std::string>{kEntryLine, warning + "h1 is read as 80", warning + "h2 is read as 0",
                                        warning + "h3 is read as 1215752191"}));
    for (const auto& line : log.lines())
        EXPECT_EQ(line.level, 2);
}

TEST_F(Factory, AnEmptyMainListIsStillHandedToTheMainCenter) {
    FakeMsgCenter::main().startFails();
    EXPECT_EQ(start(Gateway("[]", R"(["b:1"])")), 0);
    ASSERT_EQ(FakeMsgCenter::main().starts().size(), 1u);
    EXPECT_TRUE(lastStart(FakeMsgCenter::main()).addrsWasNull);
    EXPECT_TRUE(FakeMsgCenter::backup().starts().empty());

    FakeMsgCenter::main().startFails(false);
    EXPECT_EQ(start(Gateway("[]", R"(["b:1"])")), 1);
    EXPECT_TRUE(lastStart(FakeMsgCenter::main()).addrsWasNull);
    ASSERT_EQ(lastStart(FakeMsgCenter::backup()).addrs.size(), 1u);
}

TEST_F(Factory, AMainListOfMalformedEntriesIsHandedOverAsAnEmptyOne) {
    ASSERT_EQ(start(Gateway(R"(["m","n"])", R"(["b:1"])")), 1);
    EXPECT_TRUE(lastStart(FakeMsgCenter::main()).addrsWasNull);
    const StartedWith backup = lastStart(FakeMsgCenter::backup());
    ASSERT_EQ(backup.addrs.size(), 1u);
    EXPECT_EQ(backup.addrs[0].ip, "b");
    EXPECT_EQ(backup.addrs[0].port, 1);
}

TEST_F(Factory, AnEmptyBackupListStartsTheBackupCenterOnTheMainServers) {
    EXPECT_EQ(start(Gateway(R"(["m1:1","m2:2"])", "[]")), 1);
    const StartedWith backup = lastStart(FakeMsgCenter::backup());
    ASSERT_EQ(backup.addrs.size(), 2u);
    EXPECT_EQ(backup.addrs[0].ip, "m1");
    EXPECT_EQ(backup.addrs[1].ip, "m2");
}

TEST_F(Factory, ABackupListOfMalformedEntriesStartsTheBackupCenterOnTheMainServers) {
    const CapturingLog log;
    EXPECT_EQ(start(Gateway(R"(["m1:1"])", R"(["b1","",7,null,true])")), 1);
    EXPECT_EQ(log.countContaining("[srvTalk] ipaddr error:"), 5);
    ASSERT_EQ(lastStart(FakeMsgCenter::backup()).addrs.size(), 1u);
    EXPECT_EQ(lastStart(FakeMsgCenter::backup()).addrs[0].ip, "m1");
}

TEST_F(Factory, AnEntryWithoutAColonIsSkippedAndLoggedAtLevelFour) {
    const CapturingLog log;
    EXPECT_EQ(start(Gateway(R"(["m1:1","broken","m2:2"])", "[]")), 1);
    ASSERT_EQ(log.lines().size(), 2u);
    EXPECT_EQ(log.lines()[1].level, 4);
    EXPECT_EQ(log.lines()[1].text, "[srvTalk] ipaddr error:broken");
    const StartedWith main = lastStart(FakeMsgCenter::main());
    ASSERT_EQ(main.addrs.size(), 2u);
    EXPECT_EQ(main.addrs[0].ip, "m1");
    EXPECT_EQ(main.addrs[1].ip, "m2");
}

TEST_F(Factory, AnEntryOfAColonAndAPortHasAnEmptyHost) {
    EXPECT_EQ(start(Gateway(R"([":80"])", "[]")), 1);
    const auto addr = lastStart(FakeMsgCenter::main()).addrs.at(0);
    EXPECT_EQ(addr.ip, "");
    EXPECT_EQ(addr.port, 80);
}

TEST_F(Factory, APortTextCountsByItsLeadingDigits) {
    EXPECT_EQ(
        start(Gateway(R"(["h:80x","h:","h:x","h:-5","a:b:80","h:4294967376","h: 9","h:1\u00002"])", "[]")),
        1);
    std::vector<int> ports;
    for (const auto& addr : lastStart(FakeMsgCenter::main()).addrs)
        ports.push_back(addr.port);
    EXPECT_EQ(ports, (std::vector<int>{80, 0, 0, -5, 0, 80, 9, 1}));
    EXPECT_EQ(lastStart(FakeMsgCenter::main()).addrs.at(4).ip, "a");
}

TEST_F(Factory, AFailedMainStartLeavesTheBackupCenterAlone) {
    FakeMsgCenter::main().startFails();
    const CapturingLog log;
    EXPECT_EQ(start(Usable()), 0);
    EXPECT_EQ(log.texts(),
              (std::vector<std::string>{kEntryLine, kFailedLine + "the main center does not start"}));
    EXPECT_FALSE(factory().IsMainCenterStartOK());
    EXPECT_FALSE(factory().IsHaveBKCenter());
    EXPECT_TRUE(FakeMsgCenter::backup().starts().empty());
}

TEST_F(Factory, AFailedBackupStartDoesNotAffectTheResult) {
    FakeMsgCenter::backup().startFails();
    EXPECT_EQ(start(Usable()), 1);
    EXPECT_TRUE(factory().IsMainCenterStartOK());
    EXPECT_FALSE(factory().IsHaveBKCenter());
}

TEST_F(Factory, AnExceptionOfTheMainStartIsAFailedStart) {
    FakeMsgCenter::main().startThrows();
    EXPECT_EQ(start(Usable()), 0);
    EXPECT_FALSE(factory().IsMainCenterStartOK());
    EXPECT_TRUE(FakeMsgCenter::backup().starts().empty());
}

TEST_F(Factory, AnExceptionAfterTheMainStartGivesZeroThoughTheMainCenterRuns) {
    EXPECT_EQ(start(Gateway(R"(["m:1"])", R"(["b:1",{}])")), 0);
    EXPECT_TRUE(factory().IsMainCenterStartOK());
    EXPECT_FALSE(factory().IsHaveBKCenter());
    EXPECT_TRUE(FakeMsgCenter::backup().starts().empty());
    EXPECT_EQ(start(Usable()), 2);

    factory().Stop();
    FakeMsgCenter::backup().startThrows();
    EXPECT_EQ(start(Usable()), 0);
    EXPECT_TRUE(factory().IsMainCenterStartOK());
    EXPECT_FALSE(factory().IsHaveBKCenter());
}

TEST_F(Factory, AfterStopBothFlagsAreDownAndTheCentersAreTheSame) {
    ASSERT_EQ(start(Usable()), 1);
    QoPlayer::MsgCenter* const main = factory().GetFactoryObj(true);
    QoPlayer::MsgCenter* const backup = factory().GetFactoryObj(false);
    const CapturingLog log;
    factory().Stop();
    EXPECT_EQ(log.texts(), (std::vector<std::string>{"[LiveState] CMsgCenterFactory::Stop start",
                                                     "[LiveState] CMsgCenterFactory::Stop finish"}));
    for (const auto& line : log.lines())
        EXPECT_EQ(line.level, 2) << line.text;
    EXPECT_FALSE(factory().IsMainCenterStartOK());
    EXPECT_FALSE(factory().IsHaveBKCenter());
    EXPECT_EQ(factory().GetFactoryObj(true), main);
    EXPECT_EQ(factory().GetFactoryObj(false), backup);
    EXPECT_EQ(start(Usable()), 1);
    EXPECT_EQ(FakeMsgCenter::main().starts().size(), 2u);
}

TEST_F(Factory, StopBeforeAnyStartStopsBothCenters) {
    factory().Stop();
    EXPECT_EQ(FakeMsgCenter::main().stops(), 1);
    EXPECT_EQ(FakeMsgCenter::backup().stops(), 1);
}

TEST_F(Factory, TheCentersHaveNames) {
    factory();
    EXPECT_EQ(FakeMsgCenter::main().name(), "main");
    EXPECT_EQ(FakeMsgCenter::backup().name(), "backup");
}

TEST_F(Factory, LinesOfTheMessageCenterLibraryAreForwarded) {
    factory();
    const CapturingLog log;
    fakes::CurrentSdkLogSink()(7, "origin", "a %s line");
    fakes::CurrentSdkLogSink()(0, nullptr, "");
    fakes::CurrentSdkLogSink()(0, nullptr, nullptr);
    ASSERT_EQ(log.lines().size(), 3u);
    EXPECT_EQ(log.lines()[0].text, "[msgcenter] sdklog: a %s line");
    EXPECT_EQ(log.lines()[0].level, 2);
    EXPECT_EQ(log.lines()[1].text, "[msgcenter] sdklog: ");
    EXPECT_EQ(log.lines()[2].text, "[msgcenter] sdklog: ");
}

TEST_F(Factory, NoLineShowsTheToken) {
    const CapturingLog log;
    start(Gateway(R"(["m","m:1"])", R"(["b"])", R"(,"accessToken":"hush-hush")"));
    start(Gateway(R"(["m:1"])", R"([{}])", R"(,"accessToken":"hush-hush")"));
    factory().Stop();
    start(Gateway("7", "[]", R"(,"accessToken":"hush-hush")"));
    EXPECT_EQ(log.countContaining("hush-hush"), 0);
}

TEST_F(Factory, ACopySharesTheCenters) {
    ASSERT_EQ(start(Usable()), 1);
    {
        CMsgCenterFactory copy(factory());
        EXPECT_EQ(copy.GetFactoryObj(true), factory().GetFactoryObj(true));
        EXPECT_TRUE(copy.IsHaveBKCenter());
        copy = factory();
        EXPECT_TRUE(copy.IsMainCenterStartOK());
    }
    EXPECT_TRUE(factory().IsMainCenterStartOK());
    EXPECT_EQ(FakeMsgCenter::centersDestroyed(), 0);
}

struct OwnFactory : CMsgCenterFactory {};

TEST_F(Factory, TheDestructorReleasesBothCentersWithoutStoppingThem) {
    { const OwnFactory own; }
    EXPECT_EQ(FakeMsgCenter::centersDestroyed(), 2);
    EXPECT_EQ(FakeMsgCenter::main().stops(), 0);
    EXPECT_EQ(FakeMsgCenter::backup().stops(), 0);
}

TEST_F(Factory, TheMainCenterStartsStopsAndGoesBeforeTheBackup) {
    auto own = std::make_unique<OwnFactory>();
    ASSERT_EQ(own->Start(Usable(), {}), 1);
    EXPECT_EQ(FakeMsgCenter::events(), (std::vector<std::string>{"main start", "backup start"}));
    own->Stop();
    EXPECT_EQ(FakeMsgCenter::events(), (std::vector<std::string>{"main stop", "backup stop"}));
    own.reset();
    EXPECT_EQ(FakeMsgCenter::events(), (std::vector<std::string>{"main destroyed", "backup destroyed"}));
}

TEST_F(Factory, TheFlagsMayBeReadFromOtherThreadsMeanwhile) {
    std::atomic<bool> done{false};
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i)
        readers.emplace_back([&done] {
            while (!done) {
                CMsgCenterFactory::Inst()->IsHaveBKCenter();
                CMsgCenterFactory::Inst()->IsMainCenterStartOK();
                ASSERT_NE(CMsgCenterFactory::Inst()->GetFactoryObj(true), nullptr);
            }
        });
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(start(Usable()), 1);
        factory().Stop();
    }
    done = true;
    for (auto& reader : readers)
        reader.join();
}

std::string WithOptions(const std::string& options) {
    return Gateway(R"(["m:1"])", "[]", R"(,"options":)" + options);
}

struct FactoryOptions : Factory {
    void expectRefused(const std::string& options, const std::string& why) {
        const CapturingLog log;
        EXPECT_EQ(start(WithOptions(options)), 0) << options;
        EXPECT_EQ(log.texts().back(), "[LiveState] CMsgCenterFactory::Start failed: " + why) << options;
        EXPECT_TRUE(FakeMsgCenter::main().starts().empty()) << options;
        EXPECT_TRUE(FakeMsgCenter::backup().starts().empty()) << options;
    }
};

TEST_F(FactoryOptions, BothCentersGetThem) {
    EXPECT_EQ(start(WithOptions(R"({"clientCertificate":"c.pem","clientKey":"k.pem","alpn":"x","socks5":)"
                                R"({"host":"p","port":1080,"user":"u","password":"w"}})")),
              1);
    for (const FakeMsgCenter center : {FakeMsgCenter::main(), FakeMsgCenter::backup()}) {
        const QoPlayer::MsgCenterOptions& options = lastStart(center).options;
        EXPECT_EQ(options.clientCertificate, "c.pem");
        EXPECT_EQ(options.clientKey, "k.pem");
        EXPECT_EQ(options.alpn, "x");
        EXPECT_EQ(options.proxyHost, "p");
        EXPECT_EQ(options.proxyPort, 1080);
        EXPECT_EQ(options.proxyUser, "u");
        EXPECT_EQ(options.proxyPassword, "w");
    }
}

TEST_F(FactoryOptions, ThoseOfAnEarlierStartAreForgotten) {
    ASSERT_EQ(start(WithOptions(R"({"alpn":"x","hostProcess":"other.exe"})")), 1);
    EXPECT_EQ(HostProcess(), L"other.exe");
    factory().Stop();
    ASSERT_EQ(start(Usable()), 1);
    EXPECT_TRUE(lastStart(FakeMsgCenter::main()).options.isEmpty());
    EXPECT_EQ(HostProcess(), L"QoLive.exe");
}

TEST_F(FactoryOptions, NullAndEmptyOnesAreNone) {
    for (const char* options : {"null", "{}", R"({"socks5":null,"alpn":null})"}) {
        EXPECT_EQ(start(WithOptions(options)), 1) << options;
        EXPECT_TRUE(lastStart(FakeMsgCenter::main()).options.isEmpty());
        factory().Stop();
    }
}

TEST_F(FactoryOptions, OneOfAWrongTypeRefusesTheStartAndIsNamed) {
    expectRefused("7", "\"options\" is not an object");
    expectRefused("[]", "\"options\" is not an object");
    expectRefused(R"({"clientKey":7})", "\"options.clientKey\" is not a text");
    expectRefused(R"({"hostProcess":["a"]})", "\"options.hostProcess\" is not a text");
    expectRefused(R"({"socks5":"p:1080"})", "\"options.socks5\" is not an object");
    expectRefused(R"({"socks5":{"host":"p","port":"1080"}})", "\"options.socks5.port\" is not an integer");
    expectRefused(R"({"socks5":{"port":99999999999}})", "\"options.socks5.port\" is not an integer");
}

TEST_F(FactoryOptions, AnUnknownOneIsIgnoredWithALine) {
    const CapturingLog log;
    EXPECT_EQ(start(WithOptions(R"({"proxy":1,"socks5":{"host":"p","port":1,"pasword":"secret"}})")), 1);
    const std::string line = "[LiveState] CMsgCenterFactory::Start warning: unknown \"options.";
    EXPECT_EQ(log.texts()[1], line + "proxy\" ignored");
    EXPECT_EQ(log.texts()[2], line + "socks5.pasword\" ignored");
}

TEST_F(FactoryOptions, AMessageCenterLibraryWithoutThemRefusesThem) {
    FakeMsgCenter::main().takesNoOptions();
    FakeMsgCenter::backup().takesNoOptions();
    expectRefused(R"({"alpn":"x"})", "this message-center library has no options");
    EXPECT_EQ(start(WithOptions(R"({"hostProcess":"other.exe"})")), 1);
    EXPECT_EQ(HostProcess(), L"other.exe");
}

TEST(HostProcessTest, IsQoLiveUntilItIsSet) {
    EXPECT_EQ(HostProcess(), L"QoLive.exe");
}

TEST(HostProcessTest, TakesUtf8AndReplacesWhatIsNot) {
    SetHostProcess("\xc3\xa9\xe2\x82\xac.exe");
    EXPECT_EQ(HostProcess(), L"\u00e9\u20ac.exe");
    SetHostProcess("\xf0\x9f\x8e\xa5");
    EXPECT_EQ(HostProcess(), L"\U0001f3a5");
    SetHostProcess("a\xff\xc3");
    EXPECT_EQ(HostProcess(), L"a\ufffd\ufffd");
    SetHostProcess("\xc3\xc3\xa9");
    EXPECT_EQ(HostProcess(), L"\ufffd\u00e9");
    SetHostProcess("");
    EXPECT_EQ(HostProcess(), L"QoLive.exe");
}

}  // namespace
