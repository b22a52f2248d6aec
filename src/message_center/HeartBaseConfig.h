#pragma once

#include <cstdint>
#include <string>

namespace Bas {

/// Six values that the factory hands to both message centers unchanged. What they mean to the message center
/// over MQTT (a message-center library that is linked in its place gives them its own meaning):
///
/// | member        | meaning                                                              | when 0 or empty |
/// |---------------|----------------------------------------------------------------------|-----------------|
/// | `intValue1`   | keep-alive of the connection, seconds, 5 to 65535; others are taken   | 15              |
/// |               | as the nearest, with a logged line                                    |                 |
/// | `intValue2`   | 0 = TLS, but plain TCP to loopback addresses; 1 = TLS always; 2 =     | 0               |
/// |               | never TLS (a trusted network); any other makes the start fail         |                 |
/// | `int64Value1` | longest pause between two rounds of connection attempts, ms, 500 to   | 30 000          |
/// |               | 86 400 000; others are taken as the nearest, with a logged line       |                 |
/// | `int64Value2` | user id, offered to the server in decimal as the user name            | client name     |
/// | `textValue1`  | client name, stable per installation: up to 128 of `[A-Za-z0-9_-]`;   | a random name   |
/// |               | any other text makes the start of the center fail                     |                 |
/// | `textValue2`  | file of the CA certificates (PEM) that the server must chain to       | system's store  |
///
/// A plain record of the host's: it has no lock, so nobody may write it while CMsgCenterFactory::Start reads
/// it.
struct HeartBaseConfig {
    std::int32_t intValue1 = 0;
    std::int32_t intValue2 = 0;
    std::int64_t int64Value1 = 0;
    std::int64_t int64Value2 = 0;
    std::string textValue1;
    std::string textValue2;
};

}  // namespace Bas
