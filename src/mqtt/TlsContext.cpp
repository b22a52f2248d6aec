#include "mqtt/TlsContext.h"

#include <openssl/err.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include "mqtt/SdkLog.h"
#include "network/Host.h"

namespace QoPlayer {
namespace mqtt {
namespace {

bool Trust(SSL_CTX* context, const std::string& caFile, std::string& problem) {
    const bool trusted = caFile.empty()
                             ? TrustSystemAuthorities(context)
                             : SSL_CTX_load_verify_locations(context, caFile.c_str(), nullptr) == 1;
    ERR_clear_error();
    if (trusted) return true;
    problem = caFile.empty() ? "the system's trust store cannot be read"
                             : "no authority can be read from the CA file " + Shortened(caFile);
    return false;
}

// Without it the library would ask at the terminal.
int NoPassword(char* /*buffer*/, int /*size*/, int /*writing*/, void* /*user*/) {
    return 0;
}

bool ShowCertificate(SSL_CTX* context, const TlsContext::Files& files, std::string& problem) {
    if (files.certificate.empty()) return true;
    const std::string& key = files.key.empty() ? files.certificate : files.key;
    SSL_CTX_set_default_passwd_cb(context, NoPassword);
    if (SSL_CTX_use_certificate_chain_file(context, files.certificate.c_str()) != 1)
        problem =
            "no certificate can be read from the client certificate file " + Shortened(files.certificate);
    else if (SSL_CTX_use_PrivateKey_file(context, key.c_str(), SSL_FILETYPE_PEM) != 1)
        problem = "no key of the client certificate can be read from " + Shortened(key) +
                  " (it must be the certificate's, and not encrypted)";
    ERR_clear_error();
    return problem.empty();
}

TlsContext* ContextOf(const SSL* ssl) {
    return static_cast<TlsContext*>(SSL_CTX_get_app_data(SSL_get_SSL_CTX(ssl)));
}

}  // namespace

std::unique_ptr<TlsContext> TlsContext::make(const Files& files, std::string& problem) {
    SSL_CTX* const context = SSL_CTX_new(TLS_client_method());
    if (!context) {
        problem = "TLS is not available";
        return nullptr;
    }
    std::unique_ptr<TlsContext> made(new TlsContext(context));
    if (!Trust(context, files.authorities, problem) || !ShowCertificate(context, files, problem))
        return nullptr;
    return made;
}

TlsContext::TlsContext(SSL_CTX* context) : m_context(context) {
    SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION);
    SSL_CTX_set_options(context, SSL_OP_NO_COMPRESSION | SSL_OP_NO_RENEGOTIATION);
    SSL_CTX_set_mode(context, SSL_MODE_RELEASE_BUFFERS);
    SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_OFF);
    SSL_CTX_set_app_data(context, this);
    SSL_CTX_set_info_callback(context, onInfo);
    SSL_CTX_set_verify(context, SSL_VERIFY_PEER, onVerify);
}

bool TlsContext::expect(const std::string& host) {
    X509_VERIFY_PARAM* const wanted = SSL_CTX_get0_param(native());
    const std::string literal = qolive::AsLiteralAddress(host);
    m_host = host;
    m_hostIsLiteral = !literal.empty();
    m_agreed = false;
    m_closedByServer = false;
    m_verifyError = X509_V_OK;
    X509_VERIFY_PARAM_set_hostflags(wanted, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    X509_VERIFY_PARAM_set1_host(wanted, nullptr, 0);
    X509_VERIFY_PARAM_set1_ip(wanted, nullptr, 0);
    if (m_hostIsLiteral)
        return X509_VERIFY_PARAM_set1_ip_asc(wanted, literal.substr(0, literal.find('%')).c_str()) == 1;
    return X509_VERIFY_PARAM_set1_host(wanted, host.c_str(), host.size()) == 1;
}

void TlsContext::offer(const std::string& protocol) {
    std::string list;
    if (!protocol.empty()) list = static_cast<char>(protocol.size()) + protocol;
    SSL_CTX_set_alpn_protos(native(), reinterpret_cast<const unsigned char*>(list.data()),
                            static_cast<unsigned>(list.size()));
}

void TlsContext::onInfo(const SSL* ssl, int where, int alert) {
    TlsContext* const self = ContextOf(ssl);
    if ((where & SSL_CB_HANDSHAKE_START) != 0) self->nameServer(const_cast<SSL*>(ssl));
    if ((where & SSL_CB_HANDSHAKE_DONE) != 0) self->m_agreed = true;
    if (where == SSL_CB_READ_ALERT && (alert & 0xff) == SSL_AD_CLOSE_NOTIFY) self->m_closedByServer = true;
}

// The client library puts the literal address that it connects to into the server name indication; this runs
// before the first message of the handshake is made.
void TlsContext::nameServer(SSL* ssl) const {
    char* const name = m_hostIsLiteral ? nullptr : const_cast<char*>(m_host.c_str());
    SSL_ctrl(ssl, SSL_CTRL_SET_TLSEXT_HOSTNAME, TLSEXT_NAMETYPE_host_name, name);
}

int TlsContext::onVerify(int accepted, X509_STORE_CTX* store) {
    if (accepted) return 1;
    const auto* const ssl =
        static_cast<const SSL*>(X509_STORE_CTX_get_ex_data(store, SSL_get_ex_data_X509_STORE_CTX_idx()));
    TlsContext* const self = ContextOf(ssl);
    if (self->m_verifyError == X509_V_OK) self->m_verifyError = X509_STORE_CTX_get_error(store);
    return 0;
}

std::string TlsContext::refusal() const {
    switch (m_verifyError) {
        case X509_V_OK:
            return {};
        case X509_V_ERR_HOSTNAME_MISMATCH:
        case X509_V_ERR_IP_ADDRESS_MISMATCH:
            return "the server's certificate is not for " + m_host;
        case X509_V_ERR_CERT_HAS_EXPIRED:
            return "the server's certificate has expired";
        case X509_V_ERR_CERT_NOT_YET_VALID:
            return "the server's certificate is not valid yet";
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
        case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
        case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
        case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
            return "the server's certificate comes from an unknown authority";
        default:
            return std::string("the server's certificate was refused: ") +
                   X509_verify_cert_error_string(m_verifyError);
    }
}

}  // namespace mqtt
}  // namespace QoPlayer
