#include "mqtt/Way.h"

#include "network/Host.h"

namespace QoPlayer {
namespace mqtt {
namespace {

// Where other ports are closed, a server can tell MQTT from HTTP by it.
constexpr int kHttpsPort = 443;
constexpr char kMqttProtocol[] = "mqtt";

std::string nameOf(const ServerAddress& address, const std::string& literal) {
    const std::string port = ":" + std::to_string(address.port);
    return literal == address.host ? literal + port : address.host + port + " (" + literal + ")";
}

// Where a proxy is, a loopback address is the proxy's.
bool isPlain(const std::string& literal, const Settings& settings) {
    return settings.tls == TlsUse::Never ||
           (settings.tls == TlsUse::ExceptLoopback && settings.options.proxyHost.empty() &&
            qolive::IsLoopbackAddress(literal));
}

void lead(Way& way, const ServerAddress& address, const std::string& literal) {
    way.server = literal;
    way.name = nameOf(address, literal);
}

// The proxy looks the server's name up.
void leadThroughProxy(Way& way, const ServerAddress& address, const std::string& proxyLiteral,
                      const MsgCenterOptions& options) {
    const std::string server = qolive::AsLiteralAddress(address.host);
    lead(way, address, server.empty() ? address.host : server);
    way.proxy = {proxyLiteral, options.proxyPort, options.proxyUser, options.proxyPassword};
    way.name += " through the proxy " + nameOf({options.proxyHost, options.proxyPort}, proxyLiteral);
}

}  // namespace

const std::string& HostToLookUp(const ServerAddress& address, const Settings& settings) {
    const std::string& proxy = settings.options.proxyHost;
    return proxy.empty() ? address.host : proxy;
}

Way WayTo(const ServerAddress& address, const std::string& literal, const Settings& settings) {
    const MsgCenterOptions& options = settings.options;
    Way way;
    way.host = address.host;
    way.port = address.port;
    if (options.proxyHost.empty())
        lead(way, address, literal);
    else
        leadThroughProxy(way, address, literal, options);
    way.plain = isPlain(literal, settings);
    way.name += way.plain ? " over plain TCP" : " over TLS";
    way.alpn = options.alpn.empty() && address.port == kHttpsPort ? kMqttProtocol : options.alpn;
    return way;
}

}  // namespace mqtt
}  // namespace QoPlayer
