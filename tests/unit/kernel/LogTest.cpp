#include "platform/HostSink.h"
#include "platform/Log.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "fakes/CapturingLog.h"
#include "kernel/LogLine.h"

namespace {

TEST(Log, HandsTheFormattedLineAndItsLevelToTheSink) {
    const fakes::CapturingLog log;
    Log(LogLevel::Error, "port %d of %s", 80, "host");
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(log.lines()[0].level, 4);
    EXPECT_EQ(log.lines()[0].text, "port 80 of host");
}

TEST(Log, KeepsALineLongerThanTheUsualOneWhole) {
    const fakes::CapturingLog log;
    const std::string text(5000, 'x');
    Log(LogLevel::Info, "%s", text.c_str());
    EXPECT_EQ(log.texts().at(0), text);
}

TEST(Log, CutsALineAtSixtyFourKibibytesAndSaysSo) {
    const fakes::CapturingLog log;
    Log(LogLevel::Info, "%s", std::string(10'000'000, 'x').c_str());
    const std::string line = log.texts().at(0);
    EXPECT_EQ(line.size(), 64u * 1024 - 1);
    EXPECT_EQ(line.substr(line.size() - 7), "x [cut]");
}

TEST(Log, ALineHasNoLineBreakAtItsEnd) {
    const fakes::CapturingLog log;
    Log(LogLevel::Info, "%s", "{\"type\":1}\n");
    Log(LogLevel::Info, "%s", (std::string(5000, 'x') + "\n").c_str());
    Log(LogLevel::Info, "%s", "\n");
    EXPECT_EQ(log.texts(), (std::vector<std::string>{"{\"type\":1}", std::string(5000, 'x'), ""}));
}

TEST(Log, TheDefaultLineEscapesControlCharactersSoThatItStaysOneLine) {
    std::tm when{};
    when.tm_year = 126;
    when.tm_mday = 31;
    when.tm_hour = 12;
    EXPECT_EQ(FormatLogLine(when, 7, 2, "a\nb\x1b[0m\x7f"),
              "2026-01-31 12:00:00.007 2 a\\x0ab\\x1b[0m\\x7f\n");
}

TEST(Log, TheDefaultLineEscapesControlCharactersAndNothingElse) {
    const std::tm when{};
    const auto escaped = [&when](const char* text) {
        const std::string line = FormatLogLine(when, 0, 2, text);
        return line.substr(line.find(" 2 ") + 3);
    };
    EXPECT_EQ(escaped("\x01\x1f\x7f"), "\\x01\\x1f\\x7f\n");
    EXPECT_EQ(escaped(" ~\x80\xff"), " ~\x80\xff\n");
}

TEST(Log, TheLevelsAreTheNumbersThatASinkKnows) {
    EXPECT_EQ(static_cast<int>(LogLevel::Trace), 0);
    EXPECT_EQ(static_cast<int>(LogLevel::Debug), 1);
    EXPECT_EQ(static_cast<int>(LogLevel::Info), 2);
    EXPECT_EQ(static_cast<int>(LogLevel::Warning), 3);
    EXPECT_EQ(static_cast<int>(LogLevel::Error), 4);
}

TEST(Log, LinesOfEveryLengthComeWhole) {
    const fakes::CapturingLog log;
    for (const std::size_t length : {0U, 1U, 1022U, 1023U, 1024U, 1025U, 65534U, 65535U}) {
        const std::string text(length, 'x');
        Log(LogLevel::Info, "%s", text.c_str());
        EXPECT_TRUE(log.texts().back() == text) << length;
    }
    Log(LogLevel::Info, "%s", std::string(65536, 'x').c_str());
    EXPECT_EQ(log.texts().back().substr(65529), " [cut]");
}

TEST(Log, EachOfTwoSinksInTurnGetsItsOwnLines) {
    const fakes::CapturingLog outer;
    Log(LogLevel::Info, "1");
    {
        const fakes::CapturingLog inner;
        Log(LogLevel::Info, "2");
        EXPECT_EQ(inner.texts(), std::vector<std::string>{"2"});
        const fakes::CapturingLog innermost;
        Log(LogLevel::Info, "3");
        EXPECT_EQ(innermost.texts(), std::vector<std::string>{"3"});
        EXPECT_EQ(inner.texts(), std::vector<std::string>{"2"});
    }
    EXPECT_EQ(outer.texts(), std::vector<std::string>{"1"});
}

TEST(Log, AThreadIsInTheSinkOnlyWhileItCallsIt) {
    struct Sink {
        bool wasInside = false;
        static void receive(void* user, int, const char*) {
            static_cast<Sink*>(user)->wasInside = IsInLogSink();
        }
    } sink;
    EXPECT_FALSE(IsInLogSink());
    SetLogSink(&Sink::receive, &sink);
    Log(LogLevel::Info, "line");
    EXPECT_TRUE(sink.wasInside);
    EXPECT_FALSE(IsInLogSink());
    SetLogSink(nullptr, nullptr);
}

TEST(Log, NoThreadIsInsideASinkThatHasBeenReplaced) {
    struct Counter {
        std::atomic<int> inside{0};
        static void receive(void* user, int, const char*) {
            auto& inside = static_cast<Counter*>(user)->inside;
            ++inside;
            std::this_thread::yield();
            --inside;
        }
    };
    std::atomic<bool> run{true};
    std::vector<std::thread> loggers;
    for (int i = 0; i < 3; ++i)
        loggers.emplace_back([&run] {
            while (run)
                Log(LogLevel::Info, "line");
        });
    const auto ignore = [](void*, int, const char*) {};
    for (int i = 0; i < 500; ++i) {
        Counter counter;
        SetLogSink(&Counter::receive, &counter);
        SetLogSink(ignore, nullptr);
        EXPECT_EQ(counter.inside, 0);
    }
    run = false;
    for (auto& logger : loggers)
        logger.join();
}

/// Holds the first line that comes until it is let go.
struct HoldingSink {
    std::promise<void> entered;
    std::promise<void> letGo;
    std::atomic<bool> holds{true};
    std::atomic<bool> left{false};

    static void receive(void* user, int, const char*) {
        auto& self = *static_cast<HoldingSink*>(user);
        if (!self.holds.exchange(false)) return;
        self.entered.set_value();
        self.letGo.get_future().wait();
        self.left = true;
    }
};

TEST(Log, ReplacingTheSinkWaitsForTheLineThatItIsWriting) {
    HoldingSink old;
    SetLogSink(&HoldingSink::receive, &old);
    std::thread logger([] { Log(LogLevel::Info, "held"); });
    old.entered.get_future().wait();
    std::atomic<int> lines{0};
    auto replacing = std::async(std::launch::async, [&] {
        SetLogSink([](void* user, int, const char*) { ++*static_cast<std::atomic<int>*>(user); }, &lines);
        return old.left.load();
    });
    while (lines == 0)  // it has been replaced then
        Log(LogLevel::Info, "line");
    EXPECT_EQ(replacing.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);
    old.letGo.set_value();
    EXPECT_TRUE(replacing.get());
    logger.join();
    SetLogSink(nullptr, nullptr);
}

TEST(Log, WhereMemoryIsShortTheDefaultLineIsTheTextOnOneLine) {
    char line[8];
    const auto bare = [&line](const char* text) {
        return std::string(line, FormatBareLogLine(line, sizeof line, text));
    };
    EXPECT_EQ(bare("a\nb"), "a.b\n");
    EXPECT_EQ(bare(""), "\n");
    EXPECT_EQ(bare("1234567"), "1234567\n");
    EXPECT_EQ(bare("12345678"), "1234567\n");
}

}  // namespace
