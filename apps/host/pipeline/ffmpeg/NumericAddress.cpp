#include "host/pipeline/ffmpeg/NumericAddress.h"

#include <netdb.h>
#include <sys/socket.h>

#include <memory>

#include "host/pipeline/PipelineError.h"

namespace host {

std::string NumericAddress(const std::string& host) {
    addrinfo hints = {};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int error = getaddrinfo(host.c_str(), nullptr, &hints, &found);
    const std::string what = "publish address, host \"" + host + "\": ";
    if (error != 0) throw PipelineError(EndCode::PublishFailed, what + gai_strerror(error));
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> addresses(found, &freeaddrinfo);
    char text[NI_MAXHOST] = {};
    const int unreadable =
        getnameinfo(found->ai_addr, found->ai_addrlen, text, sizeof text, nullptr, 0, NI_NUMERICHOST);
    if (unreadable != 0) throw PipelineError(EndCode::PublishFailed, what + gai_strerror(unreadable));
    return text;
}

}  // namespace host
