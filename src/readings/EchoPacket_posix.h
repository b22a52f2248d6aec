#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

// ICMP echo messages. The cookie in a request comes back in its answer and tells it from the answers to
// others.

using EchoCookie = std::array<std::uint8_t, 24>;
using EchoBytes = std::vector<std::uint8_t>;

EchoBytes MakeEchoRequest(bool isIpv6, const EchoCookie& cookie);

/// Whether `message`, with or without an IPv4 header before it, answers the request with that cookie.
bool IsEchoReply(const EchoBytes& message, bool isIpv6, const EchoCookie& cookie);
