#include "mqtt/AccessToken.h"

#include <utility>

namespace QoPlayer {
namespace mqtt {

void AccessToken::begin(std::string token, std::int64_t expirySeconds) {
    const qolive::MutexLock lock(m_mutex);
    m_offer.text = std::move(token);
    m_expirySeconds = expirySeconds;
    m_begun = true;
}

void AccessToken::end() {
    const qolive::MutexLock lock(m_mutex);
    m_offer.text = std::string();
    m_begun = false;
}

bool AccessToken::renew(std::string token, std::int64_t expirySeconds) {
    const qolive::MutexLock lock(m_mutex);
    if (!m_begun) return false;
    m_offer.text = std::move(token);
    m_expirySeconds = expirySeconds;
    ++m_offer.renewal;
    return true;
}

AccessToken::Offer AccessToken::offer() const {
    const qolive::MutexLock lock(m_mutex);
    return m_offer;
}

std::uint64_t AccessToken::renewals() const {
    const qolive::MutexLock lock(m_mutex);
    return m_offer.renewal;
}

bool AccessToken::isExpired(std::int64_t nowSeconds) const {
    const qolive::MutexLock lock(m_mutex);
    return !m_offer.text.empty() && m_expirySeconds != 0 && nowSeconds >= m_expirySeconds;
}

}  // namespace mqtt
}  // namespace QoPlayer
