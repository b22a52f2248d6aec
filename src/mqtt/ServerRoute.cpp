#include "mqtt/ServerRoute.h"

#include "network/Host.h"

namespace QoPlayer {
namespace mqtt {
namespace {

// Where other ports are closed, a server can tell MQTT from HTTP by it.
constexpr int kHttpsPort = 443;
constexpr char kMqttProtocol[] = "mqtt";

std::string NameOf(const ServerAddress& address, const std::string& literal) {
    const std::string port = ":" + std::to_string(address.port);
    return literal == address.host ? literal + port : address.host + port + " (" + literal + ")";
}

// With a proxy, a loopback address is the proxy's, not the server's.
bool IsPlain(const std::string& literal, const Settings& settings) {
    return settings.tls == TlsUse::Never ||
           (settings.tls == TlsUse::ExceptLoopback && settings.options.proxyHost.empty() &&
            qolive::IsLoopbackAddress(literal));
}

void GoTo(ServerRoute& route, const ServerAddress& address, const std::string& literal) {
    route.server = literal;
    route.name = NameOf(address, literal);
}

// The proxy looks the server's name up.
void GoThroughProxy(ServerRoute& route, const ServerAddress& address, const std::string& proxyLiteral,
                    const MsgCenterOptions& options) {
    const std::string server = qolive::AsLiteralAddress(address.host);
    GoTo(route, address, server.empty() ? address.host : server);
    route.proxy = {proxyLiteral, options.proxyPort, options.proxyUser, options.proxyPassword};
    route.name += " through the proxy " + NameOf({options.proxyHost, options.proxyPort}, proxyLiteral);
}

}  // namespace

const std::string& HostToLookUp(const ServerAddress& address, const Settings& settings) {
    const std::string& proxy = settings.options.proxyHost;
    return proxy.empty() ? address.host : proxy;
}

ServerRoute RouteTo(const ServerAddress& address, const std::string& literal, const Settings& settings) {
    const MsgCenterOptions& options = settings.options;
    ServerRoute route;
    route.host = address.host;
    route.port = address.port;
    if (options.proxyHost.empty())
        GoTo(route, address, literal);
    else
        GoThroughProxy(route, address, literal, options);
    route.plain = IsPlain(literal, settings);
    route.name += route.plain ? " over plain TCP" : " over TLS";
    route.alpn = options.alpn.empty() && address.port == kHttpsPort ? kMqttProtocol : options.alpn;
    return route;
}

}  // namespace mqtt
}  // namespace QoPlayer
