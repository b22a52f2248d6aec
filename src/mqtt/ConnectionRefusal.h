#pragma once

#include <string>

#include "mqtt/CenterState.h"

namespace QoPlayer {
namespace mqtt {

/// Why the senders have no connection, when a server or the token is the reason. From `stand` to `lift` each
/// sender is told once, and so is one that is opened meanwhile. On the network thread.
class ConnectionRefusal {
public:
    explicit ConnectionRefusal(CenterState& state) : m_state(state) {}

    void stand(const std::string& reason);
    void tellNewSenders();
    void lift() { m_reason.clear(); }

private:
    void tellAll();

    CenterState& m_state;
    std::string m_reason;
};

}  // namespace mqtt
}  // namespace QoPlayer
