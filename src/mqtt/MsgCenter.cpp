#include <mosquitto.h>
#include <openssl/crypto.h>

#include <cstdint>
#include <cstdio>
#include <exception>
#include <mutex>
#include <random>
#include <utility>

#include "mqtt/AddressRounds.h"
#include "mqtt/MsgCenterImpl.h"
#include "mqtt/MsgSenderImpl.h"
#include "mqtt/NetworkThread.h"
#include "platform/Kernel.h"
#include "platform/LibraryThread.h"
#include "platform/MsgCenterWatch.h"

namespace QoPlayer {
namespace {

// Not the TLS library's: where memory is short at its first use, that one crashes or gives nothing, and
// connections of one name would throw each other out.
std::uint64_t RandomNumber() {
    std::random_device device;
    return (std::uint64_t{device()} << 32U) | device();
}

std::string RandomName() {
    char name[9];
    std::snprintf(name, sizeof name, "%08x", static_cast<unsigned>(RandomNumber() & 0xffffffffU));
    return name;
}

// The same for all centers of the process, so that a server can tell that they belong together.
const std::string& ProcessClientName() {
    static const auto* const name = new std::string(RandomName());
    return *name;
}

}  // namespace

// OpenSSL's own clean-up at exit would run beside a network thread that still uses it.
MsgCenter::Impl::Libraries::Libraries() {
    static std::once_flag once;
    std::call_once(once, [] {
        OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
        mosquitto_lib_init();
    });
}

bool MsgCenter::Impl::startThread(mqtt::Settings settings) {
    KeepLibraryLoaded();
    state.stopping = false;
    state.outbox.open();
    try {
        state.status.note(MsgCenterState::Connecting, mqtt::kStarting);
        const auto rounds =
            std::make_shared<mqtt::AddressRounds>(std::move(settings), RandomName(), RandomNumber(), state);
        thread = StartLibraryThread([this, rounds] {
            threadId = std::this_thread::get_id();
            const mqtt::NetworkThread networkThread;
            rounds->run();
        });
        return true;
    } catch (const std::exception&) {
        state.outbox.close();
        state.token.end();
        return cannotStart("the system gives no thread");
    }
}

bool MsgCenter::Impl::cannotStart(const std::string& why) {
    state.log.write(LogLevel::Error, "start: " + why);
    state.status.note(MsgCenterState::Stopped, "cannot start: " + why);
    return false;
}

MsgCenter::MsgCenter() : MsgCenter(std::make_unique<Impl>()) {}

MsgCenter::MsgCenter(std::unique_ptr<Impl> impl) : m_impl(std::move(impl)) {}

MsgCenter::~MsgCenter() {
    // The network thread is gone then, with whatever it held.
    if (IsProcessEnding())
        static_cast<void>(m_impl.release());
    else
        stop();
}

bool MsgCenter::start(const MsgCenterConfig& config) {
    const mqtt::SdkLog& log = m_impl->state.log;
    if (m_impl->thread) {
        log.write(LogLevel::Warning, "start: already started");
        return false;
    }
    mqtt::ReadSettingsResult read = mqtt::ReadSettings(config, m_impl->options, ProcessClientName());
    if (read.problem.empty() && !m_impl->state.waiter->isUsable())
        read.problem = "the system gives no socket";
    if (!read.problem.empty()) return m_impl->cannotStart(read.problem);
    for (const std::string& note : read.notes)
        log.write(LogLevel::Warning, "start: " + note);
    return m_impl->startThread(std::move(read.settings));
}

void MsgCenter::stop() {
    mqtt::CenterState& state = m_impl->state;
    // First, because a callback can come before the start that made its thread has kept it.
    if (m_impl->threadId.load() == std::this_thread::get_id()) {
        state.log.write(LogLevel::Error, "stop: called from a callback, ignored");
        return;
    }
    if (!m_impl->thread) return;
    state.stopping = true;
    state.waiter->wake();
    JoinUnlessEnding(m_impl->thread);
    state.token.end();
    m_impl->threadId = std::thread::id();
}

MsgSender* MsgCenter::createSender(int cmd, MsgSenderCallback cb, void* user) {
    if (!cb) return nullptr;
    mqtt::CenterState& state = m_impl->state;
    const qolive::MutexLock lock(m_impl->ownedMutex);
    auto& owned = m_impl->owned[cmd];
    if (!owned)
        owned = std::make_unique<MsgSender>(std::make_unique<MsgSender::Impl>(MsgSender::Impl{state, cmd}));
    if (!state.senders.open(cmd, cb, user)) return nullptr;
    state.waiter->wake();
    return owned.get();
}

void MsgCenter::closeSender(int cmd) {
    mqtt::CenterState& state = m_impl->state;
    if (state.senders.close(cmd)) state.waiter->wake();
}

}  // namespace QoPlayer
