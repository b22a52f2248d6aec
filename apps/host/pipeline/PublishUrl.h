#pragma once

#include <string>

#include "host/pipeline/StreamFeed.h"

namespace host {

struct PublishUrl {
    Transport transport = Transport::None;
    std::string host;  ///< without the brackets of an IPv6 address
    int port = 0;
};

/// Takes udp://HOST:PORT[?OPTIONS] or rtmp://[USER@]HOST[:PORT]/PATH apart; raises a PipelineError
/// (BadSettings) on anything else.
PublishUrl ParsePublishUrl(const std::string& url);

}  // namespace host
