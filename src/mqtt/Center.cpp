#include "mqtt/Center.h"

#include <mosquitto.h>
#include <openssl/crypto.h>

#include <cstdio>
#include <exception>
#include <mutex>
#include <random>
#include <utility>

#include "mqtt/NetworkThread.h"
#include "mqtt/SdkLog.h"
#include "mqtt/Wire.h"
#include "platform/Kernel.h"

namespace QoPlayer {

struct MsgSender::Impl {
    mqtt::Center& center;
    const int cmd;
};

namespace mqtt {
namespace {

// Not the TLS library's: where memory is short at its first use, that one crashes or gives nothing, and connections
// of one name would throw each other out.
std::uint64_t randomNumber() {
    std::random_device device;
    return (std::uint64_t{device()} << 32U) | device();
}

std::string randomName() {
    char name[9];
    std::snprintf(name, sizeof name, "%08x", static_cast<unsigned>(randomNumber() & 0xffffffffU));
    return name;
}

// The same for all centers of the process, so that a server can tell that they belong together.
const std::string& processClientName() {
    static const auto* const name = new std::string(randomName());
    return *name;
}

std::string problemOf(const std::uint8_t* data, std::size_t length, const std::uint8_t* head,
                      int headLength) {
    if (!data && length > 0) return "it has a length but no data";
    if (head && headLength < 0) return "its head has a negative length";
    return {};
}

}  // namespace

// OpenSSL's own clean-up at exit would run beside a network thread that still uses it.
Center::Libraries::Libraries() {
    static std::once_flag once;
    std::call_once(once, [] {
        OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
        mosquitto_lib_init();
    });
}

Center::~Center() {
    stop();
}

bool Center::start(const MsgCenterConfig& config) {
    if (m_thread) {
        m_state.log.write(LogLevel::Warning, "start: already started");
        return false;
    }
    ReadSettingsResult read = ReadSettings(config, m_options, processClientName());
    if (read.problem.empty() && !m_state.waiter->isUsable()) read.problem = "the system gives no socket";
    if (!read.problem.empty()) return cannotStart(read.problem);
    for (const std::string& note : read.notes)
        m_state.log.write(LogLevel::Warning, "start: " + note);
    return startThread(std::move(read.settings));
}

bool Center::cannotStart(const std::string& why) {
    m_state.log.write(LogLevel::Error, "start: " + why);
    m_state.status.note(MsgCenterState::Stopped, "cannot start: " + why);
    return false;
}

bool Center::startThread(Settings settings) {
    KeepLibraryLoaded();
    m_state.stopping = false;
    m_state.outbox.open();
    try {
        m_state.status.note(MsgCenterState::Connecting, kStarting);
        const auto link = std::make_shared<Link>(std::move(settings), randomName(), randomNumber(), m_state);
        m_thread = StartLibraryThread([this, link] {
            m_threadId = std::this_thread::get_id();
            const NetworkThread networkThread;
            link->run();
        });
        return true;
    } catch (const std::exception&) {
        m_state.outbox.close();
        m_state.token.end();
        return cannotStart("the system gives no thread");
    }
}

void Center::stop() {
    // First, because a callback can come before the start that made its thread has kept it.
    if (m_threadId.load() == std::this_thread::get_id()) {
        m_state.log.write(LogLevel::Error, "stop: called from a callback, ignored");
        return;
    }
    if (!m_thread) return;
    m_state.stopping = true;
    m_state.waiter->wake();
    JoinUnlessEnding(m_thread);
    m_state.token.end();
    m_threadId = std::thread::id();
}

MsgSender* Center::createSender(int cmd, MsgSenderCallback callback, void* user) {
    if (!callback) return nullptr;
    const qolive::MutexLock lock(m_ownedMutex);
    auto& owned = m_owned[cmd];
    if (!owned)
        owned = std::make_unique<MsgSender>(std::make_unique<MsgSender::Impl>(MsgSender::Impl{*this, cmd}));
    if (!m_state.senders.open(cmd, callback, user)) return nullptr;
    m_state.waiter->wake();
    return owned.get();
}

void Center::closeSender(int cmd) {
    if (m_state.senders.close(cmd)) m_state.waiter->wake();
}

bool Center::send(int cmd, const std::uint8_t* data, std::size_t length, const std::uint8_t* head,
                  int headLength) {
    const Senders::Handle sender = m_state.senders.find(cmd);
    if (!sender || !sender->connected) {
        m_sentUnconnected.fetch_add(1, std::memory_order_relaxed);
        return false;
    }
    Message message;
    message.cmd = cmd;
    message.accepted = m_state.waiter->now();
    std::string problem = problemOf(data, length, head, headLength);
    if (problem.empty() && head) {
        message.head = HeadOnWire(reinterpret_cast<const char*>(head), static_cast<std::size_t>(headLength));
        problem = HeadProblem(message.head);
    }
    if (!problem.empty()) {
        m_state.log.write(LogLevel::Error,
                          "a message of command " + std::to_string(cmd) + " was dropped: " + problem);
        m_state.outbox.countUnusable();
        return true;
    }
    if (length > 0) message.body.assign(reinterpret_cast<const char*>(data), length);
    if (!m_state.outbox.add(std::move(message))) return false;
    m_state.waiter->wake();
    return true;
}

bool Center::renewAccessToken(const std::string& token, std::int64_t expirySeconds) {
    const std::string problem = TokenProblem(token);
    if (!problem.empty()) {
        m_state.log.write(LogLevel::Error, "the access token was not renewed: " + problem);
        return false;
    }
    if (!m_state.token.renew(token, expirySeconds)) {
        m_state.log.write(LogLevel::Warning, "the access token was not renewed: not started");
        return false;
    }
    m_state.log.write(LogLevel::Info, "a new access token");
    m_state.waiter->wake();
    return true;
}

MsgCenterCounters Center::counters() {
    MsgCenterCounters counters = m_state.outbox.counters(m_state.waiter->now());
    counters.notAcceptedUnconnected += m_sentUnconnected.load(std::memory_order_relaxed);
    counters.reconnects = m_state.reconnects.load(std::memory_order_relaxed);
    return counters;
}

}  // namespace mqtt

MsgSender::MsgSender(std::unique_ptr<Impl> impl) : m_impl(std::move(impl)) {}

MsgSender::~MsgSender() = default;

bool MsgSender::send(const std::uint8_t* data, std::size_t len, const std::uint8_t* head, int headLen) {
    return m_impl->center.send(m_impl->cmd, data, len, head, headLen);
}

}  // namespace QoPlayer
