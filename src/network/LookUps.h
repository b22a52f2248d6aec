#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/Sync.h"
#include "network/HostAddress.h"

/// Looks names up with a time limit. A system's resolver can take minutes and cannot be stopped, so each
/// look-up has a thread of its own, which is left behind when the limit passes. To bound their number,
/// whoever asks for a name that is being looked up waits for that same look-up, and no more than kMostAtOnce
/// run at a time.
///
/// An object must live as long as the process. Any thread may use it.
class LookUps {
public:
    using Resolver = std::function<std::vector<HostAddress>(const std::string& host)>;
    using Deadline = std::chrono::steady_clock::time_point;
    static constexpr std::size_t kMostAtOnce = 16;

    explicit LookUps(Resolver resolver);

    /// The addresses of `host`; none when there are none by the deadline or too much is being looked up.
    std::vector<HostAddress> addressesOf(const std::string& host, Deadline deadline);

private:
    struct LookUp;

    std::shared_ptr<LookUp> joinOrStart(const std::string& host);
    std::shared_ptr<LookUp> start(const std::string& host) QOLIVE_REQUIRES(m_mutex);
    void run(const std::string& host, LookUp& lookUp);

    const Resolver m_resolver;
    qolive::Mutex m_mutex;
    std::map<std::string, std::shared_ptr<LookUp>> m_running QOLIVE_GUARDED_BY(m_mutex);
};
