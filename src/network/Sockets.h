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
#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#endif

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
