#include <sys/resource.h>

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "integration/mqtt/CenterTest.h"
#include "integration/support/ScriptedServer.h"

using support::Eventually;
using support::MqttString;
using support::Recorder;
using support::ScriptedConnection;
using support::ScriptedServer;

// What a server sends that no server may send ends the connection, and nothing else.

namespace {

constexpr std::size_t kLargestPacket = 65536;

template <std::size_t size>
std::string bytes(const char (&literal)[size]) {
    return std::string(literal, size - 1);
}

void beHonest(ScriptedConnection& connection) {
    std::string topic;
    if (connection.accept() && connection.answerSubscribe(0, topic)) connection.drain();
}

/// The same packet with each fault that its properties can have. `head` is what comes before them, `tail` what
/// comes behind.
std::vector<std::string> spoilt(unsigned char first, const std::string& head, const std::string& tail = "") {
    static const std::vector<std::string> kProperties = {
        bytes("\x01\x7f"),              // an identifier that does not exist
        bytes("\x01\x00"),              // nor this one
        bytes("\x02\xff\x01"),          // nor one of two bytes
        bytes("\x01\x1f"),              // a text without its length
        bytes("\x04\x1f\x00\x09x"),     // a text longer than the properties
        bytes("\x03\x26\x00\x00"),      // a pair without its second text
        bytes("\x02\x11\x00"),          // a number cut short
        bytes("\x02\x24\x00"),          // one that this packet cannot have
        bytes("\x7f\x1f\x00\x01x"),     // properties longer than the packet
        bytes("\xff\xff\xff\x7f"),      // much longer
        bytes("\xff\xff\xff\xff\xff"),  // a length that is none
    };
    std::vector<std::string> packets;
    for (const std::string& properties : kProperties) {
        const std::string body = head + properties + tail;
        packets.push_back(std::string(1, static_cast<char>(first)) + static_cast<char>(body.size()) + body);
    }
    return packets;
}

void append(std::vector<std::string>& list, const std::vector<std::string>& more) {
    list.insert(list.end(), more.begin(), more.end());
}

/// Every packet that a connected client can be sent, with every fault.
std::vector<std::string> spoiltPackets() {
    std::vector<std::string> packets;
    append(packets, spoilt(0x20, bytes("\x00\x00")));     // CONNACK
    append(packets, spoilt(0x30, MqttString("a"), "x"));  // PUBLISH
    append(packets, spoilt(0x32, MqttString("a") + bytes("\x00\x01")));
    append(packets, spoilt(0x34, MqttString("a") + bytes("\x00\x01")));
    append(packets, spoilt(0x40, bytes("\x00\x01\x00")));             // PUBACK
    append(packets, spoilt(0x50, bytes("\x00\x01\x00")));             // PUBREC
    append(packets, spoilt(0x62, bytes("\x00\x01\x00")));             // PUBREL
    append(packets, spoilt(0x70, bytes("\x00\x01\x00")));             // PUBCOMP
    append(packets, spoilt(0x90, bytes("\x00\x01"), bytes("\x00")));  // SUBACK
    packets.push_back(bytes("\x90\x07\x00\x01\x04\x1f\x00\x01x"));    // one that says nothing but a reason
    append(packets, spoilt(0xb0, bytes("\x00\x01"), bytes("\x00")));  // UNSUBACK
    append(packets, spoilt(0xe0, bytes("\x00")));                     // DISCONNECT
    append(packets, spoilt(0xf0, bytes("\x00")));                     // AUTH
    return packets;
}

class HostileServerTest : public CenterTest {
protected:
    /// Every packet is sent by `rude`, which is given it; the next server is then found by the same center.
    void eachEndsTheConnection(const std::vector<std::string>& packets,
                               const std::function<void(ScriptedConnection&, const std::string&)>& rude) {
        std::atomic<std::size_t> next{0};
        ScriptedServer rudeServer([&](ScriptedConnection& connection) {
            rude(connection, packets[next++ % packets.size()]);
            connection.drain();
        });
        ScriptedServer honest(beHonest);
        for (std::size_t i = 0; i < packets.size(); ++i) {
            QoPlayer::MsgCenter own;
            Recorder heard;
            own.createSender(5, Recorder::callback, &heard);
            Config config({{"127.0.0.1", rudeServer.port()}, {"127.0.0.1", honest.port()}});
            config->intValue1 = keepAliveSeconds;
            ASSERT_TRUE(own.start(config));
            const std::string found =
                "connected to 127.0.0.1:" + std::to_string(honest.port()) + " over plain TCP";
            ASSERT_TRUE(Eventually([&] { return heard.last(0, 1) == found; })) << "packet " << i << "\n"
                                                                               << CenterLog::all();
            own.stop();
        }
        EXPECT_GE(next, packets.size());
    }

