#pragma once

#include <string>

#include "mqtt/MqttClient.h"
#include "mqtt/Settings.h"

namespace QoPlayer {
namespace mqtt {

/// How a server is reached at one literal address.
struct ServerRoute {
    std::string name;    ///< for a person: "a.example:8883 (192.0.2.1) over TLS"
    std::string host;    ///< what the server's certificate is for
    std::string server;  ///< literal address; through a proxy, which looks it up, a name as well
    int port = 0;
    Proxy proxy;
    bool plain = false;  ///< plain TCP, no TLS
    std::string alpn;    ///< empty: none
};

/// The host of which the literal addresses are needed: the server's or, where there is one, the proxy's.
const std::string& HostToLookUp(const ServerAddress& address, const Settings& settings);

/// The route to `address` when `literal` is an address of HostToLookUp.
ServerRoute RouteTo(const ServerAddress& address, const std::string& literal, const Settings& settings);

}  // namespace mqtt
}  // namespace QoPlayer
