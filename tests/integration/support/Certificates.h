#pragma once

#include <string>

#include "integration/support/TempFolder.h"

namespace support {

/// A certificate authority and server certificates, made with the openssl command.
class Certificates {
public:
    struct Server {
        std::string certificate;
        std::string key;
    };

    Certificates();

    /// The authority's own certificate (PEM).
    const std::string& caFile() const { return m_caFile; }

    /// A certificate for `subjectAltName`, e.g. "DNS:broker.test" or "IP:127.0.0.1".
    Server make(const std::string& subjectAltName, bool expired = false);

private:
    TempFolder m_folder;
    std::string m_caFile;
    int m_made = 0;
};

}  // namespace support
