#include "network/LookUps.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <new>
#include <thread>

using namespace std::chrono_literals;
using qolive::LookUp;
using qolive::LookUps;
using std::chrono::steady_clock;

namespace {

using Literals = std::vector<std::string>;

/// Holds back the look-ups of names that begin with "hang"; each test has its own.
struct Gate {
    std::promise<void> open;
    std::shared_future<void> opened{open.get_future()};
};
std::unique_ptr<Gate> gate;
std::atomic<int> asked{0};

Literals Resolve(const std::string& host) {
    ++asked;
    if (host.rfind("hang", 0) == 0) std::shared_future<void>(gate->opened).wait();
    if (host == "nowhere.test") return {};
    if (host == "short.test") throw std::bad_alloc();
    return {"192.0.2.1", "2001:db8::1"};
}

class LookUpsTest : public testing::Test {
protected:
    static constexpr int kMost = 8;

    void SetUp() override {
        gate = std::make_unique<Gate>();
        asked = 0;
        qolive::SetNameResolver(Resolve);
    }

    static auto soon() { return steady_clock::now() + 60s; }

    Literals found(const std::string& host) {
        const auto lookUp = m_lookUps.begin(host);
        return lookUp && lookUp->waitUntil(soon()) ? lookUp->literals() : Literals();
    }

    LookUps m_lookUps{kMost};
};

TEST_F(LookUpsTest, GiveWhatTheResolverFindsInItsOrder) {
    EXPECT_EQ(found("good.test"), (Literals{"192.0.2.1", "2001:db8::1"}));
    const auto nowhere = m_lookUps.begin("nowhere.test");
    EXPECT_TRUE(nowhere->waitUntil(soon()));
    EXPECT_TRUE(nowhere->literals().empty());
}

TEST_F(LookUpsTest, OneThatMemoryIsTooShortForEndsWithoutAResultAndTheNextOneHasOne) {
    const auto cut = m_lookUps.begin("short.test");
    EXPECT_TRUE(cut->waitUntil(soon()));
    EXPECT_TRUE(cut->literals().empty());
    EXPECT_FALSE(found("good.test").empty());
}

TEST_F(LookUpsTest, EachBeginAfterTheEndAsksAgain) {
    found("good.test");
    found("good.test");
    EXPECT_EQ(asked, 2);
}

TEST_F(LookUpsTest, OneThatHangsDelaysNoOtherAndIsJoined) {
    const auto hanging = m_lookUps.begin("hang.test");
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(m_lookUps.begin("hang.test"), hanging);
    EXPECT_FALSE(found("good.test").empty());
    EXPECT_FALSE(hanging->hasEnded());
    gate->open.set_value();
    EXPECT_TRUE(hanging->waitUntil(soon()));
    EXPECT_EQ(asked, 2);
}

TEST_F(LookUpsTest, AllWhoWaitForOneHearOfItsEnd) {
    const auto wait = [lookUp = m_lookUps.begin("hang.test")] {
        return lookUp->waitUntil(soon()) ? lookUp->literals().size() : 0;
    };
    auto first = std::async(std::launch::async, wait);
    auto second = std::async(std::launch::async, wait);
    gate->open.set_value();
    EXPECT_EQ(first.get(), 2U);
    EXPECT_EQ(second.get(), 2U);
}

TEST_F(LookUpsTest, AWaitEndsAtItsDeadlineHoweverLongTheResolverTakes) {
    const auto hanging = m_lookUps.begin("hang.test");
    const auto before = steady_clock::now();
    EXPECT_FALSE(hanging->waitUntil(before + 50ms));
    EXPECT_GE(steady_clock::now() - before, 50ms);
    EXPECT_TRUE(hanging->literals().empty());
    gate->open.set_value();
    EXPECT_TRUE(hanging->waitUntil(soon()));
}

TEST_F(LookUpsTest, NoMoreThanTheirBoundRunAtATime) {
    for (int i = 0; i < kMost; ++i)
        EXPECT_NE(m_lookUps.begin("hang" + std::to_string(i)), nullptr);
    EXPECT_EQ(m_lookUps.begin("good.test"), nullptr);
    EXPECT_NE(m_lookUps.begin("hang0"), nullptr) << "which runs";
    gate->open.set_value();
    while (asked < kMost || found("good.test").empty())
        std::this_thread::yield();
}

TEST_F(LookUpsTest, TellOfEachEndOnceItCanBeSeen) {
    std::promise<void> told;
    std::shared_ptr<const LookUp> hanging;
    bool hadEnded = false;
    LookUps telling(kMost, [&] {
        hadEnded = hanging->hasEnded();
        told.set_value();
    });
    hanging = telling.begin("hang.test");
    gate->open.set_value();
    told.get_future().wait();
    EXPECT_TRUE(hadEnded);
}

TEST_F(LookUpsTest, MayOutliveWhoAsked) {
    auto told = std::make_shared<std::promise<void>>();
    auto end = told->get_future();
    auto asker = std::make_unique<LookUps>(kMost, [told] { told->set_value(); });
    const auto hanging = asker->begin("hang.test");
    asker.reset();
    told.reset();
    gate->open.set_value();
    end.wait();
    EXPECT_FALSE(hanging->literals().empty());
}

}  // namespace
