#include <atomic>
#include <map>
#include <mutex>

#include "platform/MsgCenter.h"

// A message center that is always connected, accepts everything and remembers nothing: for fuzzing and
// benchmarks, which call it too often for the scripted one.

namespace QoPlayer {

struct MsgSender::Impl {};

MsgSender::MsgSender(std::unique_ptr<Impl> impl) : m_impl(std::move(impl)) {}
MsgSender::~MsgSender() = default;

bool MsgSender::send(const std::uint8_t* /*data*/, std::size_t len, const std::uint8_t* /*head*/,
                     int headLen) {
    return len > 0 && headLen >= 0;
}

struct MsgCenter::Impl {
    std::mutex mutex;
    std::map<int, MsgSender> senders;
    std::atomic<bool> started{false};
};

MsgCenter::MsgCenter() : m_impl(std::make_unique<Impl>()) {}
MsgCenter::~MsgCenter() = default;

bool MsgCenter::start(const MsgCenterConfig& config) {
    return config.addrs != nullptr && !m_impl->started.exchange(true);
}

void MsgCenter::stop() {
    m_impl->started = false;
}

MsgSender* MsgCenter::createSender(int cmd, MsgSenderCallback cb, void* user) {
    MsgSender* sender = nullptr;
    {
        const std::lock_guard<std::mutex> lock(m_impl->mutex);
        const auto made = m_impl->senders.try_emplace(cmd, nullptr);
        if (!made.second) return nullptr;
        sender = &made.first->second;
    }
    cb(user, 0, 1, nullptr, 0);
    return sender;
}

void MsgCenter::closeSender(int cmd) {
    const std::lock_guard<std::mutex> lock(m_impl->mutex);
    m_impl->senders.erase(cmd);
}

void SetLogPtr(void (* /*sink*/)(int level, const char* text1, const char* text2)) {}

}  // namespace QoPlayer
