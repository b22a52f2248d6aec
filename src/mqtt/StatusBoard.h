#pragma once

#include <string>

#include "base/Sync.h"
#include "platform/MsgCenterWatch.h"

namespace QoPlayer {
namespace mqtt {

/// The reason of a center that has not tried anything yet.
inline constexpr char kStarting[] = "starting";

/// What a center is doing, for who looks and for the listener. Read by any thread; changed by one at a time:
/// the host's that starts the center, then its network thread.
class StatusBoard {
public:
    StatusBoard();

    /// To be called before the center is used; null for none.
    void setListener(MsgCenterWatch::Listener listener, void* user);

    /// Notes a change. Where memory is short the reason is left out.
    void note(MsgCenterState state, const std::string& reason) noexcept;

    /// Notes a change and tells the listener, with no lock held. Does nothing when nothing has changed since
    /// the listener was last told. On the network thread.
    void set(MsgCenterState state, const std::string& reason) noexcept;

    MsgCenterStatus get() const;
    MsgCenterState state() const;

private:
    MsgCenterWatch::Listener m_listener = nullptr;
    void* m_user = nullptr;

    mutable qolive::Mutex m_mutex;
    MsgCenterStatus m_status QOLIVE_GUARDED_BY(m_mutex);
    bool m_untold QOLIVE_GUARDED_BY(m_mutex) = false;
};

}  // namespace mqtt
}  // namespace QoPlayer
