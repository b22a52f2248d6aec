#pragma once

#include <cstdint>
#include <string>

#include "chaos/Random.h"

namespace chaos {

/// What a server knows of a connection that packets for it depend on.
struct Scene {
    std::string prefix = "qolive/studio-7/00000000";  ///< of the connection's topics
    std::size_t largestPacket = 65536;                ///< that the client has announced
    std::uint16_t lastMid = 1;                        ///< of the client's last message or subscription
};

/// A packet in its parts, so that each of them can be spoilt.
struct Packet {
    std::uint8_t first = 0;
    std::string head;        ///< before the properties
    std::string properties;  ///< without their length
    std::string tail;        ///< behind them
    bool hasProperties = true;
};

// Pieces of MQTT 5.
std::string Number16(std::size_t value);
std::string Number32(std::uint32_t value);
std::string VariableNumber(std::size_t value);
std::string Text(const std::string& text);

/// First byte, length, `body`.
std::string Framed(std::uint8_t first, const std::string& body);

std::string Assembled(const Packet& packet);

/// A property with a value of its type; the identifier is one of those that exist.
std::string KnownProperty(Random& random);

/// A packet of any type, as its sender may send it: also what only clients send.
Packet AnyPacket(Random& random, const Scene& scene);

/// A well-formed message for one of the client's topics.
Packet Downlink(const Scene& scene, int command, const std::string& payload);

}  // namespace chaos
