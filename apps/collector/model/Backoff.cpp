#include "collector/model/Backoff.h"

#include <algorithm>

namespace collector {
namespace {

constexpr Millis kShortest = 500;
constexpr Millis kLongest = 30000;
constexpr Millis kSound = 30000;

}  // namespace

Millis Backoff::Next(Millis held) {
    if (held >= kSound) m_last = 0;
    m_last = std::clamp(2 * m_last, kShortest, kLongest);
    return m_last;
}

}  // namespace collector
