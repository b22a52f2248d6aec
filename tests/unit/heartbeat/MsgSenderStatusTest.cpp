#include "heartbeat/MsgSenderStatus.h"

#include <gtest/gtest.h>

#include <string>

#include "fakes/CapturingLog.h"
#include "fakes/FakeMsgCenter.h"
#include "message_center/CMsgCenterFactory.h"

namespace {

using fakes::CapturingLog;
using fakes::FakeMsgCenter;

void DataFrom(MsgSenderStatus& status, const std::string& text) {
    status.disponseData(reinterpret_cast<const unsigned char*>(text.data()), text.size());
}

bool AsksForFullReport(const std::string& text) {
    MsgSenderStatus status;
    DataFrom(status, text);
    return status.m_bDataChanged;
}

TEST(MsgSenderStatus, StartsUnconnectedAndUnmarked) {
    const MsgSenderStatus status;
    EXPECT_EQ(status.m_msgCenter, nullptr);
    EXPECT_EQ(status.m_senderPtr, nullptr);
    EXPECT_FALSE(status.m_bDataChanged);
    EXPECT_EQ(status.m_lastReportTm, -1);
    EXPECT_EQ(status.m_reportInterval, 3000);
    EXPECT_FALSE(status.m_bConnected);
    EXPECT_EQ(status.m_cmd, 0);
    EXPECT_EQ(status.m_name, "unknown");
}

TEST(MsgSenderStatus, OnlyTheNameBackSenderLivesOnTheBackupCenter) {
    Bas::CMsgCenterFactory& factory = *Bas::CMsgCenterFactory::Inst();
    int cmd = 10;
    for (const std::string name :
         {"mainSender", "commonSender", "", "BackSender", "backSender ", "backSende"}) {
        MsgSenderStatus status;
        EXPECT_TRUE(status.initSender(++cmd, name));
        EXPECT_EQ(status.m_msgCenter, factory.GetFactoryObj(true)) << name;
        EXPECT_TRUE(FakeMsgCenter::main().hasSender(cmd)) << name;
    }
    MsgSenderStatus withZeroByte;
    EXPECT_TRUE(withZeroByte.initSender(++cmd, std::string("backSender\0", 11)));
    EXPECT_EQ(withZeroByte.m_msgCenter, factory.GetFactoryObj(true));

    MsgSenderStatus back;
    EXPECT_TRUE(back.initSender(2, "backSender"));
    EXPECT_EQ(back.m_msgCenter, factory.GetFactoryObj(false));
    EXPECT_TRUE(FakeMsgCenter::backup().hasSender(2));
    EXPECT_EQ(back.m_cmd, 2);
    EXPECT_EQ(back.m_name, "backSender");
    EXPECT_NE(back.m_senderPtr, nullptr);
}

TEST(MsgSenderStatus, TheDestructorClosesTheSender) {
    {
        MsgSenderStatus status;
        ASSERT_TRUE(status.initSender(2, "mainSender"));
        EXPECT_EQ(FakeMsgCenter::main().sendersClosed(2), 0);
    }
    EXPECT_EQ(FakeMsgCenter::main().sendersClosed(2), 1);
    EXPECT_FALSE(FakeMsgCenter::main().hasSender(2));
}

TEST(MsgSenderStatus, OneThatWasNeverInitialisedClosesNothing) {
    { MsgSenderStatus status; }
    EXPECT_EQ(FakeMsgCenter::main().sendersClosed(0), 0);
}

TEST(MsgSenderStatus, OneThatGotNoSenderClosesItsCommandAllTheSame) {
    FakeMsgCenter::main().createSenderFails();
    {
        MsgSenderStatus status;
        EXPECT_FALSE(status.initSender(2, "mainSender"));
    }
    EXPECT_EQ(FakeMsgCenter::main().sendersClosed(2), 1);
}

// The command is the center's, and the one who closes it may not be the one who has it.
TEST(MsgSenderStatus, ASenderThatAnotherHasClosedIsSafeToUse) {
    MsgSenderStatus first;
    ASSERT_TRUE(first.initSender(2, "mainSender"));
    {
        MsgSenderStatus second;
        EXPECT_FALSE(second.initSender(2, "mainSender"));
    }
    EXPECT_FALSE(FakeMsgCenter::main().hasSender(2));
    const std::uint8_t byte = 'x';
    EXPECT_FALSE(first.m_senderPtr->send(&byte, 1, nullptr, 0));
}

TEST(MsgSenderStatus, ACenterThatGivesNoSenderIsLogged) {
    FakeMsgCenter::main().createSenderFails();
    const CapturingLog log;
    MsgSenderStatus status;
    EXPECT_FALSE(status.initSender(9, "mainSender"));
    EXPECT_EQ(status.m_senderPtr, nullptr);
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(log.lines()[0].text, "[LiveState] m_senderPtr is null cmd:9");
    EXPECT_EQ(log.lines()[0].level, 2);
}

TEST(MsgSenderStatus, ACallbackWithoutAUserIsIgnored) {
    const CapturingLog log;
    MsgSenderStatus::OnSrvCb(nullptr, 0, 1, nullptr, 0);
    EXPECT_TRUE(log.lines().empty());
}

TEST(MsgSenderStatus, AConnectNoticeConnectsAndMarks) {
    MsgSenderStatus status;
    ASSERT_TRUE(status.initSender(2, "mainSender"));
    const CapturingLog log;
    ASSERT_TRUE(FakeMsgCenter::main().callback(2, 0, 1, "srv 1"));
    EXPECT_TRUE(status.m_bConnected);
    EXPECT_TRUE(status.m_bDataChanged);
    EXPECT_EQ(log.texts(),
              (std::vector<std::string>{"[LiveState] OnSrvCb sender:mainSender cmd:2 msgType:0 code:1 len:5",
                                        "[LiveState] disponseStatus sender:mainSender connect info:srv 1"}));
    EXPECT_EQ(log.lines()[1].level, 2);
}

TEST(MsgSenderStatus, ADisconnectNoticeDisconnectsAndMarks) {
    MsgSenderStatus status;
    status.m_bConnected = true;
    const CapturingLog log;
    MsgSenderStatus::OnSrvCb(&status, 0, 0, nullptr, 0);
    EXPECT_FALSE(status.m_bConnected);
    EXPECT_TRUE(status.m_bDataChanged);
    EXPECT_EQ(log.texts(),
              (std::vector<std::string>{"[LiveState] OnSrvCb sender:unknown cmd:0 msgType:0 code:0 len:0",
                                        "[LiveState] disponseStatus sender:unknown disconnect info:"}));
}

TEST(MsgSenderStatus, AStatusNoticeOfAnotherCodeMarksAndLeavesTheConnectionAsItWas) {
    for (const int code : {5, 2, -1}) {
        for (const bool connected : {false, true}) {
            MsgSenderStatus status;
            status.m_bConnected = connected;
            const CapturingLog log;
            MsgSenderStatus::OnSrvCb(&status, 0, code, nullptr, 0);
            EXPECT_EQ(status.m_bConnected, connected);
            EXPECT_TRUE(status.m_bDataChanged);
            EXPECT_EQ(log.lines().size(), 1u);
        }
    }
}

TEST(MsgSenderStatus, NoticesOfTypeTwoAndThreeAreDroppedAfterTheFirstLine) {
    for (const int type : {2, 3}) {
        MsgSenderStatus status;
        const CapturingLog log;
        const unsigned char data[] = R"({"type":3})";
        MsgSenderStatus::OnSrvCb(&status, type, 1, data, sizeof data - 1);
        EXPECT_EQ(log.lines().size(), 1u);
        EXPECT_FALSE(status.m_bDataChanged);
        EXPECT_FALSE(status.m_bConnected);
    }
}

TEST(MsgSenderStatus, AnyOtherMessageTypeIsLoggedAsAnError) {
    for (const int type : {4, 7, -1}) {
        MsgSenderStatus status;
        const CapturingLog log;
        MsgSenderStatus::OnSrvCb(&status, type, 1, nullptr, 0);
        ASSERT_EQ(log.lines().size(), 2u);
        EXPECT_EQ(log.lines()[1].text, "[LiveState] OnSrvCb error");
        EXPECT_EQ(log.lines()[1].level, 2);
        EXPECT_FALSE(status.m_bDataChanged);
    }
}

TEST(MsgSenderStatus, DataOfTypeThreeAsksForAFullReport) {
    MsgSenderStatus status;
    ASSERT_TRUE(status.initSender(2, "mainSender"));
    const CapturingLog log;
    ASSERT_TRUE(FakeMsgCenter::main().serverData(2, R"({"type":3})"));
    EXPECT_TRUE(status.m_bDataChanged);
    EXPECT_FALSE(status.m_bConnected);
    EXPECT_EQ(log.count(R"([LiveState] disponseData sender:mainSender data:{"type":3})"), 1);
}

TEST(MsgSenderStatus, DataThatDoesNotSayTypeThreeChangesNothing) {
    for (const std::string text :
         {R"({"type":2})", R"({"type":4})", R"({"type":"3"})", R"({"type":[3]})", R"({"type":null})",
          R"({"type":3e99})", R"({"Type":3})", R"({"a":{"type":3}})", "{}", "[3]", "[]", "3", "null",
          "\"type\"", "no json", R"({"type":3)", "\xff\xfe\x80"})
        EXPECT_FALSE(AsksForFullReport(text)) << text;
}

TEST(MsgSenderStatus, TheTypeIsReadAsAnInteger) {
    EXPECT_TRUE(AsksForFullReport(R"({"type":3.0})"));
    EXPECT_TRUE(AsksForFullReport(R"({"type":3.7})"));
    EXPECT_FALSE(AsksForFullReport(R"({"type":2.9})"));
    EXPECT_TRUE(AsksForFullReport(R"(/* why */ {"type":3, "more":[1]} // end)"));
}

TEST(MsgSenderStatus, NoDataIsIgnoredWithoutALine) {
    MsgSenderStatus status;
    const CapturingLog log;
    status.disponseData(nullptr, 5);
    const unsigned char data[] = "x";
    status.disponseData(data, 0);
    EXPECT_TRUE(log.lines().empty());
    MsgSenderStatus::OnSrvCb(&status, 1, 0, nullptr, 0);
    EXPECT_EQ(log.lines().size(), 1u);
}

TEST(MsgSenderStatus, DataWithZeroBytesIsTakenWhole) {
    EXPECT_FALSE(AsksForFullReport(std::string(R"({"type":3)") + '\0' + "}"));
    EXPECT_FALSE(AsksForFullReport(std::string(64, '\0')));
    EXPECT_TRUE(AsksForFullReport(std::string("{\"type\":3,\"x\":\"a\0b\"}", 20)));
}

TEST(MsgSenderStatus, DataNestedTenThousandLevelsDeepIsIgnored) {
    EXPECT_FALSE(AsksForFullReport(std::string(10000, '[') + std::string(10000, ']')));
    std::string objects;
    for (int i = 0; i < 10000; ++i)
        objects += R"({"type":)";
    EXPECT_FALSE(AsksForFullReport(objects));
}

TEST(MsgSenderStatus, DataOfTenMegabytesIsRead) {
    const std::string filler(10 * 1024 * 1024, 'x');
    EXPECT_TRUE(AsksForFullReport(R"({"filler":")" + filler + R"(","type":3})"));
    EXPECT_FALSE(AsksForFullReport(filler));
    EXPECT_FALSE(AsksForFullReport(std::string(10 * 1024 * 1024, '[')));
}

TEST(MsgSenderStatus, TheCenterOutlivesTheFactoryWhileASenderIsOpen) {
    struct OwnFactory : Bas::CMsgCenterFactory {};
    MsgSenderStatus status;
    ASSERT_TRUE(status.initSender(2, "mainSender"));
    {
        OwnFactory other;
        static_cast<Bas::CMsgCenterFactory&>(*Bas::CMsgCenterFactory::Inst()) = other;
    }
    EXPECT_EQ(FakeMsgCenter::centersDestroyed(), 1);  // the first backup center; nobody uses it
    EXPECT_TRUE(FakeMsgCenter::main().hasSender(2));
}

}  // namespace
