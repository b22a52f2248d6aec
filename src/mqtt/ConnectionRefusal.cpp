#include "mqtt/Refusal.h"

namespace QoPlayer {
namespace mqtt {

void Refusal::stand(const std::string& reason) {
    m_reason = reason;
    m_state.senders.takeChanged();
    tellAll();
}

void Refusal::tellNewSenders() {
    if (!m_reason.empty() && m_state.senders.takeChanged()) tellAll();
}

void Refusal::tellAll() {
    for (const Senders::Handle& sender : m_state.senders.all())
        if (sender->told != m_reason) m_state.tell(sender, false, m_reason);
}

}  // namespace mqtt
}  // namespace QoPlayer
