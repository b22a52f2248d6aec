#include "chaos/Packets.h"

#include <array>

namespace chaos {
namespace {

enum class Value { Byte, Number16, Number32, Variable, Text, Binary, Pair };

struct Property {
    std::uint8_t identifier;
    Value value;
};

constexpr std::array<Property, 27> kProperties = {{
    {1, Value::Byte},      {2, Value::Number32},  {3, Value::Text},      {8, Value::Text},
    {9, Value::Binary},    {11, Value::Variable}, {17, Value::Number32}, {18, Value::Text},
    {19, Value::Number16}, {21, Value::Text},     {22, Value::Binary},   {23, Value::Byte},
    {24, Value::Number32}, {25, Value::Byte},     {26, Value::Text},     {28, Value::Text},
    {31, Value::Text},     {33, Value::Number16}, {34, Value::Number16}, {35, Value::Number16},
    {36, Value::Byte},     {37, Value::Byte},     {38, Value::Pair},     {39, Value::Number32},
    {40, Value::Byte},     {41, Value::Byte},     {42, Value::Byte},
}};

char CharOf(std::size_t value) {
    return static_cast<char>(static_cast<std::uint8_t>(value));
}

std::string Word(Random& random) {
    static const std::array<std::string, 6> kWords = {
        "", "a", "qolive/#", "application/json", "head", std::string(300, 'w')};
    return random.pick(kWords);
}

std::string ValueOf(Value value, Random& random) {
    switch (value) {
        case Value::Byte:
            return random.bytes(1);
        case Value::Number16:
            return random.bytes(2);
        case Value::Number32:
            return random.bytes(4);
        case Value::Variable:
            return VariableNumber(random.below(268435456));
        case Value::Text:
            return Text(Word(random));
        case Value::Binary:
            return Text(random.bytes(random.below(20)));
        case Value::Pair:
            return Text(Word(random)) + Text(Word(random));
    }
    return {};
}

std::string Mid(Random& random, const Scene& scene) {
    return Number16(random.oneIn(3) ? random.below(65536) : scene.lastMid);
}

std::string Reason(Random& random) {
    return random.oneIn(2) ? std::string(1, '\0') : std::string(1, CharOf(random.below(256)));
}

// A message in the other direction, or for nobody.
std::string Topic(Random& random, const Scene& scene) {
    static const std::array<std::string, 8> kEnds = {"/down/2", "/down/4", "/down/5",    "/down/6",
                                                     "/up/2",   "",        "/down/9999", "/presence"};
    return Text(scene.prefix + random.pick(kEnds));
}

Packet Publish(Random& random, const Scene& scene) {
    Packet packet;
    packet.first = static_cast<std::uint8_t>(0x30U | random.below(16));
    packet.head = Topic(random, scene);
    if ((packet.first & 0x06U) != 0) packet.head += Mid(random, scene);
    packet.tail = random.oneIn(2) ? R"({"type":3})" : random.bytes(random.below(100));
    return packet;
}

Packet Connect(Random& random) {
    Packet packet;
    packet.first = 0x10;
    packet.head = Text("MQTT") + "\x05" + random.bytes(1) + Number16(60);
    packet.tail = Text(Word(random));
    return packet;
}

void AddProperties(Packet& packet, Random& random) {
    const std::size_t count = random.oneIn(3) ? random.below(6) : 0;
    for (std::size_t i = 0; i < count; ++i)
        packet.properties += KnownProperty(random);
}

// PUBREL, SUBSCRIBE and UNSUBSCRIBE have a flag that says nothing.
bool HasFlag(unsigned type) {
    return type == 6 || type == 8 || type == 10;
}

// Of the types that are not made elsewhere.
void Fill(Packet& packet, unsigned type, Random& random, const Scene& scene) {
    if (type == 2) {
        packet.head = std::string(1, CharOf(random.below(2))) + Reason(random);
    } else if (type >= 4 && type <= 7) {
        packet.head = Mid(random, scene) + Reason(random);
    } else if (type == 8 || type == 10) {
        packet.head = Mid(random, scene);
        packet.tail = Topic(random, scene) + (type == 8 ? random.bytes(1) : "");
    } else if (type == 9 || type == 11) {
        packet.head = Mid(random, scene);
        packet.tail = random.bytes(random.between(0, 3));
    } else if (type >= 14) {
        packet.head = Reason(random);
    } else {
        packet.hasProperties = false;  // PINGREQ, PINGRESP, and what does not exist
    }
}

Packet OfType(unsigned type, Random& random, const Scene& scene) {
    if (type == 1) return Connect(random);
    if (type == 3) return Publish(random, scene);
    Packet packet;
    packet.first = static_cast<std::uint8_t>(type << 4U | (HasFlag(type) ? 2U : 0U));
    Fill(packet, type, random, scene);
    return packet;
}

}  // namespace

std::string Number16(std::size_t value) {
    return {CharOf(value >> 8U), CharOf(value)};
}

std::string Number32(std::uint32_t value) {
    return Number16(value >> 16U) + Number16(value & 0xffffU);
}

std::string VariableNumber(std::size_t value) {
    std::string encoded;
    do {
        const std::size_t low = value & 0x7fU;
        value >>= 7U;
        encoded.push_back(CharOf(value > 0 ? low | 0x80U : low));
    } while (value > 0);
    return encoded;
}

std::string Text(const std::string& text) {
    return Number16(text.size()) + text;
}

std::string Framed(std::uint8_t first, const std::string& body) {
    return CharOf(first) + VariableNumber(body.size()) + body;
}

std::string Assembled(const Packet& packet) {
    if (!packet.hasProperties) return Framed(packet.first, packet.head + packet.tail);
    return Framed(packet.first,
                  packet.head + VariableNumber(packet.properties.size()) + packet.properties + packet.tail);
}

std::string KnownProperty(Random& random) {
    const Property& property = random.pick(kProperties);
    return CharOf(property.identifier) + ValueOf(property.value, random);
}

Packet AnyPacket(Random& random, const Scene& scene) {
    Packet packet = OfType(static_cast<unsigned>(random.below(16)), random, scene);
    AddProperties(packet, random);
    return packet;
}

Packet Downlink(const Scene& scene, int command, const std::string& payload) {
    Packet packet;
    packet.first = 0x30;
    packet.head = Text(scene.prefix + "/down/" + std::to_string(command));
    packet.tail = payload;
    return packet;
}

}  // namespace chaos
