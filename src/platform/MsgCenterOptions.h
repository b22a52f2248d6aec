#pragma once

#include <string>

// Ways to the servers that not every message-center library has.

namespace QoPlayer {

/// How a center gets to its servers, beyond its MsgCenterConfig. Empty texts: not used.
struct MsgCenterOptions {
    /// The file with the certificate (PEM, its chain after it) that is shown to a server.
    std::string clientCertificate;

    /// The file with its key (PEM, not encrypted); empty: the certificate's file holds it.
    std::string clientKey;

    /// The protocol offered in the TLS handshake (ALPN), up to 255 bytes; empty: "mqtt" to port 443, none to
    /// others.
    std::string alpn;

    std::string proxyHost;      ///< SOCKS5 proxy that all connections go through: name or literal address
    int proxyPort = 0;          ///< 1 to 65535
    std::string proxyUser;      ///< up to 255 bytes
    std::string proxyPassword;  ///< secret, up to 255 bytes

    bool isEmpty() const {
        return clientCertificate.empty() && clientKey.empty() && alpn.empty() && proxyHost.empty() &&
               proxyPort == 0 && proxyUser.empty() && proxyPassword.empty();
    }
};

}  // namespace QoPlayer
