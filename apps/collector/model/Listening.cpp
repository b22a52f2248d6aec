#include "collector/model/Listening.h"

#include <utility>

namespace collector {
namespace {

constexpr Millis kStall = 1000;

}  // namespace

Millis Listening::Missed(Millis now) {
    const Millis since = now - std::exchange(m_last, now);
    return since >= kStall ? since : 0;
}

}  // namespace collector
