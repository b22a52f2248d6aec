#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "collector/output/JsonLines.h"
#include "collector/output/Sparkline.h"
#include "collector/output/Terminal.h"
#include "common/Printable.h"
#include "common/TextWidth.h"
#include "unit/collector/Samples.h"

namespace collector {
namespace {

using apps::Printable;

TEST(Printable, ControlCharactersAndBadBytesAreEscaped) {
    EXPECT_EQ(Printable("plain text", 99), "plain text");
    EXPECT_EQ(Printable("\x1b[31m\a\n\x7f", 99), "\\x1b[31m\\x07\\x0a\\x7f");
    EXPECT_EQ(Printable(std::string("a\0b", 3), 99), "a\\x00b");
    EXPECT_EQ(Printable("\xff\xc0\xaf\xed\xa0\x80\xf4\x90\x80\x80\xe2\x82", 99),
              "\\xff\\xc0\\xaf\\xed\\xa0\\x80\\xf4\\x90\\x80\\x80\\xe2\\x82");
    EXPECT_EQ(Printable("\xc2\x9b"
                        "1m",
                        99),
              "\\xc2\\x9b1m");
    EXPECT_EQ(Printable("\xe2\x80\xae", 99), "\\xe2\\x80\\xae");
    EXPECT_EQ(Printable("h\xc3\xa4 \xe2\x82\xac \xf0\x9f\x98\x80", 99),
              "h\xc3\xa4 \xe2\x82\xac \xf0\x9f\x98\x80");
}

TEST(Printable, LongTextIsCut) {
    EXPECT_EQ(Printable("abcd", 4), "abcd");
    EXPECT_EQ(Printable("abcde", 4), "abcd…");
    EXPECT_LT(Printable(std::string(10U << 20U, '\0'), 100).size(), 120U);
}

TEST(Sparkline, IsScaledFromZeroToTheGreatest) {
    EXPECT_EQ(Sparkline({}), "");
    EXPECT_EQ(Sparkline({0, 0}), "▁▁");
    EXPECT_EQ(Sparkline({0, 50, 100}), "▁▅█");
    EXPECT_EQ(Sparkline({-5, 7}), "▁█");
    EXPECT_EQ(Sparkline({0, 50}, 100), "▁▅");
    EXPECT_EQ(Sparkline({0, 200}, 100), "▁█");
    EXPECT_EQ(Sparkline(std::vector<std::int64_t>(61, 1)).size(), 60U * 3);
}

TEST(Range, NamesOneValueOnce) {
    EXPECT_EQ(Range({}), "-");
    EXPECT_EQ(Range({25, 25}), "25");
    EXPECT_EQ(Range({26, 24, 25}), "24..26");
}

TEST(UtcTime, HasMilliseconds) {
    EXPECT_EQ(UtcTime(0), "1970-01-01T00:00:00.000Z");
    EXPECT_EQ(UtcTime(1700000000007), "2023-11-14T22:13:20.007Z");
}

class OutputTest : public testing::Test {
protected:
    void Send(const std::string& topic, const std::string& payload,
              const std::optional<std::string>& head = {}) {
        Received received;
        received.topic = topic;
        received.parsedTopic = ParseTopic(topic);
        received.payload = payload;
        received.head = head;
        Message message;
        Outcome outcome;
        if (received.parsedTopic) {
            message = received.parsedTopic->command
                          ? ReadUplink(*received.parsedTopic->command, payload, head)
                          : ReadPresence(payload);
            outcome = m_fleet.Receive({received.parsedTopic->source, received.parsedTopic->command, {}},
                                      message, 0);
        }
        m_terminal.Show(received, message, outcome);
        m_json.Show(received, message, outcome);
        for (const Notice& notice : outcome.before)
            m_json.Show(0, notice);
        for (const Notice& notice : outcome.after)
            m_json.Show(0, notice);
    }

    // Whatever has been written since the last call, one value per line; every line must be JSON.
    std::vector<Json::Value> JsonLinesWritten() {
        std::istringstream lines(m_jsonText.str());
        m_jsonText.str({});
        std::vector<Json::Value> values;
        for (std::string line; std::getline(lines, line);) {
            Json::Value value;
            std::istringstream stream(line);
            EXPECT_NO_THROW(stream >> value) << line;
            values.push_back(value);
        }
        return values;
    }

