#include <string>
#include <utility>

#include "mqtt/MsgSenderImpl.h"
#include "mqtt/Wire.h"

namespace QoPlayer {
namespace {

using mqtt::CenterState;
using mqtt::Message;

std::string ProblemOf(const std::uint8_t* data, std::size_t len, const std::uint8_t* head, int headLen) {
    if (!data && len > 0) return "it has a length but no data";
    if (head && headLen < 0) return "its head has a negative length";
    return {};
}

bool DropUnusable(CenterState& state, int cmd, const std::string& problem) {
    state.log.write(LogLevel::Error,
                    "a message of command " + std::to_string(cmd) + " was dropped: " + problem);
    state.outbox.countUnusable();
    return true;
}

bool IsConnected(CenterState& state, int cmd) {
    const mqtt::Senders::Handle sender = state.senders.find(cmd);
    return sender && sender->connected;
}

}  // namespace

MsgSender::MsgSender(std::unique_ptr<Impl> impl) : m_impl(std::move(impl)) {}

MsgSender::~MsgSender() = default;

bool MsgSender::send(const std::uint8_t* data, std::size_t len, const std::uint8_t* head, int headLen) {
    CenterState& state = m_impl->state;
    if (!IsConnected(state, m_impl->cmd)) {
        state.sentUnconnected.fetch_add(1, std::memory_order_relaxed);
        return false;
    }
    Message message;
    message.cmd = m_impl->cmd;
    message.accepted = state.waiter->now();
    std::string problem = ProblemOf(data, len, head, headLen);
    if (problem.empty() && head) {
        message.head =
            mqtt::HeadOnWire(reinterpret_cast<const char*>(head), static_cast<std::size_t>(headLen));
        problem = mqtt::HeadProblem(message.head);
    }
    if (!problem.empty()) return DropUnusable(state, m_impl->cmd, problem);
    if (len > 0) message.body.assign(reinterpret_cast<const char*>(data), len);
    if (!state.outbox.add(std::move(message))) return false;
    state.waiter->wake();
    return true;
}

}  // namespace QoPlayer
