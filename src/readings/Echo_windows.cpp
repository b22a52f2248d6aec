#include "readings/Echo.h"

#include "network/Sockets.h"
// The socket headers come before these; the types of the answers:
#include <iphlpapi.h>
// The calls.
#include <icmpapi.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <vector>

namespace {

using std::chrono::steady_clock;

constexpr std::array<char, 24> kData{"qolive echo request"};

/// The system's ICMPV6_ECHO_REPLY, which not every compiler's headers have.
struct Ipv6EchoReply {
    IPV6_ADDRESS_EX Address;
    ULONG Status;
    unsigned int RoundTripTime;
};
static_assert(offsetof(Ipv6EchoReply, Status) == 28, "as the system lays it out");

class IcmpHandle {
public:
    explicit IcmpHandle(bool isIpv6) : m_handle(isIpv6 ? Icmp6CreateFile() : IcmpCreateFile()) {}
    ~IcmpHandle() {
        if (isOpen()) IcmpCloseHandle(m_handle);
    }
    IcmpHandle(const IcmpHandle&) = delete;
    IcmpHandle& operator=(const IcmpHandle&) = delete;

    bool isOpen() const { return m_handle != INVALID_HANDLE_VALUE; }
    HANDLE get() const { return m_handle; }

private:
    HANDLE m_handle;
};

/// Room for one answer, and for what the system keeps behind it while it waits.
template <class Reply>
std::vector<char> ReplyBuffer() {
    constexpr std::size_t kErrorMessage = 8;
    constexpr std::size_t kStatusBlock = 2 * sizeof(void*);
    return std::vector<char>(sizeof(Reply) + kData.size() + kErrorMessage + kStatusBlock);
}

template <class Reply>
bool TakeReply(const std::vector<char>& buffer, int& rttMs) {
    Reply reply;
    std::memcpy(&reply, buffer.data(), sizeof reply);
    if (reply.Status != IP_SUCCESS) return false;
    rttMs = static_cast<int>(reply.RoundTripTime);
    return true;
}

bool SendIpv4(HANDLE icmp, const sockaddr* address, DWORD timeoutMs, int& rttMs) {
    sockaddr_in target{};
    std::memcpy(&target, address, sizeof target);
    auto buffer = ReplyBuffer<ICMP_ECHO_REPLY>();
    auto data = kData;
    const DWORD replies =
        IcmpSendEcho(icmp, target.sin_addr.s_addr, data.data(), static_cast<WORD>(data.size()), nullptr,
                     buffer.data(), static_cast<DWORD>(buffer.size()), timeoutMs);
    return replies > 0 && TakeReply<ICMP_ECHO_REPLY>(buffer, rttMs);
}

bool SendIpv6(HANDLE icmp, const sockaddr* address, DWORD timeoutMs, int& rttMs) {
    sockaddr_in6 source{};
    source.sin6_family = AF_INET6;
    sockaddr_in6 target{};
    std::memcpy(&target, address, sizeof target);
    auto buffer = ReplyBuffer<Ipv6EchoReply>();
    auto data = kData;
    const DWORD replies = Icmp6SendEcho2(icmp, nullptr, nullptr, nullptr, &source, &target, data.data(),
                                         static_cast<WORD>(data.size()), nullptr, buffer.data(),
                                         static_cast<DWORD>(buffer.size()), timeoutMs);
    return replies > 0 && TakeReply<Ipv6EchoReply>(buffer, rttMs);
}

}  // namespace

bool SendEcho(const std::string& literal, steady_clock::time_point deadline, int& rttMs) {
    const qolive::AddressList list(literal, AI_NUMERICHOST);
    const addrinfo* const address = list.first();
    if (!address) return false;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - steady_clock::now()).count();
    const bool isIpv6 = address->ai_family == AF_INET6;
    const IcmpHandle icmp(isIpv6);
    if (left <= 0 || !icmp.isOpen()) return false;
    const auto send = isIpv6 ? SendIpv6 : SendIpv4;
    return send(icmp.get(), address->ai_addr, static_cast<DWORD>(left), rttMs);
}
