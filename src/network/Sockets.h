#pragma once

// The socket interface, whose headers differ from one system to the other.

#if defined(_WIN32)
#if !defined(NOMINMAX)
#define NOMINMAX
#endif
#if !defined(WIN32_LEAN_AND_MEAN)
#define WIN32_LEAN_AND_MEAN
#endif
#include <winsock2.h>
// winsock2.h comes first.
#include <ws2tcpip.h>
#else
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#endif

#include <string>

namespace qolive {

/// Keeps the system's socket library in use while it lives.
class NetworkUse {
public:
#if defined(_WIN32)
    NetworkUse() {
        WSADATA data;
        m_started = WSAStartup(MAKEWORD(2, 2), &data) == 0;
    }
    ~NetworkUse() {
        if (m_started) WSACleanup();
    }

private:
    bool m_started = false;

public:
#else
    NetworkUse() {}  // not defaulted: an object of this class is no unused variable
#endif
    NetworkUse(const NetworkUse&) = delete;
    NetworkUse& operator=(const NetworkUse&) = delete;
};

/// The addresses that the system finds for a host, or the one that a literal address is.
class AddressList {
public:
    /// `flags` are those of getaddrinfo; with AI_NUMERICHOST, which takes literal addresses only, this never
    /// blocks.
    AddressList(const std::string& host, int flags) {
        addrinfo hints{};
        hints.ai_family = AF_UNSPEC;
        hints.ai_socktype = SOCK_STREAM;
        hints.ai_flags = flags;
        if (getaddrinfo(host.c_str(), nullptr, &hints, &m_first) != 0) m_first = nullptr;
    }
    ~AddressList() {
        if (m_first) freeaddrinfo(m_first);
    }
    AddressList(const AddressList&) = delete;
    AddressList& operator=(const AddressList&) = delete;

    /// Null when there is none.
    const addrinfo* first() const { return m_first; }

private:
    NetworkUse m_network;
    addrinfo* m_first = nullptr;
};

}  // namespace qolive
