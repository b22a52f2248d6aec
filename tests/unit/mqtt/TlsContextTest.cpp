#include "mqtt/TlsContext.h"

#include <gtest/gtest.h>
#include <mosquitto.h>
#include <openssl/bio.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <memory>
#include <string>

using QoPlayer::mqtt::TlsContext;

// Which servers are taken for the one that was wanted: whole handshakes, in memory.

namespace {

// Literal addresses need it on Windows.
const int kLibrariesReady = mosquitto_lib_init();

template <auto function>
struct FreeWith {
    template <class T>
    void operator()(T* object) const {
        function(object);
    }
};
using Key = std::unique_ptr<EVP_PKEY, FreeWith<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, FreeWith<X509_free>>;
using Context = std::unique_ptr<SSL_CTX, FreeWith<SSL_CTX_free>>;
using Side = std::unique_ptr<SSL, FreeWith<SSL_free>>;

/// Issues certificates that the context under test trusts.
class Authority {
public:
    Authority() : m_certificate(issue(m_key.get(), "basicConstraints", "critical,CA:TRUE")) {}

    /// For `names`, e.g. "DNS:broker.test,IP:192.0.2.1".
    Certificate certify(EVP_PKEY* key, const std::string& names) const {
        return issue(key, "subjectAltName", names);
    }

    void writeTo(const std::string& file) const {
        std::FILE* const out = std::fopen(file.c_str(), "wb");
        ASSERT_NE(out, nullptr);
        PEM_write_X509(out, m_certificate.get());
        std::fclose(out);
    }

private:
    Certificate issue(EVP_PKEY* key, const char* extension, const std::string& value) const {
        constexpr long kDay = 24L * 3600;
        Certificate made(X509_new());
        X509* const certificate = made.get();
        X509_set_version(certificate, 2);
        ASN1_INTEGER_set(X509_get_serialNumber(certificate), key == m_key.get() ? 1 : 2);
        X509_gmtime_adj(X509_getm_notBefore(certificate), -kDay);
        X509_gmtime_adj(X509_getm_notAfter(certificate), kDay);
        name(X509_get_subject_name(certificate), key == m_key.get() ? "authority" : "server");
        name(X509_get_issuer_name(certificate), "authority");
        X509_set_pubkey(certificate, key);
        X509_EXTENSION* const added = X509V3_EXT_nconf(nullptr, nullptr, extension, value.c_str());
        X509_add_ext(certificate, added, -1);
        X509_EXTENSION_free(added);
        X509_sign(certificate, m_key.get(), EVP_sha256());
        return made;
    }

    static void name(X509_NAME* to, const char* text) {
        const auto* const bytes = reinterpret_cast<const unsigned char*>(text);
        X509_NAME_add_entry_by_txt(to, "CN", MBSTRING_ASC, bytes, -1, -1, 0);
    }

    const Key m_key{EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256")};
    const Certificate m_certificate;
};

class TlsContextTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(kLibrariesReady, MOSQ_ERR_SUCCESS);
        trust(m_authority);
    }

    void trust(const Authority& authority) {
        const std::string test = testing::UnitTest::GetInstance()->current_test_info()->name();
        const std::string file = testing::TempDir() + "qolive_tls_context_" + test + ".pem";
        authority.writeTo(file);
        std::string problem;
        m_context = TlsContext::make({file, {}, {}}, problem);
        std::remove(file.c_str());
        ASSERT_NE(m_context, nullptr) << problem;
    }

    /// Whether a client that wants `host` takes a server whose certificate is for `names`.
    bool takes(const std::string& host, const std::string& names) {
        return m_context->expect(host) && handshake(names, 0);
    }

    /// Whether it agrees with a server that speaks no version above `newest` (0: all of them).
    bool handshake(const std::string& names, int newest) {
        const Context ours = serverFor(names, newest);
        const Side server(SSL_new(ours.get()));
        const Side client(SSL_new(m_context->native()));
        BIO* serverEnd = nullptr;
        BIO* clientEnd = nullptr;
        BIO_new_bio_pair(&serverEnd, 0, &clientEnd, 0);
        SSL_set_bio(server.get(), serverEnd, serverEnd);
        SSL_set_bio(client.get(), clientEnd, clientEnd);
        SSL_set_accept_state(server.get());
        SSL_set_connect_state(client.get());
        constexpr int kMoreThanItTakes = 10;
        bool agreed = false;
        for (int turn = 0; turn < kMoreThanItTakes; ++turn) {
            agreed = SSL_do_handshake(client.get()) == 1;
            agreed = SSL_do_handshake(server.get()) == 1 && agreed;
        }
        return agreed;
    }

    std::unique_ptr<TlsContext> m_context;

private:
    Context serverFor(const std::string& names, int newest) const {
        Context made(SSL_CTX_new(TLS_server_method()));
        const Certificate certificate = m_authority.certify(m_key.get(), names);
        SSL_CTX_use_certificate(made.get(), certificate.get());
        SSL_CTX_use_PrivateKey(made.get(), m_key.get());
        SSL_CTX_set_security_level(made.get(), 0);
        SSL_CTX_set_min_proto_version(made.get(), TLS1_VERSION);
        SSL_CTX_set_max_proto_version(made.get(), newest);
        return made;
    }

