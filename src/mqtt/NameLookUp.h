#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/Sync.h"
#include "mqtt/SocketWaiter.h"

namespace QoPlayer {
namespace mqtt {

/// Finds the literal addresses of a host name, best first; empty when there are none. Blocks.
using NameResolver = std::vector<std::string> (*)(const std::string& host);

/// Replaces the system's resolver in the whole process; null restores it.
void SetNameResolver(NameResolver resolver);

/// `host` in its usual notation if it is a literal IPv4 or IPv6 address, else empty. An IPv6 address may be written
/// without colons as well, the way Windows does in names of shares: 2001-db8--1.ipv6-literal.net, with "s" for the
/// "%" before a scope. Never blocks.
std::string AsLiteralAddress(const std::string& host);

/// True when `literal`, in its usual notation, never leaves this machine.
bool IsLoopbackAddress(const std::string& literal);

/// One look-up, shared by the thread that waits for the resolver and the one that wants the result.
class NameLookUp {
public:
    bool hasEnded() const { return m_ended; }

    /// What was found; to be called after hasEnded.
    const std::vector<std::string>& literals() const { return m_literals; }

private:
    friend class NameLookUps;
    std::vector<std::string> m_literals;
    std::atomic<bool> m_ended{false};
};

/// The name look-ups of one center. Each has a thread of its own that nobody waits for: a look-up that hangs
/// is left behind, joined again when its name is wanted again, and their number is bounded.
class NameLookUps {
public:
    explicit NameLookUps(std::shared_ptr<SocketWaiter> waiter) : m_waiter(std::move(waiter)) {}

    /// Looks `host` up and wakes the waiter when that has ended. Null when too many look-ups hang or no
    /// thread can be started. Does not block; one thread at a time.
    std::shared_ptr<const NameLookUp> begin(const std::string& host);

private:
    static constexpr std::size_t kMostUnderWay = 8;

    static void run(const std::string& host, NameLookUp& lookUp, SocketWaiter& waiter);

    const std::shared_ptr<SocketWaiter> m_waiter;
    std::map<std::string, std::shared_ptr<NameLookUp>> m_underWay;
};

}  // namespace mqtt
}  // namespace QoPlayer
