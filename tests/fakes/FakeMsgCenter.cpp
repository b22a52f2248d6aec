#include "fakes/FakeMsgCenter.h"

#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <utility>

#include "platform/MsgCenterWatch.h"

namespace fakes {
namespace {

/// What is known of one command on one center; outlives the sender, so that a test can look at it afterwards.
struct Channel {
    std::unique_ptr<QoPlayer::MsgSender> sender;  ///< as every center keeps it, until the center goes
    bool open = false;
    QoPlayer::MsgSenderCallback callback = nullptr;
    void* user = nullptr;
    int created = 0;
    int closed = 0;
    int attempts = 0;
    bool fails = false;
    int throwsLeft = 0;
    std::vector<SentMessage> sent;
};

struct Center {
    std::string name;
    QoPlayer::MsgCenterOptions options;
    bool takesNoOptions = false;
    QoPlayer::MsgCenterWatch::Listener listener = nullptr;
    void* listenerUser = nullptr;
    QoPlayer::MsgCenterStatus status;
    QoPlayer::MsgCenterCounters counters;
    std::vector<std::pair<std::string, std::int64_t>> renewals;
    bool renewFails = false;
    std::vector<StartedWith> starts;
    int stops = 0;
    bool startFails = false;
    bool startThrows = false;
    bool createSenderFails = false;
    std::map<int, Channel> channels;
};

struct World {
    std::mutex mutex;
    std::map<int, Center> centers;
    int made = 0;
    int madeBeforeTheLogSink = 0;
    int destroyed = 0;
    SdkLogSink sink = nullptr;
    std::vector<std::string> events;
};

World& TheWorld() {
    static World* const instance = new World;  // outlives every static object
    return *instance;
}

/// With the world's mutex held.
void Note(int center, const std::string& what) {
    TheWorld().events.push_back((center == 0 ? "main " : "backup ") + what);
}

StartedWith CopyOf(const QoPlayer::MsgCenterConfig& config) {
    StartedWith copy;
    copy.addrsWasNull = config.addrs == nullptr;
    if (config.addrs) copy.addrs.assign(config.addrs, config.addrs + config.addrCount);
    copy.intValue1 = config.intValue1;
    copy.intValue2 = config.intValue2;
    copy.int64Value1 = config.int64Value1;
    copy.int64Value2 = config.int64Value2;
    copy.textValue1 = config.textValue1;
    copy.textValue2 = config.textValue2;
    copy.accessToken = config.accessToken;
    copy.expireTime = config.expireTime;
    return copy;
}

template <class Action>
auto WithCenter(int index, Action action) {
    const std::lock_guard<std::mutex> lock(TheWorld().mutex);
    return action(TheWorld().centers[index]);
}

template <class Action>
auto WithChannel(int index, int cmd, Action action) {
    return WithCenter(index, [&](Center& center) { return action(center.channels[cmd]); });
}

}  // namespace

int FakeMsgCenter::centersMade() {
    const std::lock_guard<std::mutex> lock(TheWorld().mutex);
    return TheWorld().made;
}

int FakeMsgCenter::centersMadeBeforeTheLogSink() {
    const std::lock_guard<std::mutex> lock(TheWorld().mutex);
    return TheWorld().madeBeforeTheLogSink;
}

int FakeMsgCenter::centersDestroyed() {
    const std::lock_guard<std::mutex> lock(TheWorld().mutex);
    return TheWorld().destroyed;
}

std::string FakeMsgCenter::name() const {
    return WithCenter(m_index, [](Center& center) { return center.name; });
}

std::vector<std::string> FakeMsgCenter::events() {
    const std::lock_guard<std::mutex> lock(TheWorld().mutex);
    return std::exchange(TheWorld().events, {});
}

void FakeMsgCenter::status(const QoPlayer::MsgCenterStatus& status) {
    WithCenter(m_index, [&status](Center& center) { center.status = status; });
}

void FakeMsgCenter::counters(const QoPlayer::MsgCenterCounters& counters) {
    WithCenter(m_index, [&counters](Center& center) { center.counters = counters; });
}

std::vector<std::pair<std::string, std::int64_t>> FakeMsgCenter::renewals() const {
    return WithCenter(m_index, [](Center& center) { return center.renewals; });
}

void FakeMsgCenter::renewFails(bool fails) {
    WithCenter(m_index, [fails](Center& center) { center.renewFails = fails; });
}

void FakeMsgCenter::tell(QoPlayer::MsgCenterState state, const std::string& reason) const {
    const auto [listener, user] =
        WithCenter(m_index, [](Center& center) { return std::pair(center.listener, center.listenerUser); });
    listener(user, state, reason.c_str());
}

std::vector<StartedWith> FakeMsgCenter::starts() const {
    return WithCenter(m_index, [](Center& center) { return center.starts; });
}

int FakeMsgCenter::stops() const {
    return WithCenter(m_index, [](Center& center) { return center.stops; });
}

void FakeMsgCenter::startFails(bool fails) {
    WithCenter(m_index, [fails](Center& center) { center.startFails = fails; });
}

void FakeMsgCenter::takesNoOptions() {
    WithCenter(m_index, [](Center& center) { center.takesNoOptions = true; });
}

void FakeMsgCenter::startThrows(bool throws) {
    WithCenter(m_index, [throws](Center& center) { center.startThrows = throws; });
}

void FakeMsgCenter::createSenderFails(bool fails) {
    WithCenter(m_index, [fails](Center& center) { center.createSenderFails = fails; });
}

bool FakeMsgCenter::hasSender(int cmd) const {
    return WithChannel(m_index, cmd, [](Channel& channel) { return channel.open; });
}

int FakeMsgCenter::sendersCreated(int cmd) const {
    return WithChannel(m_index, cmd, [](Channel& channel) { return channel.created; });
}

int FakeMsgCenter::sendersClosed(int cmd) const {
    return WithChannel(m_index, cmd, [](Channel& channel) { return channel.closed; });
}

void FakeMsgCenter::sendFails(int cmd, bool fails) {
    WithChannel(m_index, cmd, [fails](Channel& channel) { channel.fails = fails; });
}

void FakeMsgCenter::sendThrows(int cmd, int times) {
    WithChannel(m_index, cmd, [times](Channel& channel) { channel.throwsLeft = times; });
}

std::vector<SentMessage> FakeMsgCenter::sent(int cmd) const {
    return WithChannel(m_index, cmd, [](Channel& channel) { return channel.sent; });
}

int FakeMsgCenter::sendAttempts(int cmd) const {
    return WithChannel(m_index, cmd, [](Channel& channel) { return channel.attempts; });
}

void FakeMsgCenter::forgetSent(int cmd) {
    WithChannel(m_index, cmd, [](Channel& channel) { channel.sent.clear(); });
}

bool FakeMsgCenter::callback(int cmd, int msgType, int code, const std::string& data) const {
    const auto target = WithChannel(m_index, cmd, [](Channel& channel) {
        return channel.open ? std::pair(channel.callback, channel.user)
                            : std::pair(QoPlayer::MsgSenderCallback{}, static_cast<void*>(nullptr));
    });
    if (!target.first) return false;
    target.first(target.second, msgType, code, reinterpret_cast<const unsigned char*>(data.data()),
                 data.size());
    return true;
}

SdkLogSink CurrentSdkLogSink() {
    const std::lock_guard<std::mutex> lock(TheWorld().mutex);
    return TheWorld().sink;
}

}  // namespace fakes

