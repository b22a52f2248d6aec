#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>

namespace QoPlayer {
namespace mqtt {

/// Adds the system's trusted authorities to `context` (Windows: its ROOT store). False on failure.
bool TrustSystemAuthorities(SSL_CTX* context);

/// TLS for a client that connects to literal addresses but must find a certificate for a name. One thread at
/// a time.
class TlsContext {
public:
    /// PEM files; empty: not used.
    struct Files {
        std::string authorities;  ///< that are trusted; empty: the system's
        std::string certificate;  ///< of the client, its chain after it
        std::string key;          ///< of that certificate; empty: in the same file
    };

    /// Null on failure, with the reason in `problem`.
    static std::unique_ptr<TlsContext> make(const Files& files, std::string& problem);

    TlsContext(const TlsContext&) = delete;
    TlsContext& operator=(const TlsContext&) = delete;

    /// Connections made from now on must show a certificate for `host`, a name or a literal address. False
    /// when no certificate can be for it.
    bool expect(const std::string& host);

    /// Connections made from now on offer `protocol` (ALPN), up to 255 bytes; empty: none.
    void offer(const std::string& protocol);

    SSL_CTX* native() const { return m_context.get(); }

    /// Why the server's certificate was refused since the last call of `expect`; empty when it was not.
    std::string refusal() const;

    /// Whether a handshake was completed since the last call of `expect`.
    bool isAgreed() const { return m_agreed; }

    /// Whether the server has said that it closes the connection since the last call of `expect`.
    bool isClosedByServer() const { return m_closedByServer; }

private:
    struct Free {
        void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
    };

    explicit TlsContext(SSL_CTX* context);
    static void onInfo(const SSL* ssl, int where, int alert);
    void nameServer(SSL* ssl) const;
    static int onVerify(int accepted, X509_STORE_CTX* store);

    std::unique_ptr<SSL_CTX, Free> m_context;
    std::string m_host;
    bool m_hostIsLiteral = false;
    bool m_agreed = false;
    bool m_closedByServer = false;
    int m_verifyError = X509_V_OK;
};

}  // namespace mqtt
}  // namespace QoPlayer
