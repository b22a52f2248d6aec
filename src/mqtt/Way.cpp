#include "mqtt/Way.h"

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

void Lead(Way& way, const ServerAddress& address, const std::string& literal) {
    way.server = literal;
    way.name = NameOf(address, literal);
}

// The proxy looks the server's name up.
void LeadThroughProxy(Way& way, const ServerAddress& address, const std::string& proxyLiteral,
                      const MsgCenterOptions& options) {
    const std::string server = qolive::AsLiteralAddress(address.host);
    Lead(way, address, server.empty() ? address.host : server);
    way.proxy = {proxyLiteral, options.proxyPort, options.proxyUser, options.proxyPassword};
    way.name += " through the proxy " + NameOf({options.proxyHost, options.proxyPort}, proxyLiteral);
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
        Lead(way, address, literal);
    else
        LeadThroughProxy(way, address, literal, options);
    way.plain = IsPlain(literal, settings);
    way.name += way.plain ? " over plain TCP" : " over TLS";
    way.alpn = options.alpn.empty() && address.port == kHttpsPort ? kMqttProtocol : options.alpn;
    return way;
}

}  // namespace mqtt
}  // namespace QoPlayer
