#pragma once

#include <netinet/in.h>

namespace support {

/// 127.0.0.1 and `port`; 0: any free one.
sockaddr_in LoopbackAddress(int port);

/// Listens on a free port of the loopback interface, which goes to `port`. `flags` are those of socket(2).
int ListenOnLoopback(int& port, int backlog = 64, int flags = 0);

/// A port of the loopback interface that nothing listens on.
int FreePort();

/// A connection to `port` of the loopback interface; -1 when there is none to be had. `prepare` is called
/// with the socket before that.
int ConnectToLoopback(int port, void (*prepare)(int socket) = nullptr);

}  // namespace support
