#include "integration/support/FloodingServer.h"

#include <cstdint>
#include <thread>
#include <utility>

namespace support {
namespace {

constexpr std::size_t kAtOnce = 100;

bool IsOfHeartbeats(const std::string& topic) {
    const std::string ending = "/2";
    return topic.size() > ending.size() &&
           topic.compare(topic.size() - ending.size(), ending.size(), ending) == 0;
}

std::string ManyOf(const std::string& topic, const std::string& payload) {
    const std::string body = MqttString(topic) + std::string(1, '\0') + payload;
    std::string many;
    for (std::size_t i = 0; i < kAtOnce; ++i)
        many += std::string("\x30") + static_cast<char>(body.size()) + body;
    return many;
}

std::size_t ByteAt(const std::string& body, std::size_t at) {
    return static_cast<unsigned char>(body[at]);
}

/// Where the payload of a message begins whose properties' length is told at `at`.
std::size_t BehindProperties(const std::string& body, std::size_t at) {
    std::size_t length = 0;
    for (int shift = 0;; shift += 7) {
        length |= (ByteAt(body, at) & 0x7f) << shift;
        if ((ByteAt(body, at++) & 0x80) == 0) return at + length;
    }
}

}  // namespace

FloodingServer::FloodingServer(std::string payload, std::chrono::milliseconds pause)
    : m_payload(std::move(payload)), m_pause(pause), m_server([this](ScriptedConnection& c) { serve(c); }) {}

std::vector<std::string> FloodingServer::heartbeats() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_heartbeats;
}

// The senders of the connection subscribe in any order.
void FloodingServer::serve(ScriptedConnection& connection) {
    if (!connection.accept()) return;
    std::string topic;
    while (!IsOfHeartbeats(topic))
        if (!connection.answerSubscribe(0, topic)) return;
    m_ended = false;
    std::thread flooding([&] { flood(connection, topic); });
    listen(connection);
    m_ended = true;
    flooding.join();
}

// Sends everything, answers too, so that they come between the messages.
void FloodingServer::flood(ScriptedConnection& connection, const std::string& topic) {
    const std::string many = ManyOf(topic, m_payload);
    while (!m_ended && connection.send(takeAnswers() + many)) {
        m_sent += kAtOnce;
        std::this_thread::sleep_for(m_pause);
    }
}

std::string FloodingServer::takeAnswers() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return std::exchange(m_answers, {});
}

void FloodingServer::answer(const std::string& packet) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_answers += packet;
}

void FloodingServer::listen(ScriptedConnection& connection) {
    std::uint8_t type = 0;
    std::string body;
    while (connection.read(type, body)) {
        if (type == 0x80) answer("\x90\x04" + body.substr(0, 2) + std::string(2, '\0'));
        if (type == 0x30) take(body);
    }
}

// All of them want an acknowledgement.
void FloodingServer::take(const std::string& body) {
    const std::size_t length = ByteAt(body, 0) << 8 | ByteAt(body, 1);
    const std::size_t behindTopic = 2 + length;
    answer("\x40\x02" + body.substr(behindTopic, 2));
    if (!IsOfHeartbeats(body.substr(2, length))) return;
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_heartbeats.push_back(body.substr(BehindProperties(body, behindTopic + 2)));
}

}  // namespace support
