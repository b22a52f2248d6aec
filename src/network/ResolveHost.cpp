#include <cstring>
#include <memory>

#include "network/HostAddress.h"
#include "network/Sockets.h"

namespace {

// Room for the longest domain name, and for a literal address with the name of a network interface.
constexpr std::size_t kLongestHost = 255;

template <class Address>
Address addressIn(const addrinfo& entry) {
    Address address;
    std::memcpy(&address, entry.ai_addr, sizeof address);
    return address;
}

HostAddress fromIpv4(const sockaddr_in& from) {
    HostAddress address;
    std::memcpy(address.bytes.data(), &from.sin_addr, sizeof from.sin_addr);
    return address;
}

HostAddress fromIpv6(const sockaddr_in6& from) {
    HostAddress address;
    address.isIpv6 = true;
    std::memcpy(address.bytes.data(), &from.sin6_addr, sizeof from.sin6_addr);
    address.scope = from.sin6_scope_id;
    return address;
}

}  // namespace

bool IsPossibleHost(const std::string& host) {
    return !host.empty() && host.size() <= kLongestHost && host.find('\0') == std::string::npos;
}

std::vector<HostAddress> ResolveHost(const std::string& host, HostText text) {
    const NetworkUse network;
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_DGRAM;
    hints.ai_flags = text == HostText::Literal ? AI_NUMERICHOST : 0;
    addrinfo* found = nullptr;
    if (getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0) return {};
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, freeaddrinfo);
    std::vector<HostAddress> addresses;
    for (const addrinfo* entry = found; entry; entry = entry->ai_next) {
        if (entry->ai_family == AF_INET) addresses.push_back(fromIpv4(addressIn<sockaddr_in>(*entry)));
        if (entry->ai_family == AF_INET6) addresses.push_back(fromIpv6(addressIn<sockaddr_in6>(*entry)));
    }
    return addresses;
}