    Fleet m_fleet{FleetRules{}};
    std::ostringstream m_text;
    std::ostringstream m_jsonText;
    std::size_t m_width = 1000;
    Terminal m_terminal{m_text, false, [this] { return m_width; }};
    JsonLines m_json{m_jsonText};
};

TEST_F(OutputTest, EveryMessageIsOneJsonLineWithItsSource) {
    Send("qolive/demo/0123abcd/up/4", samples::kCommand);
    const Json::Value line = JsonLinesWritten().at(0);
    EXPECT_EQ(line["kind"], "command");
    EXPECT_EQ(line["client"], "demo");
    EXPECT_EQ(line["connection"], "0123abcd");
    EXPECT_EQ(line["command"], 4);
    EXPECT_EQ(line["body"]["bizType"], 7);
    EXPECT_EQ(line["time"], "1970-01-01T00:00:00.000Z");
}

TEST_F(OutputTest, AHeadIsShownBesideTheBody) {
    Send("qolive/demo/0123abcd/up/5", samples::Quality(1, "7"), samples::Head("42", 2));
    const Json::Value line = JsonLinesWritten().at(0);
    EXPECT_EQ(line["head"]["mid"], "42");
    EXPECT_EQ(line["body"]["order"], 1);
}

TEST_F(OutputTest, NumbersKeepEveryDigit) {
    const std::string body = R"({"a":0.1,"b":123456789012345678901,"c":1.0e2,"d":"\u00e4"})";
    Send("qolive/demo/0123abcd/up/5", " " + body.substr(0, 9) + "\n\t" + body.substr(9) + "\n",
         R"({"mid":"42","type":3,"x":0.10})");
    const std::string line = m_jsonText.str().substr(0, m_jsonText.str().find('\n'));
    EXPECT_NE(line.find("\"body\": " + body), std::string::npos) << line;
    EXPECT_NE(line.find(R"("x":0.10})"), std::string::npos) << line;
    EXPECT_EQ(JsonLinesWritten().at(0)["body"]["c"], 100.0);
}

TEST_F(OutputTest, JsonLinesAreAsciiWhateverABroadcasterWrites) {
    Send("qolive/demo/0123abcd/up/4",
         "{\"bizType\":7,\"data\":\"\x7f\xc2\x9b"
         "2J \xe2\x80\xae \xf0\x9f\x98\x80\"}");
    EXPECT_NE(m_jsonText.str().find(R"("data":"\u007f\u009b2J \u202e \ud83d\ude00"})"), std::string::npos)
        << m_jsonText.str();
}

TEST_F(OutputTest, WhatIsNotUtf8IsMalformedAndShownByteByByte) {
    Send("qolive/demo/0123abcd/up/4", "{\"bizType\":7,\"data\":\"a\xff\xc3\"}");
    const Json::Value line = JsonLinesWritten().at(0);
    EXPECT_EQ(line["kind"], "malformed");
    EXPECT_EQ(line["reason"], "the payload is not UTF-8");
    EXPECT_NE(line["excerpt"].asString().find("a\\xff\\xc3"), std::string::npos) << line["excerpt"];
}

TEST_F(OutputTest, AMalformedMessageIsShownBoundedAndHarmless) {
    Send("qolive/demo/0123abcd/up/2", std::string(10U << 20U, '\x1b'));
    Send("qolive/\x1b[2J/0123abcd/up/2", "{}");
    EXPECT_LT(m_text.str().size(), 1000U);
    EXPECT_EQ(m_text.str().find('\x1b'), std::string::npos);
    const std::vector<Json::Value> lines = JsonLinesWritten();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0]["kind"], "malformed");
    EXPECT_EQ(lines[0]["reason"], "the payload is too long");
    EXPECT_EQ(lines[0]["bytes"], 10 << 20);
    EXPECT_LT(lines[0].toStyledString().size(), 1000U);
    EXPECT_EQ(lines[1]["topic"], "qolive/\\x1b[2J/0123abcd/up/2");
}

TEST_F(OutputTest, TextsOfABroadcasterReachTheTerminalEscaped) {
    Send("qolive/demo/0123abcd/up/4", R"({"bizType":7,"data":"\u001b]0;owned\u0007"})");
    EXPECT_EQ(m_text.str().find('\x1b'), std::string::npos);
    EXPECT_NE(m_text.str().find("\\x1b]0;owned\\x07"), std::string::npos);
}

TEST_F(OutputTest, ARetainedMessageIsShownAsOne) {
    Received received;
    received.topic = "qolive/demo/0123abcd/presence";
    received.parsedTopic = ParseTopic(received.topic);
    received.payload = R"({"online":true})";
    received.retained = true;
    m_terminal.Show(received, ReadPresence(received.payload), {});
    EXPECT_NE(m_text.str().find("retained by the broker: no sign of life"), std::string::npos)
        << m_text.str();
}

class WidthTest : public OutputTest {
protected:
    void SendOfEveryKind(const std::string& client) {
        const std::string topic = "qolive/" + client + "/0123abcd/";
        Send(topic + "presence", R"({"online":true})");
        Send(topic + "up/2", samples::kLive);
        Send(topic + "up/4", R"({"bizType":7,"data":")" + std::string(90, 'x') + "\"}");
        Send(topic + "up/5", samples::StreamRecord("7", "show"), samples::Head("1", 1));
        Send(topic + "up/5", samples::Quality(1, "7"), samples::Head("3", 2));
        Send(topic + "up/2", std::string(500, 'y'));
        m_terminal.Remark(0, "listening at " + std::string(100, 'z'));
        m_terminal.Summarise(0, m_fleet);
    }

    std::size_t Widest() const {
        std::size_t widest = 0;
        std::istringstream lines(m_text.str());
        for (std::string line; std::getline(lines, line);)
            widest = std::max(widest, apps::Columns(line));
        return widest;
    }
};

