#pragma once

#include <cstdint>
#include <string>

#include "base/Sync.h"

namespace QoPlayer {
namespace mqtt {

/// The access token of a center, which the host may replace while the center is started. Any thread.
class AccessToken {
public:
    /// The token that a connection is made with, and the number of the renewal that it came with.
    struct Offer {
        std::string text;
        std::uint64_t renewal = 0;
    };

    /// The center starts with `token`; `expirySeconds` since 1970, 0 = never.
    void begin(std::string token, std::int64_t expirySeconds);

    /// The center has stopped: no token is kept and none taken.
    void end();

    /// Takes the place of the present one; false while the center is stopped.
    bool renew(std::string token, std::int64_t expirySeconds);

    Offer offer() const;
    std::uint64_t renewals() const;

    /// True when there is a token that may not be offered at `nowSeconds` any more.
    bool isExpired(std::int64_t nowSeconds) const;

private:
    mutable qolive::Mutex m_mutex;
    Offer m_offer QOLIVE_GUARDED_BY(m_mutex);
    std::int64_t m_expirySeconds QOLIVE_GUARDED_BY(m_mutex) = 0;
    bool m_begun QOLIVE_GUARDED_BY(m_mutex) = false;
};

}  // namespace mqtt
}  // namespace QoPlayer
