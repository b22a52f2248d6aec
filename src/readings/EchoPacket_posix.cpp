#include "readings/EchoPacket_posix.h"

#include <algorithm>

namespace {

constexpr std::size_t kHeader = 8;
constexpr std::uint8_t kIpv4Request = 8;
constexpr std::uint8_t kIpv4Reply = 0;
constexpr std::uint8_t kIpv6Request = 128;
constexpr std::uint8_t kIpv6Reply = 129;

std::uint16_t InternetChecksum(const EchoBytes& message) {
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < message.size(); ++i)
        sum += i % 2 == 0 ? static_cast<std::uint32_t>(message[i]) << 8 : message[i];
    while (sum >> 16)
        sum = (sum & 0xffff) + (sum >> 16);
    return static_cast<std::uint16_t>(~sum);
}

/// 0 when there is none. No echo type has 4 in its upper half, so a message is never taken for a header.
std::size_t Ipv4HeaderLength(const EchoBytes& message) {
    if (message.empty() || message[0] >> 4 != 4) return 0;
    return std::size_t{4} * (message[0] & 0x0f);
}

}  // namespace

EchoBytes MakeEchoRequest(bool isIpv6, const EchoCookie& cookie) {
    EchoBytes message(kHeader + cookie.size());
    message[0] = isIpv6 ? kIpv6Request : kIpv4Request;
    std::copy(cookie.begin(), cookie.end(), message.begin() + kHeader);
    if (isIpv6) return message;  // the kernel writes its checksum
    const std::uint16_t sum = InternetChecksum(message);
    message[2] = static_cast<std::uint8_t>(sum >> 8);
    message[3] = static_cast<std::uint8_t>(sum & 0xff);
    return message;
}

bool IsEchoReply(const EchoBytes& message, bool isIpv6, const EchoCookie& cookie) {
    const std::size_t start = isIpv6 ? 0 : Ipv4HeaderLength(message);
    if (message.size() != start + kHeader + cookie.size()) return false;
    if (message[start] != (isIpv6 ? kIpv6Reply : kIpv4Reply)) return false;
    return std::equal(cookie.begin(), cookie.end(),
                      message.begin() + static_cast<std::ptrdiff_t>(start + kHeader));
}