    int keepAliveSeconds = 0;
};

TEST_F(HostileServerTest, FiveBytesBeforeTheAnswerToConnectEndTheConnectionOnly) {
    const std::vector<std::string> packets = {
        bytes("\xf0\x03\x00\x01\x7f"),
        bytes("\x20\x04\x00\x00\x01\x00"),
        bytes("\xe0\x03\x00\x01\x7f"),
    };
    eachEndsTheConnection(packets, [](ScriptedConnection& connection, const std::string& packet) {
        std::string body;
        if (connection.readUntil(0x10, body)) connection.send(packet);
    });
}

TEST_F(HostileServerTest, ASpoiltPropertyInsteadOfTheAnswerToConnectEndsTheConnectionOnly) {
    eachEndsTheConnection(spoiltPackets(), [](ScriptedConnection& connection, const std::string& packet) {
        std::string body;
        if (connection.readUntil(0x10, body)) connection.send(packet);
    });
}

TEST_F(HostileServerTest, ASpoiltPropertyAfterTheAnswerToConnectEndsTheConnectionOnly) {
    eachEndsTheConnection(spoiltPackets(), [](ScriptedConnection& connection, const std::string& packet) {
        std::string body;
        if (connection.accept() && connection.readUntil(0x80, body)) connection.send(packet);
    });
}

TEST_F(HostileServerTest, ASpoiltPropertyAfterTheSubscriptionEndsTheConnectionOnly) {
    eachEndsTheConnection(spoiltPackets(), [](ScriptedConnection& connection, const std::string& packet) {
        std::string topic;
        if (connection.accept() && connection.answerSubscribe(0, topic)) connection.send(packet);
    });
}

TEST_F(HostileServerTest, ARefusalWithAnEmptyReasonIsToldWithoutOne) {
    ScriptedServer curt([](ScriptedConnection& connection) {
        std::string body;
        if (connection.readUntil(0x10, body)) connection.sendPacket(0x20, bytes("\x00\x87\x03\x1f\x00\x00"));
    });
    center.createSender(5, Recorder::callback, &recorder);
    ASSERT_TRUE(center.start(Config(curt.port())));
    ASSERT_TRUE(recorder.waitDisconnected());
    const std::string told = recorder.last(0, 0);
    EXPECT_EQ(told.substr(told.rfind(": ")), ": Not authorized");
}

/// The value of the property 0x27 in the body of a CONNECT, 0 when it has none.
std::size_t maximumPacketSize(const std::string& body) {
    constexpr std::size_t kProperties = 11;  // one byte tells their length
    const auto byte = [&](std::size_t at) {
        return static_cast<std::size_t>(static_cast<unsigned char>(body[at]));
    };
    for (std::size_t at = kProperties; at + 4 < kProperties + byte(kProperties - 1);) {
        if (byte(at) == 0x27)
            return byte(at + 1) << 24 | byte(at + 2) << 16 | byte(at + 3) << 8 | byte(at + 4);
        at += byte(at) == 0x11 ? 5 : 3;  // session expiry; receive maximum
    }
    return 0;
}

TEST_F(HostileServerTest, TheClientAnnounces64KiBAsItsLargestPacket) {
    std::atomic<std::size_t> announced{0};
    ScriptedServer server([&](ScriptedConnection& connection) {
        std::string body;
        if (!connection.readUntil(0x10, body)) return;
        announced = maximumPacketSize(body);
        connection.drain();
    });
    ASSERT_TRUE(center.start(Config(server.port())));
    ASSERT_TRUE(Eventually([&] { return announced != 0; }));
    EXPECT_EQ(announced, kLargestPacket);
}

/// A message whose packet has exactly `size` bytes, which three bytes of length can tell.
std::string messageOfSize(const std::string& topic, std::size_t size) {
    const std::string start = MqttString(topic) + std::string(1, '\0');
    return start + std::string(size - 4 - start.size(), '[');
}

/// Sends a message of `size` bytes and a small one behind it.
ScriptedServer::Script sendsOneOfSize(std::size_t size) {
    return [size](ScriptedConnection& connection) {
        std::string topic;
        if (!connection.accept() || !connection.answerSubscribe(0, topic)) return;
        connection.sendPacket(0x30, messageOfSize(topic, size));
        connection.sendPacket(0x30, MqttString(topic) + std::string(1, '\0') + "next");
        connection.drain();
    };
}

TEST_F(HostileServerTest, APacketOf64KiBArrives) {
    ScriptedServer server(sendsOneOfSize(kLargestPacket));
    center.createSender(5, Recorder::callback, &recorder);
    ASSERT_TRUE(center.start(Config(server.port())));
    ASSERT_TRUE(recorder.waitPackets(2)) << CenterLog::all();
    EXPECT_GT(recorder.packets()[0].size(), kLargestPacket - 100);
    EXPECT_EQ(recorder.packets()[1], "next");
    EXPECT_EQ(recorder.count(0, 0), 0U) << CenterLog::all();
}

TEST_F(HostileServerTest, AByteMoreThan64KiBEndsTheConnection) {
    ScriptedServer server(sendsOneOfSize(kLargestPacket + 1));
    center.createSender(5, Recorder::callback, &recorder);
    ASSERT_TRUE(center.start(Config(server.port())));
    ASSERT_TRUE(recorder.waitDisconnected()) << CenterLog::all();
    EXPECT_TRUE(recorder.packets().empty());
    EXPECT_GE(CenterLog::count("lost: "), 1U) << CenterLog::all();
}

/// No more than this much of a packet of 256 MiB is sent.
const std::vector<std::string>& hugeStarts() {
    static const std::vector<std::string> kStarts = {
        bytes("\x20\xff\xff\xff\x7f"), bytes("\x30\xff\xff\xff\x7f"), bytes("\x90\xff\xff\xff\x7f"),
        bytes("\xf0\xff\xff\xff\x7f")};
    return kStarts;
}

TEST_F(HostileServerTest, AHugePacketBeforeTheAnswerToConnectIsRefusedAtItsLength) {
    eachEndsTheConnection(hugeStarts(), [](ScriptedConnection& connection, const std::string& packet) {
        std::string body;
        if (connection.readUntil(0x10, body)) connection.send(packet);
    });
    EXPECT_EQ(CenterLog::count("no answer within"), 0U) << CenterLog::all();
}

TEST_F(HostileServerTest, AHugePacketOnAConnectionIsRefusedAtItsLength) {
    keepAliveSeconds = 600;  // which would find it too, in time
    eachEndsTheConnection(hugeStarts(), [](ScriptedConnection& connection, const std::string& packet) {
        std::string topic;
        if (connection.accept() && connection.answerSubscribe(0, topic)) connection.send(packet);
    });
    EXPECT_EQ(CenterLog::count("lost: "), hugeStarts().size()) << CenterLog::all();
}

long peakKiB() {
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

TEST_F(HostileServerTest, AHugePacketTakesNoMemory) {
    std::atomic<bool> refused{false};
    ScriptedServer server([&](ScriptedConnection& connection) {
        std::string topic;
        if (!connection.accept() || !connection.answerSubscribe(0, topic)) return;
        bool taken =
            connection.send(bytes("\x30\xff\xff\xff\x7f") + MqttString(topic) + std::string(1, '\0'));
        for (const std::string piece(65536, 'x'); taken;)
            taken = connection.send(piece);
        refused = true;
    });
    center.createSender(5, Recorder::callback, &recorder);
    const long before = peakKiB();
    ASSERT_TRUE(center.start(Config(server.port())));
    ASSERT_TRUE(recorder.waitDisconnected());
    ASSERT_TRUE(Eventually([&] { return refused.load(); }));
    EXPECT_LT(peakKiB() - before, 32 * 1024);
    EXPECT_TRUE(recorder.packets().empty());
    StopWithinASecond(center);
}

}  // namespace
