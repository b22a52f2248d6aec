#include "chaos/Script.h"

#include <array>
#include <utility>

namespace chaos {
namespace {

class Chosen final : public Script {
public:
    explicit Chosen(std::uint64_t seed) : m_random(seed), m_moment(anyMoment()), m_left(anyCount()) {}

    std::optional<Shot> next(Moment moment, const Scene& scene) override {
        if (moment != m_moment || m_left == 0) return std::nullopt;
        --m_left;
        return AnyShot(m_random, scene);
    }

    End endAfter(Moment moment) override {
        if (moment == Moment::Subscribed && m_moment != moment) return End::Close;
        if (moment != m_moment) return End::GoOn;
        if (moment != Moment::Subscribed && m_random.oneIn(8)) return End::GoOn;
        return m_random.oneIn(2) ? End::Close : End::Reset;
    }

    int patienceMs() override { return m_random.oneIn(50) ? 40 : static_cast<int>(m_random.below(3)); }

private:
    Moment anyMoment() {
        static constexpr std::array<Moment, 10> kMoments = {
            Moment::Accepted,    Moment::Connecting, Moment::Connecting, Moment::Subscribing,
            Moment::Subscribing, Moment::Subscribed, Moment::Subscribed, Moment::Subscribed,
            Moment::Subscribed,  Moment::Subscribed};
        return m_random.pick(kMoments);
    }

    std::size_t anyCount() {
        return m_moment == Moment::Subscribed ? m_random.between(1, 40) : m_random.between(1, 4);
    }

    Random m_random;
    const Moment m_moment;
    std::size_t m_left;
};

class Recorded final : public Script {
public:
    explicit Recorded(std::vector<Sent> sent) : m_sent(std::move(sent)) {}

    std::optional<Shot> next(Moment moment, const Scene& scene) override {
        if (m_next == m_sent.size() || m_sent[m_next].moment != moment) return std::nullopt;
        const Sent& sent = m_sent[m_next++];
        Shot shot = sent.shot;
        if (sent.prefix.size() != scene.prefix.size()) return shot;
        for (auto at = shot.bytes.find(sent.prefix); at != std::string::npos;
             at = shot.bytes.find(sent.prefix, at + 1))
            shot.bytes.replace(at, sent.prefix.size(), scene.prefix);
        return shot;
    }

    End endAfter(Moment) override { return m_next == m_sent.size() ? End::Close : End::GoOn; }
    int patienceMs() override { return 40; }

private:
    const std::vector<Sent> m_sent;
    std::size_t m_next = 0;
};

class Honest final : public Script {
public:
    std::optional<Shot> next(Moment, const Scene&) override { return std::nullopt; }
    End endAfter(Moment) override { return End::GoOn; }
    int patienceMs() override { return 0; }
    bool lasts() const override { return true; }
};

}  // namespace

std::unique_ptr<Script> RandomScript(std::uint64_t seed) {
    return std::make_unique<Chosen>(seed);
}

std::unique_ptr<Script> RecordedScript(std::vector<Sent> sent) {
    return std::make_unique<Recorded>(std::move(sent));
}

std::unique_ptr<Script> HonestScript() {
    return std::make_unique<Honest>();
}

}  // namespace chaos
