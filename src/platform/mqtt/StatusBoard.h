#pragma once

#include <string>

#include "platform/MsgCenterWatch.h"
#include "platform/Sync.h"

namespace QoPlayer {
namespace mqtt {

/// What a center is doing, for who looks and for the listener. Read by any thread; changed by one at a time: the one
/// that starts the center, then its network thread.
class StatusBoard {
public:
    StatusBoard();

    /// To be called before the center is used; null for none.
    void setListener(MsgCenterWatch::Listener listener, void* user);

    /// Notes a change and tells the listener of it, with no lock held; nothing when it is none. Where memory is
    /// short the reason is left out.
    void set(MsgCenterState state, const std::string& reason) noexcept;

    MsgCenterStatus get() const;
    MsgCenterState state() const;

private:
    bool change(MsgCenterState state, const std::string& reason) noexcept;

    MsgCenterWatch::Listener m_listener = nullptr;
    void* m_user = nullptr;

    mutable Mutex m_mutex;
    MsgCenterStatus m_status QOLIVE_GUARDED_BY(m_mutex);
};

}  // namespace mqtt
}  // namespace QoPlayer
