#include "mqtt/Senders.h"

#include <utility>

#include "mqtt/SdkLog.h"

namespace QoPlayer {
namespace mqtt {

Senders::Handle Senders::open(int cmd, MsgSenderCallback callback, void* user) {
    const qolive::MutexLock lock(m_mutex);
    if (m_senders.count(cmd) != 0) return nullptr;
    auto sender = std::make_shared<Sender>(cmd, callback, user);
    m_senders.emplace(cmd, sender);
    m_changed = true;
    return sender;
}

Senders::Handle Senders::close(int cmd) {
    const qolive::MutexLock lock(m_mutex);
    Handle sender;
    const auto found = m_senders.find(cmd);
    if (found != m_senders.end()) {
        sender = found->second;
        sender->closed = true;
        m_closed.insert(m_senders.extract(found));
        m_changed = true;
    }
    awaitCallbackOfClosed(cmd);
    return sender;
}

void Senders::awaitCallbackOfClosed(int cmd) {
    while (m_running && m_running->cmd == cmd && m_running->closed &&
           m_runningOn != std::this_thread::get_id())
        m_callbackEnded.wait(m_mutex);
}

Senders::Handle Senders::find(int cmd) {
    const qolive::MutexLock lock(m_mutex);
    const auto found = m_senders.find(cmd);
    return found == m_senders.end() ? nullptr : found->second;
}

std::vector<Senders::Handle> Senders::all() {
    const qolive::MutexLock lock(m_mutex);
    std::vector<Handle> senders;
    for (const auto& [cmd, sender] : m_senders)
        senders.push_back(sender);
    return senders;
}

void Senders::forgetWhatWasTold() {
    const qolive::MutexLock lock(m_mutex);
    for (const auto& [cmd, sender] : m_senders)
        sender->told.clear();
}

std::set<int> Senders::takeClosed() {
    const qolive::MutexLock lock(m_mutex);
    std::set<int> commands;
    for (const auto& [cmd, sender] : m_closed)
        commands.insert(cmd);
    m_closed.clear();
    return commands;
}

void Senders::notify(const Handle& sender, int msgType, int code, const void* data, std::size_t len) {
    {
        const qolive::MutexLock lock(m_mutex);
        if (sender->closed) return;
        m_running = sender.get();
        m_runningOn = std::this_thread::get_id();
    }
    RunSdkPass("error: a callback threw, or memory is short", [&] {
        sender->callback(sender->user, msgType, code, static_cast<const unsigned char*>(data), len);
    });
    const qolive::MutexLock lock(m_mutex);
    m_running = nullptr;
    m_callbackEnded.notify_all();
}

}  // namespace mqtt
}  // namespace QoPlayer
