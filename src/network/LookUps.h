#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/Sync.h"

namespace qolive {

/// Finds the literal addresses of a host name, best first; empty when there are none. Blocks.
using NameResolver = std::vector<std::string> (*)(const std::string& name);

/// Replaces the system's resolver, ResolveHost, in the whole process; null restores it.
void SetNameResolver(NameResolver resolver);

/// One look-up, shared by the thread that waits for the resolver and those that want the result. Any thread.
class LookUp {
public:
    using Deadline = std::chrono::steady_clock::time_point;

    /// Waits for the end, until `deadline` at the latest; says whether it has come.
    bool waitUntil(Deadline deadline) const;

    /// As waitUntil, without waiting.
    bool hasEnded() const { return waitUntil(Deadline::min()); }

    /// What was found; nothing before the end.
    std::vector<std::string> literals() const;

private:
    friend class LookUps;
    void end(std::vector<std::string> literals);

    mutable Mutex m_mutex;
    mutable ConditionVariable m_end;
    bool m_ended QOLIVE_GUARDED_BY(m_mutex) = false;
    std::vector<std::string> m_literals QOLIVE_GUARDED_BY(m_mutex);
};

/// The name look-ups of one owner. A system's resolver can take minutes and cannot be stopped, so each
/// look-up has a thread of its own that nobody waits for: one that hangs is left behind, joined by whoever
/// asks for its name meanwhile, and their number is bounded. They may outlive this object. Any thread may use
/// it.
class LookUps {
public:
    /// No more than `most` run at a time. The thread of one that has just ended calls `onEnd`.
    explicit LookUps(
        std::size_t most, std::function<void()> onEnd = [] {});

    /// Looks `name` up, or joins the look-up of it that runs. Null when too many run or the system gives no
    /// thread. Does not block.
    std::shared_ptr<const LookUp> begin(const std::string& name);

private:
    std::shared_ptr<const LookUp> start(const std::string& name) QOLIVE_REQUIRES(m_mutex);
    void forgetEnded() QOLIVE_REQUIRES(m_mutex);
    static void run(const std::string& name, LookUp& lookUp);

    const std::size_t m_most;
    const std::function<void()> m_onEnd;
    Mutex m_mutex;
    std::map<std::string, std::shared_ptr<LookUp>> m_running QOLIVE_GUARDED_BY(m_mutex);
};

}  // namespace qolive
