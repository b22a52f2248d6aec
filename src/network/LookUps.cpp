#include "network/LookUps.h"

#include <atomic>
#include <iterator>
#include <utility>

#include "network/Host.h"
#include "platform/DetachedThread.h"
#include "platform/GuardedPass.h"

namespace qolive {
namespace {

std::atomic<NameResolver> currentResolver{ResolveHost};

}  // namespace

void SetNameResolver(NameResolver resolver) {
    currentResolver = resolver ? resolver : ResolveHost;
}

bool LookUp::waitUntil(Deadline deadline) const {
    const MutexLock lock(m_mutex);
    while (!m_ended && std::chrono::steady_clock::now() < deadline)
        m_end.wait_until(m_mutex, deadline);
    return m_ended;
}

std::vector<std::string> LookUp::literals() const {
    const MutexLock lock(m_mutex);
    return m_literals;
}

void LookUp::end(std::vector<std::string> literals) {
    const MutexLock lock(m_mutex);
    m_literals = std::move(literals);
    m_ended = true;
    m_end.notify_all();
}

LookUps::LookUps(std::size_t most, std::function<void()> onEnd) : m_most(most), m_onEnd(std::move(onEnd)) {}

std::shared_ptr<const LookUp> LookUps::begin(const std::string& name) {
    const MutexLock lock(m_mutex);
    forgetEnded();
    const auto running = m_running.find(name);
    if (running != m_running.end()) return running->second;
    return m_running.size() < m_most ? start(name) : nullptr;
}

void LookUps::forgetEnded() {
    for (auto entry = m_running.begin(); entry != m_running.end();)
        entry = entry->second->hasEnded() ? m_running.erase(entry) : std::next(entry);
}

std::shared_ptr<const LookUp> LookUps::start(const std::string& name) {
    const auto lookUp = std::make_shared<LookUp>();
    std::function<void()> work = [name, lookUp, onEnd = m_onEnd] {
        run(name, *lookUp);
        onEnd();
    };
    const auto entry = m_running.emplace(name, lookUp).first;
    KeepLibraryLoaded();
    if (StartDetachedThread(std::move(work))) return lookUp;
    m_running.erase(entry);
    return nullptr;
}

void LookUps::run(const std::string& name, LookUp& lookUp) {
    std::vector<std::string> literals;
    RunPass("[LookUps] out of memory: a look-up was dropped",
            [&] { literals = currentResolver.load()(name); });
    lookUp.end(std::move(literals));
}

}  // namespace qolive
