#include "chaos/Conversation.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace chaos {
namespace {

constexpr std::uint16_t kProbe = 0xbeef;
constexpr auto kProbePatience = std::chrono::milliseconds(4);
constexpr auto kPatience = std::chrono::milliseconds(100);

std::size_t Number16(const std::string& body, std::size_t at) {
    if (at + 2 > body.size()) return 0;
    return static_cast<std::size_t>(static_cast<std::uint8_t>(body[at]) << 8U |
                                    static_cast<std::uint8_t>(body[at + 1]));
}

// The maximum packet size among the properties of a CONNECT, 0 when there is none.
std::size_t LargestPacketIn(const std::string& body) {
    constexpr std::size_t kProperties = 11;
    if (body.size() <= kProperties) return 0;
    const std::size_t end =
        std::min(body.size(), kProperties + static_cast<std::uint8_t>(body[kProperties - 1]));
    for (std::size_t at = kProperties; at + 5 <= end;) {
        const int identifier = body[at];
        if (identifier == 39) return Number16(body, at + 1) << 16U | Number16(body, at + 3);
        at += identifier == 17 ? 5 : 3;
    }
    return 0;
}

bool EndsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

}  // namespace

Conversation::Conversation(int socket, int port, std::size_t number, std::unique_ptr<Script> script,
                           Tally& tally, History& history)
    : m_socket(socket),
      m_port(port),
      m_number(number),
      m_script(std::move(script)),
      m_tally(tally),
      m_history(history) {
    constexpr int kOn = 1;
    setsockopt(m_socket, IPPROTO_TCP, TCP_NODELAY, &kOn, sizeof kOn);
    ++m_tally.conversations;
    play(Moment::Accepted);
}

Conversation::~Conversation() {
    close(m_socket);
}

void Conversation::advance() {
    read();
    flush();
    if (m_over || Clock::now() < m_due) return;
    if (!m_waitingForProbe) {
        m_over = true;
        return;
    }
    m_waitingForProbe = false;
    m_due = Clock::time_point::max();
    m_silent = true;
    playNext();
}

void Conversation::read() {
    char bytes[65536];
    for (;;) {
        const ssize_t length = recv(m_socket, bytes, sizeof bytes, MSG_DONTWAIT);
        if (length < 0 && (errno == EAGAIN || errno == EINTR)) break;
        if (length <= 0) {
            m_over = true;
            return;
        }
        m_input.append(bytes, static_cast<std::size_t>(length));
    }
    takePackets();
    playNext();
}

void Conversation::takePackets() {
    std::size_t at = 0;
    for (;;) {
        std::size_t length = 0;
        std::size_t digits = 0;
        bool complete = false;
        while (!complete && digits < 4 && at + 1 + digits < m_input.size()) {
            const auto digit = static_cast<std::uint8_t>(m_input[at + 1 + digits]);
            length |= static_cast<std::size_t>(digit & 0x7fU) << (7 * digits);
            ++digits;
            complete = (digit & 0x80U) == 0;
        }
        const std::size_t start = at + 1 + digits;
        if (!complete || start + length > m_input.size()) break;
        answer(static_cast<std::uint8_t>(m_input[at]), m_input.substr(start, length));
        at = start + length;
    }
    m_input.erase(0, at);
}

void Conversation::answer(std::uint8_t first, const std::string& body) {
    const std::string mid = body.substr(0, 2);
    switch (first & 0xf0U) {
        case 0x10:
            noteConnect(body);
            m_pendingAnswer += Framed(0x20, std::string(3, '\0'));
            return play(Moment::Connecting);
        case 0x30:
            return answerMessage(first, body);
        case 0x40:
            if (Number16(body, 0) != kProbe || !m_waitingForProbe) return;
            m_waitingForProbe = false;
            m_due = Clock::time_point::max();
            ++m_tally.survived;
            return;
        case 0x50:
            return send(Framed(0x62, mid));
        case 0x60:
            return send(Framed(0x70, mid));
        case 0x80:
            m_scene.lastMid = static_cast<std::uint16_t>(Number16(body, 0));
            return answerSubscribe(Framed(0x90, mid + std::string(2, '\0')));
        case 0xa0:
            return send(Framed(0xb0, mid + std::string(2, '\0')));
        case 0xc0:
            return send(Framed(0xd0, ""));
        default:
            return;
    }
}

