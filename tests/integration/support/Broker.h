#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "integration/support/Process.h"
#include "integration/support/TempFolder.h"

namespace support {

/// A mosquitto of the test's own on a free port of the loopback interface.
class Broker {
public:
    struct Options {
        std::string certificate;                   ///< PEM file; with `key` the broker speaks TLS
        std::string key;                           ///< PEM file
        std::map<std::string, std::string> users;  ///< name and password; empty: everyone may connect
        std::string acl;                           ///< text of an access-control file
        std::string address = "127.0.0.1";
        std::vector<std::string> lines;  ///< further lines of the configuration
        bool persistent = false;         ///< sessions and queued messages survive the broker
    };

    Broker();
    explicit Broker(Options options);
    ~Broker();
    Broker(const Broker&) = delete;
    Broker& operator=(const Broker&) = delete;

    int port() const { return m_port; }
    const std::string& address() const { return m_options.address; }
    const Options& options() const { return m_options; }

    /// What the broker has logged since it was first started.
    std::string log() const;

    void stop();     ///< as an administrator does
    void kill();     ///< as a power failure does
    void restart();  ///< on the same port; returns once it accepts connections
    void freeze();   ///< it answers nothing, but its connections stay
    void thaw();

private:
    bool launch();
    std::string configuration() const;

    const Options m_options;
    TempFolder m_folder;
    int m_port = 0;
    std::size_t m_logSeen = 0;
    std::unique_ptr<Process> m_process;
};

/// True when the machine has an IPv6 loopback address.
bool HasIpv6Loopback();

}  // namespace support
