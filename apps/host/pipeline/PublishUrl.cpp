#include "host/pipeline/PublishUrl.h"

#include <charconv>
#include <string_view>

#include "host/pipeline/PipelineError.h"

namespace host {

namespace {

constexpr int kRtmpPort = 1935;

// A text of an exception ends at its first zero byte, so what follows one in the address is left out.
[[noreturn]] void Reject(const std::string& url, const char* why) {
    throw PipelineError(EndCode::BadSettings,
                        "publish address \"" + url.substr(0, url.find('\0')) + "\": " + why);
}

bool TakePrefix(std::string_view& text, std::string_view prefix) {
    if (text.substr(0, prefix.size()) != prefix) return false;
    text.remove_prefix(prefix.size());
    return true;
}

// Port 0 when `text` is not a port.
int PortOf(std::string_view text) {
    int port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole && port >= 1 && port <= 65535 ? port : 0;
}

// Splits HOST, HOST:PORT, [HOST] and [HOST]:PORT; `port` stays empty where there is none.
bool SplitHost(std::string_view authority, std::string_view& host, std::string_view& rest) {
    if (TakePrefix(authority, "[")) {
        const std::size_t end = authority.find(']');
        if (end == std::string_view::npos) return false;
        host = authority.substr(0, end);
        rest = authority.substr(end + 1);
    } else {
        host = authority.substr(0, authority.find(':'));
        rest = authority.substr(host.size());
    }
    return !host.empty() && (rest.empty() || rest.front() == ':');
}

Transport TakeScheme(std::string_view& text) {
    if (TakePrefix(text, "udp://")) return Transport::MpegTsOverUdp;
    if (TakePrefix(text, "rtmp://")) return Transport::Rtmp;
    return Transport::None;
}

std::string_view AuthorityOf(std::string_view text) {
    text = text.substr(0, text.find_first_of("/?#"));
    return text.substr(text.find('@') + 1);
}

}  // namespace

PublishUrl ParsePublishUrl(const std::string& url) {
    // What follows a zero byte would be seen here and not by the protocol's own reader.
    if (url.find('\0') != std::string::npos) Reject(url, "holds a zero byte");
    std::string_view text = url;
    PublishUrl parsed;
    parsed.transport = TakeScheme(text);
    if (parsed.transport == Transport::None) Reject(url, "begins with neither udp:// nor rtmp://");
    std::string_view host;
    std::string_view port;
    if (!SplitHost(AuthorityOf(text), host, port)) Reject(url, "names no host");
    parsed.host = host;
    if (port.empty()) {
        if (parsed.transport == Transport::MpegTsOverUdp) Reject(url, "names no port");
        parsed.port = kRtmpPort;
    } else {
        parsed.port = PortOf(port.substr(1));
    }
    if (parsed.port == 0) Reject(url, "has no port within 1 to 65535");
    return parsed;
}

}  // namespace host