TEST_F(WidthTest, EverythingFitsTheWidthThatThereIs) {
    for (const std::size_t columns : {80U, 100U, 109U, 110U, 132U, 200U}) {
        m_width = columns;
        m_text.str({});
        SendOfEveryKind("demo-12345");
        EXPECT_LE(Widest(), columns);
        EXPECT_GT(Widest(), columns - 20) << "the width is used";
    }
}

TEST_F(WidthTest, TheWidthMayChangeAtAnyTime) {
    m_width = 200;
    SendOfEveryKind("demo");
    m_text.str({});
    m_width = 80;
    SendOfEveryKind("demo");
    EXPECT_LE(Widest(), 80U);
}

TEST_F(WidthTest, ANarrowTerminalNamesABroadcasterOnceUntilAnotherComes) {
    m_width = 80;
    for (const char* client : {"one", "one", "two", "one"})
        Send("qolive/" + std::string(client) + "/0123abcd/up/4", samples::kCommand);
    std::string names;
    std::istringstream lines(m_text.str());
    for (std::string line; std::getline(lines, line);)
        if (line == "one" || line == "two") names += line + ".";
    EXPECT_EQ(names, "one.two.one.");
    EXPECT_EQ(m_text.str().find("one "), std::string::npos);
}

TEST_F(WidthTest, AWideTerminalNamesTheBroadcasterInEveryLine) {
    m_width = 132;
    Send("qolive/one/0123abcd/up/4", samples::kCommand);
    EXPECT_NE(m_text.str().find(" one          0123abcd "), std::string::npos) << m_text.str();
}

TEST_F(OutputTest, EveryKindHasALineForAPerson) {
    Send("qolive/demo/0123abcd/presence", R"({"online":true})");
    Send("qolive/demo/0123abcd/up/2", samples::kLive);
    Send("qolive/demo/0123abcd/up/2", samples::kKeepAlive);
    Send("qolive/demo/0123abcd/up/4", samples::kCommand);
    Send("qolive/demo/0123abcd/up/5", samples::StreamRecord("7", "show"), samples::Head("1", 1));
    Send("qolive/demo/0123abcd/up/5", samples::kFirstFrame, samples::Head("2", 4));
    Send("qolive/demo/0123abcd/up/5", samples::Quality(1, "7"), samples::Head("3", 2));
    Send("qolive/demo/0123abcd/up/5", "[1]", samples::Head("4", 3));
    Send("qolive/demo/0123abcd/up/5", "[1]", samples::Head("4", 3));
    Send("qolive/demo/0123abcd/up/77", "[1]");
    Send("qolive/demo/0123abcd/presence", R"({"online":false})");
    for (const char* part : {"online", "LIVE · session s-1 · show 1920x1080", "co-host guest 1280x720",
                             "keep-alive", "type 7  {", "show (sid 7) 1280x720 at 25 fps, 2500+128 kbps",
                             "show after 412 ms", "show #1 · 2490+128 kbps", "fps █ 25", "cpu ▂ 20 %",
                             "event", "seen before, dropped", "command 77", "offline"})
        EXPECT_NE(m_text.str().find(part), std::string::npos) << part << "\n" << m_text.str();
}

TEST_F(OutputTest, TheSummaryNamesConnectionsAndStreams) {
    Send("qolive/demo/0000000a/up/2", samples::kIdle);
    Send("qolive/demo/0000000a/up/4", samples::kCommand);
    Send("qolive/demo/0000000b/up/2", samples::kIdle);
    Send("qolive/demo/0000000a/up/5", samples::Quality(1, "7"), samples::Head("3", 2));
    Send("qolive/demo/0000000a/up/5", samples::Quality(4, "7"), samples::Head("4", 2));
    Send("qolive/demo/0000000a/up/5", samples::Quality(4, "7"), samples::Head("4", 2));
    JsonLinesWritten();
    m_json.Summarise(0, m_fleet);
    const Json::Value demo = JsonLinesWritten().at(0)["broadcasters"]["demo"];
    EXPECT_EQ(demo["connections"]["0000000a"]["role"], "main");
    EXPECT_EQ(demo["connections"]["0000000a"]["full"], 1);
    EXPECT_EQ(demo["connections"]["0000000a"]["repeated"], 1);
    EXPECT_EQ(demo["connections"]["0000000b"]["role"], "backup");
    EXPECT_EQ(demo["streams"]["7"]["qualityRecords"], 2);
    EXPECT_EQ(demo["streams"]["7"]["lost"], 2);

    m_terminal.Summarise(0, m_fleet);
    EXPECT_NE(m_text.str().find("quality records 2 with 2 samples · lost 2"), std::string::npos)
        << m_text.str();
}

TEST_F(OutputTest, ColoursAreUsedOnlyWhereWanted) {
    std::ostringstream coloured;
    Terminal painter(coloured, true, [] { return std::size_t{80}; });
    painter.Remark(0, "text");
    EXPECT_NE(coloured.str().find("\x1b[33mtext\x1b[0m"), std::string::npos);
    m_terminal.Remark(0, "text");
    EXPECT_EQ(m_text.str().find('\x1b'), std::string::npos);
}

}  // namespace
}  // namespace collector
