#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "platform/MsgCenter.h"

// A message center that is always connected, accepts everything and remembers nothing: for fuzzing and
// benchmarks, which call it too often for the scripted one.

namespace QoPlayer {

struct MsgSender::Impl {
    std::atomic<bool> open{false};
};

MsgSender::MsgSender(std::unique_ptr<Impl> impl) : m_impl(std::move(impl)) {}
MsgSender::~MsgSender() = default;

bool MsgSender::send(const std::uint8_t* /*data*/, std::size_t len, const std::uint8_t* /*head*/,
                     int headLen) {
    return m_impl->open && len > 0 && headLen >= 0;
}

struct MsgCenter::Impl {
    std::mutex mutex;
    struct Owned {
        MsgSender::Impl* impl;
        std::unique_ptr<MsgSender> sender;
    };
    std::map<int, Owned> senders;
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
        Impl::Owned& owned = m_impl->senders[cmd];
        if (!owned.sender) {
            auto impl = std::make_unique<MsgSender::Impl>();
            owned.impl = impl.get();
            owned.sender = std::make_unique<MsgSender>(std::move(impl));
        }
        if (owned.impl->open.exchange(true)) return nullptr;
        sender = owned.sender.get();
    }
    cb(user, 0, 1, nullptr, 0);
    return sender;
}

void MsgCenter::closeSender(int cmd) {
    const std::lock_guard<std::mutex> lock(m_impl->mutex);
    const auto owned = m_impl->senders.find(cmd);
    if (owned != m_impl->senders.end()) owned->second.impl->open = false;
}

void SetLogPtr(void (* /*sink*/)(int level, const char* text1, const char* text2)) {}

}  // namespace QoPlayer
