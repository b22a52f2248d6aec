#pragma once

namespace host {

/// Keeps what the heartbeat says of one stream true: while nothing of the stream is being sent its push
/// status is 0, and then again what the host had set. For one thread.
class PushStatus {
public:
    /// `number`: 1 = the anchor's stream, 2 = the co-host's, 3 = the mix; the heartbeat knows no others.
    explicit PushStatus(int number) : m_number(number) {}

    /// To be called after everything that may have changed either.
    void Turn(bool sending);

private:
    const int m_number;
    int m_setByHost = 0;
};

}  // namespace host
