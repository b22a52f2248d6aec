#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace chaos {

/// The same numbers for the same seed on every machine.
class Random {
public:
    explicit Random(std::uint64_t seed) : m_state(seed) {}

    std::uint64_t next() {
        m_state += 0x9e3779b97f4a7c15U;
        std::uint64_t mixed = m_state;
        mixed = (mixed ^ (mixed >> 30U)) * 0xbf58476d1ce4e5b9U;
        mixed = (mixed ^ (mixed >> 27U)) * 0x94d049bb133111ebU;
        return mixed ^ (mixed >> 31U);
    }

    std::size_t below(std::size_t bound) { return static_cast<std::size_t>(next() % bound); }
    std::size_t between(std::size_t least, std::size_t most) { return least + below(most - least + 1); }
    bool oneIn(std::size_t count) { return below(count) == 0; }
    std::uint8_t byte() { return static_cast<std::uint8_t>(next()); }

    std::string bytes(std::size_t count) {
        std::string text(count, '\0');
        for (char& each : text)
            each = static_cast<char>(byte());
        return text;
    }

    template <class List>
    const auto& pick(const List& list) {
        return list[below(std::size(list))];
    }

private:
    std::uint64_t m_state;
};

}  // namespace chaos
