#include "mqtt/ConnectionRefusal.h"

namespace QoPlayer {
namespace mqtt {

void ConnectionRefusal::stand(const std::string& reason) {
    m_reason = reason;
    m_state.senders.takeChanged();
    tellAll();
}

void ConnectionRefusal::tellNewSenders() {
    if (!m_reason.empty() && m_state.senders.takeChanged()) tellAll();
}

void ConnectionRefusal::tellAll() {
    for (const Senders::Handle& sender : m_state.senders.all())
        if (sender->told != m_reason) m_state.tell(sender, false, m_reason);
}

}  // namespace mqtt
}  // namespace QoPlayer