    const Authority m_authority;
    const Key m_key{EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256")};
};

TEST_F(TlsContextTest, TheCertificateIsForTheNameThatWasAskedFor) {
    EXPECT_TRUE(takes("broker.test", "DNS:broker.test"));
    EXPECT_TRUE(takes("broker.test", "DNS:other.test,DNS:broker.test"));
    for (const char* name : {"DNS:other.test", "DNS:broker.test.example", "DNS:a.broker.test", "DNS:test",
                             "DNS:.test", "email:broker.test", "URI:broker.test"}) {
        EXPECT_FALSE(takes("broker.test", name)) << name;
        EXPECT_EQ(m_context->refusal(), "the server's certificate is not for broker.test") << name;
    }
}

TEST_F(TlsContextTest, NamesAreComparedWithoutCase) {
    EXPECT_TRUE(takes("broker.test", "DNS:Broker.TEST"));
    EXPECT_TRUE(takes("BROKER.Test", "DNS:broker.test"));
}

TEST_F(TlsContextTest, AWildcardStandsForOneWholeFirstLabel) {
    EXPECT_TRUE(takes("foo.example.test", "DNS:*.example.test"));
    EXPECT_TRUE(takes("FOO.example.test", "DNS:*.EXAMPLE.test"));
    EXPECT_FALSE(takes("example.test", "DNS:*.example.test"));
    EXPECT_FALSE(takes("foo.bar.example.test", "DNS:*.example.test"));
    EXPECT_FALSE(takes("foo.other.test", "DNS:*.example.test"));
}

TEST_F(TlsContextTest, AWildcardStandsForNothingLessAndNowhereElse) {
    for (const char* name :
         {"DNS:f*.example.test", "DNS:*o.example.test", "DNS:f*o.example.test", "DNS:foo.*.test",
          "DNS:foo.ex*.test", "DNS:foo.example.*", "DNS:*.*.test", "DNS:*.test", "DNS:*"})
        EXPECT_FALSE(takes("foo.example.test", name)) << name;
}

TEST_F(TlsContextTest, AnAddressIsFoundAmongTheAddressesOnly) {
    EXPECT_TRUE(takes("192.0.2.1", "IP:192.0.2.1"));
    EXPECT_TRUE(takes("192.0.2.1", "DNS:broker.test,IP:192.0.2.9,IP:192.0.2.1"));
    EXPECT_TRUE(takes("2001:db8::1", "IP:2001:db8:0:0:0:0:0:1"));
    EXPECT_TRUE(takes("2001:DB8:0::1", "IP:2001:db8::1"));
    for (const char* name : {"IP:192.0.2.2", "DNS:192.0.2.1", "DNS:*.0.2.1", "IP:::ffff:192.0.2.1"}) {
        EXPECT_FALSE(takes("192.0.2.1", name)) << name;
        EXPECT_EQ(m_context->refusal(), "the server's certificate is not for 192.0.2.1") << name;
    }
    EXPECT_FALSE(takes("2001:db8::1", "IP:2001:db8::2"));
    EXPECT_FALSE(takes("broker.test", "IP:192.0.2.1"));
}

TEST_F(TlsContextTest, NothingOfAnEarlierServerIsLeft) {
    EXPECT_FALSE(takes("192.0.2.1", "DNS:broker.test"));
    EXPECT_NE(m_context->refusal(), "");
    EXPECT_TRUE(takes("broker.test", "DNS:broker.test"));
    EXPECT_EQ(m_context->refusal(), "");
    EXPECT_TRUE(m_context->isAgreed());
    EXPECT_TRUE(takes("192.0.2.1", "IP:192.0.2.1"));
    EXPECT_FALSE(takes("other.test", "DNS:broker.test"));
    ASSERT_TRUE(m_context->expect("other.test"));
    EXPECT_EQ(m_context->refusal(), "");
    EXPECT_FALSE(m_context->isAgreed());
}

TEST_F(TlsContextTest, AnUnknownAuthorityIsRefused) {
    trust(Authority());
    EXPECT_FALSE(takes("broker.test", "DNS:broker.test"));
    EXPECT_NE(m_context->refusal(), "");
}

// Also where the system's own rules would let them pass.
TEST_F(TlsContextTest, VersionsOfBefore12AreRefused) {
    SSL_CTX_set_security_level(m_context->native(), 0);
    for (const int version : {TLS1_VERSION, TLS1_1_VERSION}) {
        ASSERT_TRUE(m_context->expect("broker.test"));
        EXPECT_FALSE(handshake("DNS:broker.test", version)) << version;
    }
    for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        ASSERT_TRUE(m_context->expect("broker.test"));
        EXPECT_TRUE(handshake("DNS:broker.test", version)) << version;
    }
}

}  // namespace
