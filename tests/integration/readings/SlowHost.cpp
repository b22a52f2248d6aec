#include "integration/readings/SlowHost.h"

#include <fcntl.h>
#include <linux/if.h>
#include <linux/if_tun.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <vector>

#include "integration/readings/Tool.h"

namespace {

constexpr std::size_t kIpv6Header = 40;
constexpr unsigned char kIcmpv4 = 1;
constexpr unsigned char kIcmpv6 = 58;

bool IsIpv6(const unsigned char* packet) {
    return packet[0] >> 4 == 6;
}

std::size_t MessageStart(const unsigned char* packet) {
    return IsIpv6(packet) ? kIpv6Header : std::size_t{4} * (packet[0] & 0x0f);
}

bool IsEchoRequest(const unsigned char* packet, std::size_t length) {
    if (length < MessageStart(packet) + 8) return false;
    const unsigned char protocol = IsIpv6(packet) ? packet[6] : packet[9];
    const unsigned char type = packet[MessageStart(packet)];
    return IsIpv6(packet) ? protocol == kIcmpv6 && type == 128 : protocol == kIcmpv4 && type == 8;
}

void SwapAddresses(unsigned char* packet) {
    if (IsIpv6(packet))
        std::swap_ranges(packet + 8, packet + 24, packet + 24);
    else
        std::swap_ranges(packet + 12, packet + 16, packet + 16);
}

/// Adds to a message's checksum what takes `less` (in one's complement) away from the sum that it covers.
void ReduceSum(unsigned char* message, unsigned less) {
    unsigned sum = (static_cast<unsigned>(message[2]) << 8 | message[3]) + less;
    sum = (sum & 0xffff) + (sum >> 16);
    message[2] = static_cast<unsigned char>(sum >> 8);
    message[3] = static_cast<unsigned char>(sum & 0xff);
}

/// The checksum is carried over, so that a wrong one in the request is a wrong one in the answer too.
void MakeReply(unsigned char* packet) {
    unsigned char* message = packet + MessageStart(packet);
    SwapAddresses(packet);
    message[0] = IsIpv6(packet) ? 129 : 0;
    ReduceSum(message, IsIpv6(packet) ? 0xffffU - 0x100U : 0x800U);
}

}  // namespace

SlowHost::SlowHost(std::chrono::milliseconds delay, Answers answers) : m_delay(delay), m_answers(answers) {
    openInterface();
    if (m_problem.empty()) m_thread = std::thread([this] { serve(); });
}

SlowHost::~SlowHost() {
    m_run = false;
    if (m_thread.joinable()) m_thread.join();
    if (m_interface >= 0) close(m_interface);
}

void SlowHost::openInterface() {
    m_interface = open("/dev/net/tun", O_RDWR | O_CLOEXEC | O_NONBLOCK);
    ifreq request{};
    request.ifr_flags = IFF_TUN | IFF_NO_PI;
    std::strcpy(request.ifr_name, "slow0");
    if (m_interface < 0 || ioctl(m_interface, TUNSETIFF, &request) != 0)
        m_problem = std::string("no tunnel interface: ") + std::strerror(errno);
    else if (!Succeeds("ip addr add 10.77.0.1/24 dev slow0 && ip link set slow0 up"))
        m_problem = "ip (iproute2) cannot set up the tunnel interface";
    else
        Succeeds("ip -6 addr add fd77::1/64 dev slow0 nodad");
}

void SlowHost::serve() {
    std::array<unsigned char, 2048> packet;
    while (m_run) {
        pollfd wanted{m_interface, POLLIN, 0};
        if (poll(&wanted, 1, 20) <= 0) continue;
        const ssize_t length = read(m_interface, packet.data(), packet.size());
        if (length <= 0 || !IsEchoRequest(packet.data(), static_cast<std::size_t>(length))) continue;
        ++m_requests;
        if (m_answers != Answers::None) answer(packet.data(), static_cast<std::size_t>(length));
    }
}

void SlowHost::answer(unsigned char* packet, std::size_t length) {
    MakeReply(packet);
    if (m_answers == Answers::WithStrangersFirst) sendStranger(packet, length, MessageStart(packet));
    std::this_thread::sleep_for(m_delay);
    [[maybe_unused]] const ssize_t written = write(m_interface, packet, length);
}

/// An answer with other data: two of its words change places, so that its checksum stays right.
void SlowHost::sendStranger(const unsigned char* packet, std::size_t length, std::size_t message) {
    std::vector<unsigned char> stranger(packet, packet + length);
    const auto data = stranger.begin() + static_cast<std::ptrdiff_t>(message + 8);
    std::rotate(data, data + 2, stranger.end());
    [[maybe_unused]] const ssize_t written = write(m_interface, stranger.data(), stranger.size());
}
