#include "network/Sockets.h"

// After the socket headers.
#include <windows.h>

#include <wincrypt.h>

// Names that wincrypt.h defines and OpenSSL uses for its types.
#undef X509_NAME
#undef X509_EXTENSIONS
#undef PKCS7_SIGNER_INFO
#undef OCSP_REQUEST
#undef OCSP_RESPONSE

#include "mqtt/TlsContext.h"

namespace QoPlayer {
namespace mqtt {
namespace {

void Trust(X509_STORE* authorities, const CERT_CONTEXT& certificate) {
    const unsigned char* encoded = certificate.pbCertEncoded;
    X509* const authority = d2i_X509(nullptr, &encoded, static_cast<long>(certificate.cbCertEncoded));
    if (!authority) return;
    X509_STORE_add_cert(authorities, authority);
    X509_free(authority);
}

}  // namespace

bool TrustSystemAuthorities(SSL_CTX* context) {
    const HCERTSTORE store = CertOpenSystemStoreA(0, "ROOT");
    if (!store) return false;
    X509_STORE* const authorities = SSL_CTX_get_cert_store(context);
    const CERT_CONTEXT* certificate = nullptr;
    while ((certificate = CertEnumCertificatesInStore(store, certificate)) != nullptr)
        Trust(authorities, *certificate);
    CertCloseStore(store, 0);
    return true;
}

}  // namespace mqtt
}  // namespace QoPlayer