namespace QoPlayer {

struct MsgSender::Impl {
    int center;
    int cmd;
};

MsgSender::MsgSender(std::unique_ptr<Impl> impl) : m_impl(std::move(impl)) {}
MsgSender::~MsgSender() = default;

bool MsgSender::send(const std::uint8_t* data, std::size_t len, const std::uint8_t* head, int headLen) {
    return fakes::WithChannel(m_impl->center, m_impl->cmd, [&](fakes::Channel& channel) {
        ++channel.attempts;
        if (channel.throwsLeft > 0) {
            --channel.throwsLeft;
            throw std::bad_alloc();
        }
        if (channel.fails || !channel.open) return false;
        fakes::SentMessage message;
        message.body.assign(reinterpret_cast<const char*>(data), len);
        message.hasHead = head != nullptr;
        if (head) message.head.assign(reinterpret_cast<const char*>(head), static_cast<std::size_t>(headLen));
        channel.sent.push_back(std::move(message));
        return true;
    });
}

struct MsgCenter::Impl {
    int index;
};

MsgCenter::MsgCenter() {
    const std::lock_guard<std::mutex> lock(fakes::TheWorld().mutex);
    if (!fakes::TheWorld().sink) ++fakes::TheWorld().madeBeforeTheLogSink;
    m_impl.reset(new Impl{fakes::TheWorld().made++});
}

MsgCenter::~MsgCenter() {
    fakes::WithCenter(m_impl->index, [this](fakes::Center& center) {
        for (auto& [cmd, channel] : center.channels) {
            channel.open = false;
            channel.sender.reset();
        }
        ++fakes::TheWorld().destroyed;
        fakes::Note(m_impl->index, "destroyed");
    });
}

bool MsgCenter::start(const MsgCenterConfig& config) {
    return fakes::WithCenter(m_impl->index, [&](fakes::Center& center) {
        fakes::Note(m_impl->index, "start");
        center.starts.push_back(fakes::CopyOf(config));
        center.starts.back().options = center.options;
        if (center.startThrows) throw std::runtime_error("scripted failure");
        return !center.startFails;
    });
}

void MsgCenter::stop() {
    fakes::WithCenter(m_impl->index, [this](fakes::Center& center) {
        fakes::Note(m_impl->index, "stop");
        ++center.stops;
    });
}

MsgSender* MsgCenter::createSender(int cmd, MsgSenderCallback cb, void* user) {
    return fakes::WithCenter(m_impl->index, [&](fakes::Center& center) -> MsgSender* {
        fakes::Channel& channel = center.channels[cmd];
        fakes::Note(m_impl->index, "open " + std::to_string(cmd));
        ++channel.created;
        if (center.createSenderFails || channel.open) return nullptr;
        if (!channel.sender)
            channel.sender = std::make_unique<MsgSender>(
                std::make_unique<MsgSender::Impl>(MsgSender::Impl{m_impl->index, cmd}));
        channel.open = true;
        channel.callback = cb;
        channel.user = user;
        return channel.sender.get();
    });
}

void MsgCenter::closeSender(int cmd) {
    fakes::WithChannel(m_impl->index, cmd, [&](fakes::Channel& channel) {
        fakes::Note(m_impl->index, "close " + std::to_string(cmd));
        ++channel.closed;
        channel.open = false;
        channel.callback = nullptr;
    });
}

void MsgCenterWatch::setName(const std::string& name) {
    fakes::WithCenter(m_center.m_impl->index, [&name](fakes::Center& center) { center.name = name; });
}

bool MsgCenterWatch::setOptions(const MsgCenterOptions& options) {
    return fakes::WithCenter(m_center.m_impl->index, [&options](fakes::Center& center) {
        if (center.takesNoOptions) return false;
        center.options = options;
        return true;
    });
}

void MsgCenterWatch::setListener(Listener listener, void* user) {
    fakes::WithCenter(m_center.m_impl->index, [=](fakes::Center& center) {
        center.listener = listener;
        center.listenerUser = user;
    });
}

MsgCenterStatus MsgCenterWatch::status() const {
    return fakes::WithCenter(m_center.m_impl->index, [](fakes::Center& center) { return center.status; });
}

MsgCenterCounters MsgCenterWatch::counters() const {
    return fakes::WithCenter(m_center.m_impl->index, [](fakes::Center& center) { return center.counters; });
}

bool MsgCenterWatch::renewAccessToken(const std::string& token, std::int64_t expireTime) {
    return fakes::WithCenter(m_center.m_impl->index, [&](fakes::Center& center) {
        if (!center.renewFails) center.renewals.emplace_back(token, expireTime);
        return !center.renewFails;
    });
}

void SetLogPtr(void (*sink)(int level, const char* text1, const char* text2)) {
    const std::lock_guard<std::mutex> lock(fakes::TheWorld().mutex);
    fakes::TheWorld().sink = sink;
}

}  // namespace QoPlayer
