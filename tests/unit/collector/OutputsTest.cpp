#include "collector/output/Outputs.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <deque>
#include <sstream>
#include <thread>

#include "collector/output/JsonLines.h"

namespace collector {
namespace {

constexpr Millis kLong = 60000;

class Pipe {
public:
    Pipe() {
        std::signal(SIGPIPE, SIG_IGN);
        EXPECT_EQ(pipe(m_ends.data()), 0);
        EXPECT_EQ(fcntl(m_ends[0], F_SETFL, O_NONBLOCK), 0);
    }
    ~Pipe() {
        CloseReader();
        close(m_ends[1]);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int Writer() const { return m_ends[1]; }
    void CloseReader() {
        if (m_ends[0] >= 0) close(m_ends[0]);
        m_ends[0] = -1;
    }
    std::string Read() {
        std::string text;
        std::array<char, 4096> part{};
        for (ssize_t size; (size = read(m_ends[0], part.data(), part.size())) > 0;)
            text.append(part.data(), static_cast<std::size_t>(size));
        return text;
    }

private:
    std::array<int, 2> m_ends{};
};

class OutputsTest : public testing::Test {
protected:
    /// Stays until nobody writes into it any more.
    Pipe& NewPipe() { return m_pipes.emplace_back(); }

    static std::unique_ptr<Output> MakeJson(std::ostream& stream) {
        return std::make_unique<JsonLines>(stream);
    }
    bool EventuallyNoneLeft() {
        for (int i = 0; i < 6000 && m_outputs.AnyLeft(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        return !m_outputs.AnyLeft();
    }
    static std::int64_t Count(const std::string& text, const std::string& part) {
        std::int64_t count = 0;
        for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
            ++count;
        return count;
    }

    std::vector<std::string> m_complaints;
    std::deque<Pipe> m_pipes;
    Outputs m_outputs{[this](const std::string& text) { m_complaints.push_back(text); }};
};

TEST_F(OutputsTest, EveryOutputGetsEverything) {
    Pipe& one = NewPipe();
    Pipe& two = NewPipe();
    m_outputs.Add(MakeJson, one.Writer(), "one");
    m_outputs.Add(MakeJson, two.Writer(), "two");
    for (int i = 0; i < 10; ++i)
        m_outputs.Remark(0, "text " + std::to_string(i));
    m_outputs.Finish(kLong);
    const std::string text = one.Read();
    EXPECT_EQ(Count(text, "\n"), 10);
    EXPECT_LT(text.find("text 3"), text.find("text 4"));
    EXPECT_EQ(two.Read(), text);
    EXPECT_TRUE(m_complaints.empty());
    EXPECT_FALSE(m_outputs.AnyFailed());
}

TEST_F(OutputsTest, OneThatCannotBeWrittenToIsToldAboutOnceAndLeftOut) {
    const int full = open("/dev/full", O_WRONLY);
    ASSERT_GE(full, 0);
    Pipe& good = NewPipe();
    m_outputs.Add(MakeJson, full, "record.jsonl");
    m_outputs.Add(MakeJson, good.Writer(), "the standard output");
    for (int i = 0; i < 5; ++i) {
        m_outputs.Remark(0, "more");
        m_outputs.Finish(kLong);
    }
    EXPECT_TRUE(m_outputs.AnyFailed());
    EXPECT_TRUE(m_outputs.AnyLeft());
    EXPECT_EQ(m_complaints,
              std::vector<std::string>{"cannot write to record.jsonl: No space left on device"});
    EXPECT_EQ(Count(good.Read(), "\n"), 5);
    close(full);
}

TEST_F(OutputsTest, AReaderThatGoesIsNoticedWithoutAnythingToWrite) {
    Pipe& pipe = NewPipe();
    m_outputs.Add(MakeJson, pipe.Writer(), "the standard output");
    m_outputs.Remark(0, "first");
    m_outputs.Finish(kLong);
    EXPECT_TRUE(m_outputs.AnyLeft());
    pipe.CloseReader();
    EXPECT_TRUE(EventuallyNoneLeft());
    EXPECT_TRUE(m_outputs.AnyFailed());
    EXPECT_EQ(m_complaints, std::vector<std::string>{"cannot write to the standard output: Broken pipe"});
}

TEST_F(OutputsTest, AReaderThatDoesNotReadHoldsNobodyUpAndIsToldWhatItMissed) {
    Pipe& blocked = NewPipe();
    Pipe& good = NewPipe();
    m_outputs.Add(MakeJson, blocked.Writer(), "blocked", 100000);
    m_outputs.Add(MakeJson, good.Writer(), "good");
    const std::string filling(1000, 'x');
    constexpr std::int64_t kSent = 1000;
    for (int i = 0; i < kSent; ++i)
        m_outputs.Remark(0, filling);
    std::int64_t came = 0;
    for (int i = 0; i < 6000 && came < kSent; ++i) {
        came += Count(good.Read(), filling);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(came, kSent);

    const std::string mark = " findings were dropped";
    std::string text;
    for (int i = 0; i < 6000 && text.find(mark) == std::string::npos; ++i) {
        text += blocked.Read();
        m_outputs.Remark(0, "after");
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    const std::size_t told = text.find(mark);
    ASSERT_NE(told, std::string::npos);
    const std::size_t begin = text.rfind('"', told) + 1;
    const std::int64_t dropped = std::stoll(text.substr(begin, told - begin));
    const std::string before = text.substr(0, told);
    EXPECT_LT(Count(before, filling), kSent);
    EXPECT_GE(Count(before, filling) + dropped, kSent) << "all are written or counted";
    EXPECT_TRUE(m_complaints.empty());
    EXPECT_FALSE(m_outputs.AnyFailed());
}

TEST_F(OutputsTest, TheEndWaitsNoLongerThanItsPatienceAndSaysWhatIsLost) {
    Pipe& blocked = NewPipe();
    m_outputs.Add(MakeJson, blocked.Writer(), "the standard output");
    for (int i = 0; i < 1000; ++i)
        m_outputs.Remark(0, std::string(1000, 'x'));
    m_outputs.Finish(1);
    ASSERT_EQ(m_complaints.size(), 1U);
    EXPECT_EQ(m_complaints[0].find("the standard output: "), 0U) << m_complaints[0];
    EXPECT_NE(m_complaints[0].find(" findings were dropped"), std::string::npos);
}

}  // namespace
}  // namespace collector
