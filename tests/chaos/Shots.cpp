#include "chaos/Shots.h"

#include <algorithm>
#include <array>

namespace chaos {
namespace {

constexpr std::size_t kMostFloodBytes = std::size_t{512} * 1024;

// Each of these has ended a host.
Shot Infamous(Random& random, const Scene&) {
    static const std::array<std::string, 7> kPackets = {
        std::string("\xf0\x03\x00\x01\x7f", 5),          std::string("\x20\x04\x00\x00\x01\x00", 6),
        std::string("\xe0\x03\x00\x01\x7f", 5),          std::string("\x90\x05\x00\x01\x01\x7f\x00", 7),
        std::string("\x40\x05\x00\x01\x00\x01\x7f", 7),  std::string("\xb0\x05\x00\x01\x01\x7f\x00", 7),
        std::string("\x30\x06\x00\x01t\x02\x7f\x00", 8),
    };
    return {random.pick(kPackets)};
}

Shot UnknownProperty(Random& random, const Scene& scene) {
    Packet packet = AnyPacket(random, scene);
    packet.properties += VariableNumber(random.oneIn(4) ? random.below(268435456) : random.below(256));
    packet.properties += random.bytes(random.below(8));
    if (random.oneIn(2)) packet.properties += KnownProperty(random);
    return {Assembled(packet)};
}

// The length of the properties is not theirs.
Shot Misaligned(Random& random, const Scene& scene) {
    Packet packet = AnyPacket(random, scene);
    const std::size_t extra = random.below(3);
    for (std::size_t i = 0; i < extra; ++i)
        packet.properties += KnownProperty(random);
    const std::size_t claimed = packet.properties.size() + random.below(9);
    const std::size_t length =
        random.oneIn(8) ? random.below(268435456) : claimed - std::min<std::size_t>(claimed, 4);
    return {Framed(packet.first, packet.head + VariableNumber(length) + packet.properties + packet.tail)};
}

Shot Twice(Random& random, const Scene& scene) {
    Packet packet = AnyPacket(random, scene);
    const std::string property = KnownProperty(random);
    packet.properties += property + property;
    return {Assembled(packet)};
}

Shot Flipped(Random& random, const Scene& scene) {
    Shot shot = {Assembled(AnyPacket(random, scene))};
    const std::size_t flips = random.between(1, 8);
    for (std::size_t i = 0; i < flips; ++i) {
        char& hit = shot.bytes[random.below(shot.bytes.size())];
        hit = static_cast<char>(hit ^ (1 << random.below(8)));
    }
    return shot;
}

Shot Truncated(Random& random, const Scene& scene) {
    const Packet packet = AnyPacket(random, scene);
    const std::string whole = Assembled(packet);
    if (random.oneIn(2)) return {whole.substr(0, random.between(1, whole.size()))};
    const std::string body = whole.substr(2);
    return {Framed(packet.first, body.substr(0, random.below(body.size() + 1)))};
}

Shot Spliced(Random& random, const Scene& scene) {
    const std::string one = Assembled(AnyPacket(random, scene));
    const std::string two = Assembled(AnyPacket(random, scene));
    return {one.substr(0, random.between(1, one.size())) + two.substr(random.below(two.size()))};
}

// What comes is not as long as it says, or its length is none.
Shot WrongLength(Random& random, const Scene& scene) {
    static const std::array<std::string, 6> kLengths = {"\xff\xff\xff\x7f",     "\xff\xff\xff\xff\x7f",
                                                        "\xff\xff\xff\xff\xff", "\x80\x80\x80\x80\x01",
                                                        "\x80\x80\x80\x01",     "\x81\x80\x04"};
    const Packet packet = AnyPacket(random, scene);
    const std::string body = Assembled(packet).substr(2);
    const std::string length =
        random.oneIn(2) ? std::string(random.pick(kLengths)) : VariableNumber(random.below(body.size() + 20));
    return {static_cast<char>(packet.first) + length + body};
}

Shot Noise(Random& random, const Scene&) {
    return {random.bytes(random.oneIn(10) ? random.between(1, 8192) : random.between(1, 64))};
}

std::string HostileJson(Random& random, std::size_t most) {
    static const std::array<std::string, 16> kTexts = {
        R"({"type":3})",
        R"({"type":1,"code":0})",
        R"({"type":1,"code":-1})",
        R"({"type":1e999,"code":1e-999})",
        R"({"type":99999999999999999999999999999,"code":0})",
        R"({"type":"3"})",
        R"({"type":[3],"code":{}})",
        R"({"type":1,"type":3,"code":"0"})",
        "{\"type\":\"\xff\xfe\xc0\x80\"}",
        std::string("{\"type\":\0003}", 11),
        "{\"type\":3",
        "\xef\xbb\xbf{\"type\":3}",
        R"({"\ud800":"\udfff","type":-0.0})",
        "null",
        "",
        "/* */ {}",
    };
    if (!random.oneIn(4)) return random.pick(kTexts);
    const std::size_t depth = random.oneIn(2) ? random.between(900, 1100) : random.below(most);
    switch (random.below(4)) {
        case 0:
            return std::string(depth, '[');
        case 1:
            return std::string(depth / 2, '[') + std::string(depth / 2, ']');
        case 2:
            return "{\"type\":" + std::string(depth, '9') + "}";
        default:
            return "{\"type\":3,\"x\":\"" + std::string(depth, 'x') + "\"}";
    }
}

int Command(Random& random) {
    return static_cast<int>(random.between(1, 6));
}

Shot HostileText(Random& random, const Scene& scene) {
    const std::string text = HostileJson(random, std::min<std::size_t>(scene.largestPacket, 65536) - 100);
    return {Assembled(Downlink(scene, Command(random), text)), 1, false};
}

// Well-formed messages for the client, as many and as large as it allows.
Shot Flood(Random& random, const Scene& scene) {
    const std::size_t most = std::min(scene.largestPacket, kMostFloodBytes) - 100;
    const std::size_t count = random.between(1, 200);
    const bool large = random.oneIn(8);
    Shot shot = {{}, 0, false};
    while (shot.packets < count && shot.bytes.size() < kMostFloodBytes) {
        const std::size_t size = random.below(large ? most : 200);
        const bool filled = random.oneIn(2);
        shot.bytes += Assembled(Downlink(scene, Command(random),
                                         filled ? std::string(size, 'x') : HostileJson(random, size + 1)));
        ++shot.packets;
    }
    return shot;
}

Shot OutOfPlace(Random& random, const Scene& scene) {
    return {Assembled(AnyPacket(random, scene))};
}

using Maker = Shot (*)(Random&, const Scene&);
constexpr std::array<Maker, 16> kMakers = {
    Infamous,  UnknownProperty, UnknownProperty, Misaligned, Misaligned,  Twice,       Flipped,    Flipped,
    Truncated, Spliced,         WrongLength,     Noise,      HostileText, HostileText, OutOfPlace, Flood};

}  // namespace

Shot AnyShot(Random& random, const Scene& scene) {
    Shot shot = random.pick(kMakers)(random, scene);
    shot.byteByByte = shot.bytes.size() < 2000 && random.oneIn(10);
    return shot;
}

}  // namespace chaos
