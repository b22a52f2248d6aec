#include "network/LookUps.h"

#include <utility>

#include "platform/DetachedThread.h"
#include "platform/GuardedPass.h"

struct LookUps::LookUp {
    qolive::Mutex mutex;
    qolive::ConditionVariable done;
    bool isDone QOLIVE_GUARDED_BY(mutex) = false;
    std::vector<HostAddress> addresses QOLIVE_GUARDED_BY(mutex);

    void finish(std::vector<HostAddress> found) {
        const qolive::MutexLock lock(mutex);
        addresses = std::move(found);
        isDone = true;
        done.notify_all();
    }

    std::vector<HostAddress> result(Deadline deadline) {
        const qolive::MutexLock lock(mutex);
        while (!isDone)
            if (done.wait_until(mutex, deadline) == std::cv_status::timeout) break;
        return addresses;
    }
};

LookUps::LookUps(Resolver resolver) : m_resolver(std::move(resolver)) {}

std::vector<HostAddress> LookUps::addressesOf(const std::string& host, Deadline deadline) {
    const auto lookUp = joinOrStart(host);
    return lookUp ? lookUp->result(deadline) : std::vector<HostAddress>();
}

std::shared_ptr<LookUps::LookUp> LookUps::joinOrStart(const std::string& host) {
    const qolive::MutexLock lock(m_mutex);
    const auto running = m_running.find(host);
    if (running != m_running.end()) return running->second;
    return m_running.size() < kMostAtOnce ? start(host) : nullptr;
}

std::shared_ptr<LookUps::LookUp> LookUps::start(const std::string& host) {
    auto lookUp = std::make_shared<LookUp>();
    std::function<void()> work = [this, host, lookUp] { run(host, *lookUp); };
    const auto entry = m_running.emplace(host, lookUp).first;
    KeepLibraryLoaded();
    if (StartDetachedThread(std::move(work))) return lookUp;
    m_running.erase(entry);
    return nullptr;
}

void LookUps::run(const std::string& host, LookUp& lookUp) {
    std::vector<HostAddress> addresses;
    RunPass("[LookUps] out of memory: a look-up was dropped", [&] { addresses = m_resolver(host); });
    {
        const qolive::MutexLock lock(m_mutex);
        m_running.erase(host);
    }
    lookUp.finish(std::move(addresses));
}
