#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "integration/support/ScriptedServer.h"

namespace support {

/// A SOCKS5 proxy on a free loopback port (RFC 1928, RFC 1929). It takes every server that it is asked for to
/// be at one loopback port. One connection at a time.
class SocksProxy {
public:
    struct Options {
        int serverPort = 0;
        std::string user;  ///< empty: it asks for none
        std::string password;
        bool answersWithName = false;  ///< tells its own address as a name
    };

    explicit SocksProxy(Options options);

    int port() const { return m_server.port(); }

    /// "host:port" of each server that it was asked for.
    std::vector<std::string> askedFor() const;

private:
    void serve(ScriptedConnection& connection);
    bool greet(ScriptedConnection& connection) const;
    bool takeRequest(ScriptedConnection& connection);

    const Options m_options;
    mutable std::mutex m_mutex;
    std::vector<std::string> m_askedFor;
    ScriptedServer m_server;
};

}  // namespace support
