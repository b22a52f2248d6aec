#include "integration/support/Certificates.h"

#include "integration/support/Process.h"

namespace support {
namespace {

const std::string kOpenssl = "openssl";

}  // namespace

Certificates::Certificates() : m_caFile(m_folder.path("ca.pem")) {
    m_folder.write("index", "");
    m_folder.write("openssl.cnf",
                   "[ca]\ndefault_ca=test\n[test]\ndatabase=" + m_folder.path("index") +
                       "\nnew_certs_dir=" + m_folder.path("") +
                       "\nrand_serial=yes\ndefault_md=sha256\npolicy=any\ncopy_extensions=copy\n" +
                       "unique_subject=no\n[any]\ncommonName=supplied\n");
    Run({kOpenssl, "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
         "-days", "2", "-subj", "/CN=test authority", "-keyout", m_folder.path("ca.key"), "-out", m_caFile});
}

Certificates::Server Certificates::make(const std::string& subjectAltName, bool expired) {
    const std::string name = "server" + std::to_string(++m_made);
    const Server server{m_folder.path(name + ".pem"), m_folder.path(name + ".key")};
    const std::string request = m_folder.path(name + ".csr");
    Run({kOpenssl, "req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-subj",
         "/CN=" + name, "-addext", "subjectAltName=" + subjectAltName, "-keyout", server.key, "-out",
         request});
    std::vector<std::string> sign = {kOpenssl,   "ca",
                                     "-batch",   "-notext",
                                     "-config",  m_folder.path("openssl.cnf"),
                                     "-cert",    m_caFile,
                                     "-keyfile", m_folder.path("ca.key"),
                                     "-in",      request,
                                     "-out",     server.certificate};
    if (expired) {
        sign.insert(sign.end(), {"-startdate", "20200101000000Z", "-enddate", "20200102000000Z"});
    } else {
        sign.insert(sign.end(), {"-days", "2"});
    }
    Run(sign);
    return server;
}

}  // namespace support
