#include "integration/support/Broker.h"

#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <utility>

#include "support/Eventually.h"
#include "support/Loopback.h"

namespace support {
namespace {

constexpr int kAttempts = 20;

std::string WithLine(const std::string& text, const std::string& line) {
    return text + line + "\n";
}

}  // namespace

bool HasIpv6Loopback() {
    const int probe = socket(AF_INET6, SOCK_STREAM, 0);
    if (probe < 0) return false;
    sockaddr_in6 address = {};
    address.sin6_family = AF_INET6;
    address.sin6_addr = in6addr_loopback;
    const bool bound = bind(probe, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    close(probe);
    return bound;
}

Broker::Broker() : Broker(Options()) {}

Broker::Broker(Options options) : m_options(std::move(options)) {
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        m_port = FreePort();
        if (launch()) return;
    }
    throw std::runtime_error("mosquitto does not start: " + log());
}

Broker::~Broker() = default;

std::string Broker::configuration() const {
    std::string text = WithLine("", "listener " + std::to_string(m_port) + " " + m_options.address);
    if (!m_options.certificate.empty()) {
        text = WithLine(text, "certfile " + m_options.certificate);
        text = WithLine(text, "keyfile " + m_options.key);
    }
    if (geteuid() == 0) text = WithLine(text, "user root");
    text = WithLine(text, "log_dest stderr");
    // By default mosquitto drops what a slow subscriber, such as the one that watches, has not taken yet.
    // (Without any bound it ends connections whose message an access rule forbids.)
    text = WithLine(text, "max_queued_messages 100000");
    text = WithLine(text, "set_tcp_nodelay true");
    text = WithLine(text, m_options.users.empty() ? "allow_anonymous true"
                                                  : "password_file " + m_folder.path("passwords"));
    if (!m_options.acl.empty()) text = WithLine(text, "acl_file " + m_folder.write("acl", m_options.acl));
    if (m_options.persistent) {
        text = WithLine(text, "persistence true\nautosave_on_changes true\nautosave_interval 1");
        text = WithLine(text, "persistence_location " + m_folder.path(""));
    }
    for (const std::string& line : m_options.lines)
        text = WithLine(text, line);
    return text;
}

bool Broker::launch() {
    const std::string config = m_folder.write("mosquitto.conf", configuration());
    if (!m_options.users.empty()) {
        std::string passwords;
        for (const auto& [name, password] : m_options.users)
            passwords = WithLine(passwords, name + ":" + password);
        Run({"mosquitto_passwd", "-U", m_folder.write("passwords", passwords)});
    }
    m_logSeen = log().size();
    m_process = std::make_unique<Process>(std::vector<std::string>{"mosquitto", "-c", config}, "",
                                          m_folder.path("log"));
    const auto accepts = [this] { return log().find(" running\n", m_logSeen) != std::string::npos; };
    Eventually([&] { return accepts() || !m_process->isRunning(); });
    return accepts() && m_process->isRunning();
}

std::string Broker::log() const {
    return ReadFile(m_folder.path("log"));
}

void Broker::stop() {
    m_process->end(SIGTERM);
}

void Broker::kill() {
    m_process->end(SIGKILL);
}

void Broker::restart() {
    if (m_process->isRunning()) kill();
    if (!Eventually([this] { return launch(); }))
        throw std::runtime_error("mosquitto does not start again: " + log());
}

void Broker::freeze() {
    m_process->signal(SIGSTOP);
}

void Broker::thaw() {
    m_process->signal(SIGCONT);
}

}  // namespace support
