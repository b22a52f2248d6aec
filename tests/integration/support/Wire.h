#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "integration/support/Broker.h"

namespace support {

/// One message as a client that is not ours received it.
struct WireMessage {
    std::string topic;
    int qos = 0;
    bool retained = false;
    std::string contentType;
    std::string responseTopic;
    std::string userProperties;  ///< "name:value", several separated by a space
    std::string payload;

    /// The value of the user property `head`; empty when there is none.
    std::string head() const;
};

/// How a client of the broker connects.
struct WireClient {
    std::string user;
    std::string password;
    std::string caFile;  ///< of a broker that speaks TLS
};

/// Watches a broker with `mosquitto_sub`. It has subscribed when the constructor returns.
class WireWatcher {
public:
    explicit WireWatcher(const Broker& broker, const WireClient& client = {},
                         const std::string& topicFilter = "qolive/#");
    ~WireWatcher();

    /// Everything received up to now.
    std::vector<WireMessage> messages();

    /// The messages on topics that end in `topicEnding`, e.g. "/up/2".
    std::vector<WireMessage> on(const std::string& topicEnding);

    /// Waits until `count` messages have come on topics that end in `topicEnding`; says whether they did.
    bool waitFor(const std::string& topicEnding, std::size_t count = 1);

private:
    void read();

    TempFolder m_folder;
    std::unique_ptr<Process> m_process;
    std::vector<WireMessage> m_messages;
    std::size_t m_offset = 0;
};

/// Publishes one message with `mosquitto_pub` at QoS 1; returns once the broker has it.
void Publish(const Broker& broker, const std::string& topic, const std::string& payload,
             const WireClient& client = {});

}  // namespace support