// The shots go between the first subscription and its answer, or behind that.
void Conversation::answerSubscribe(const std::string& granted) {
    if (m_moment == Moment::Subscribed) return send(granted);
    m_pendingAnswer += granted;
    if (m_moment != Moment::Subscribing) play(Moment::Subscribing);
}

void Conversation::answerMessage(std::uint8_t first, const std::string& body) {
    if (body.size() < 2) return;
    const std::size_t length = Number16(body, 0);
    const std::string topic = body.substr(2, length);
    if (EndsWith(topic, "/up/2")) ++m_tally.heartbeats[m_port];
    if ((first & 0x06U) == 0) return;
    m_scene.lastMid = static_cast<std::uint16_t>(Number16(body, 2 + length));
    send(Framed(0x40, Number16(m_scene.lastMid)));
    if (EndsWith(topic, "/up/5")) send(Assembled(Downlink(m_scene, 5, R"({"type":1,"code":0})")));
}

void Conversation::noteConnect(const std::string& body) {
    const std::size_t start = body.find("qolive/");
    const std::size_t end = body.find("/presence");
    if (start != std::string::npos && end != std::string::npos && start < end)
        m_scene.prefix = body.substr(start, end - start);
    if (const std::size_t largest = LargestPacketIn(body)) m_scene.largestPacket = largest;
}

void Conversation::play(Moment moment) {
    if (m_ending) return;
    m_moment = moment;
    m_playing = true;
    m_due = Clock::time_point::max();
    playNext();
}

// As many shots as the moment has. Once subscribed, the client is asked for a sign of life after each.
void Conversation::playNext() {
    while (m_playing && !m_over && !m_ending && !m_waitingForProbe && m_output.empty()) {
        const std::optional<Shot> shot = m_silent ? std::nullopt : m_script->next(m_moment, m_scene);
        if (!shot) {
            m_playing = false;
            finish(m_script->endAfter(m_moment));
            continue;
        }
        fire(*shot);
        if (m_moment == Moment::Subscribed) probe();
    }
}

void Conversation::finish(Script::End end) {
    if (end == Script::End::GoOn) return honestAnswer();
    if (end == Script::End::Reset) {
        constexpr linger kAtOnce = {1, 0};
        setsockopt(m_socket, SOL_SOCKET, SO_LINGER, &kAtOnce, sizeof kAtOnce);
    }
    m_ending = true;
    m_due = Clock::now() + std::chrono::milliseconds(m_script->patienceMs());
}

void Conversation::honestAnswer() {
    send(std::exchange(m_pendingAnswer, std::string()));
    if (!m_script->lasts()) m_due = Clock::now() + kPatience;
    if (m_moment == Moment::Subscribing) play(Moment::Subscribed);
}

void Conversation::fire(const Shot& shot) {
    m_tally.packets += shot.packets;
    if (shot.mutated) ++m_tally.mutated;
    m_history.add({m_port, m_number, m_moment, m_scene.prefix, shot});
    if (!shot.byteByByte) return send(shot.bytes);
    for (const char byte : shot.bytes)
        send(std::string(1, byte));
}

void Conversation::probe() {
    Packet packet = Downlink(m_scene, 6, "");
    packet.first = 0x32;
    packet.head += Number16(kProbe);
    send(Assembled(packet));
    m_waitingForProbe = true;
    m_due = Clock::now() + kProbePatience;
}

void Conversation::send(const std::string& bytes) {
    m_output += bytes;
    flush();
}

void Conversation::flush() {
    while (!m_output.empty() && !m_over) {
        const ssize_t length =
            ::send(m_socket, m_output.data(), m_output.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (length < 0) {
            if (errno != EAGAIN && errno != EINTR) m_over = true;
            return;
        }
        m_output.erase(0, static_cast<std::size_t>(length));
    }
}

}  // namespace chaos
