#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

/// An IPv4 (first four bytes) or IPv6 address in network order.
struct HostAddress {
    bool isIpv6 = false;
    std::array<std::uint8_t, 16> bytes{};
    std::uint32_t scope = 0;  ///< the network interface that a link-local IPv6 address belongs to
};

/// Whether `host` can be a name or a literal address at all: not empty, not over 255 bytes, no zero byte.
bool IsPossibleHost(const std::string& host);

enum class HostText {
    Literal,  ///< a literal address only: never blocks
    Name,     ///< a name too: blocks as long as the system's resolver likes
};

/// The addresses of a possible `host` in the order in which they should be tried; none when there is none.
std::vector<HostAddress> ResolveHost(const std::string& host, HostText text);
