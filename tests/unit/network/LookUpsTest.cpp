#include "network/LookUps.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <thread>
#include <utility>

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

HostAddress loopback() {
    HostAddress address;
    address.bytes = {127, 0, 0, 1};
    return address;
}

/// A resolver that answers nothing until it is released.
class HeldResolver {
public:
    std::vector<HostAddress> operator()(const std::string& /*host*/) {
        ++m_calls;
        m_released.wait();
        return {loopback()};
    }
    void release() { m_release.set_value(); }
    int calls() const { return m_calls; }

private:
    std::promise<void> m_release;
    std::shared_future<void> m_released = m_release.get_future().share();
    std::atomic<int> m_calls{0};
};

/// Look-ups outlive the test, as their threads may.
template <class Object, class... Arguments>
Object& kept(Arguments&&... arguments) {
    static auto* const all = new std::vector<std::unique_ptr<Object>>;
    all->push_back(std::make_unique<Object>(std::forward<Arguments>(arguments)...));
    return *all->back();
}

LookUps& lookUpsWith(HeldResolver& resolver) {
    return kept<LookUps>([&resolver](const std::string& host) { return resolver(host); });
}

auto in(milliseconds time) {
    return steady_clock::now() + time;
}

TEST(LookUps, GiveTheAddressesOfAName) {
    auto& lookUps = kept<LookUps>([](const std::string&) { return std::vector<HostAddress>{loopback()}; });
    const auto addresses = lookUps.addressesOf("host", in(seconds(30)));
    ASSERT_EQ(addresses.size(), 1u);
    EXPECT_EQ(addresses[0].bytes[0], 127);
}

TEST(LookUps, EndAtTheDeadlineHoweverLongTheResolverTakes) {
    auto& resolver = kept<HeldResolver>();
    auto& lookUps = lookUpsWith(resolver);
    const auto before = steady_clock::now();
    EXPECT_TRUE(lookUps.addressesOf("host", in(milliseconds(50))).empty());
    const auto passed = steady_clock::now() - before;
    EXPECT_GE(passed, milliseconds(50));
    EXPECT_LT(passed, seconds(20));
}

TEST(LookUps, WhoAsksForANameThatIsBeingLookedUpWaitsForThatLookUp) {
    auto& resolver = kept<HeldResolver>();
    auto& lookUps = lookUpsWith(resolver);
    lookUps.addressesOf("host", in(milliseconds(1)));
    auto second = std::async(std::launch::async,
                             [&lookUps] { return lookUps.addressesOf("host", in(seconds(30))).size(); });
    resolver.release();
    EXPECT_EQ(second.get(), 1u);
    // The one that asked last may have found the first look-up already finished.
    EXPECT_LE(resolver.calls(), 2);
}

TEST(LookUps, RepeatedQuestionsForANameThatHangsStartOneLookUp) {
    auto& resolver = kept<HeldResolver>();
    auto& lookUps = lookUpsWith(resolver);
    for (int i = 0; i < 100; ++i)
        EXPECT_TRUE(lookUps.addressesOf("host", in(milliseconds(0))).empty());
    while (resolver.calls() == 0)
        std::this_thread::yield();
    EXPECT_EQ(resolver.calls(), 1);
}

TEST(LookUps, NoMoreThanTheLimitRunAtATime) {
    auto& resolver = kept<HeldResolver>();
    auto& lookUps = lookUpsWith(resolver);
    constexpr int kLimit = static_cast<int>(LookUps::kMostAtOnce);
    for (int i = 0; i < 3 * kLimit; ++i)
        EXPECT_TRUE(lookUps.addressesOf("host" + std::to_string(i), in(milliseconds(0))).empty());
    while (resolver.calls() < kLimit)
        std::this_thread::yield();
    EXPECT_EQ(resolver.calls(), kLimit);
    EXPECT_EQ(kLimit, 16);
}

TEST(LookUps, OneThatHasEndedMakesRoomForAnother) {
    auto& resolver = kept<HeldResolver>();
    auto& lookUps = lookUpsWith(resolver);
    for (std::size_t i = 0; i < LookUps::kMostAtOnce; ++i)
        lookUps.addressesOf("host" + std::to_string(i), in(milliseconds(0)));
    EXPECT_TRUE(lookUps.addressesOf("another", in(seconds(30))).empty());
    resolver.release();
    while (lookUps.addressesOf("another", in(seconds(30))).empty())
        std::this_thread::yield();
}

TEST(LookUps, OneThatMemoryIsTooShortForHasNoResultAndTheNextOneHas) {
    static std::atomic<bool> isShort{true};
    auto& lookUps = kept<LookUps>([](const std::string&) -> std::vector<HostAddress> {
        if (isShort) throw std::bad_alloc();
        return {loopback()};
    });
    const auto deadline = [] { return steady_clock::now() + seconds(60); };
    EXPECT_TRUE(lookUps.addressesOf("a", deadline()).empty());
    isShort = false;
    EXPECT_EQ(lookUps.addressesOf("a", deadline()).size(), 1U);
}

}  // namespace
