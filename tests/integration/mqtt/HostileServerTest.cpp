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
std::string Bytes(const char (&literal)[size]) {
    return std::string(literal, size - 1);
}

void BeHonest(ScriptedConnection& connection) {
    std::string topic;
    if (connection.accept() && connection.answerSubscribe(0, topic)) connection.drain();
}

/// The same packet with each fault that its properties can have. `head` is what comes before them, `tail`
/// what comes behind.
std::vector<std::string> Spoilt(unsigned char first, const std::string& head, const std::string& tail = "") {
    static const std::vector<std::string> kProperties = {
        Bytes("\x01\x7f"),              // an identifier that does not exist
        Bytes("\x01\x00"),              // nor this one
        Bytes("\x02\xff\x01"),          // nor one of two bytes
        Bytes("\x01\x1f"),              // a text without its length
        Bytes("\x04\x1f\x00\x09x"),     // a text longer than the properties
        Bytes("\x03\x26\x00\x00"),      // a pair without its second text
        Bytes("\x02\x11\x00"),          // a number cut short
        Bytes("\x02\x24\x00"),          // one that this packet cannot have
        Bytes("\x7f\x1f\x00\x01x"),     // properties longer than the packet
        Bytes("\xff\xff\xff\x7f"),      // much longer
        Bytes("\xff\xff\xff\xff\xff"),  // a length that is none
    };
    std::vector<std::string> packets;
    for (const std::string& properties : kProperties) {
        const std::string body = head + properties + tail;
        packets.push_back(std::string(1, static_cast<char>(first)) + static_cast<char>(body.size()) + body);
    }
    return packets;
}

void Append(std::vector<std::string>& list, const std::vector<std::string>& more) {
    list.insert(list.end(), more.begin(), more.end());
}

/// Every packet that a connected client can be sent, with every fault.
std::vector<std::string> SpoiltPackets() {
    std::vector<std::string> packets;
    Append(packets, Spoilt(0x20, Bytes("\x00\x00")));     // CONNACK
    Append(packets, Spoilt(0x30, MqttString("a"), "x"));  // PUBLISH
    Append(packets, Spoilt(0x32, MqttString("a") + Bytes("\x00\x01")));
    Append(packets, Spoilt(0x34, MqttString("a") + Bytes("\x00\x01")));
    Append(packets, Spoilt(0x40, Bytes("\x00\x01\x00")));             // PUBACK
    Append(packets, Spoilt(0x50, Bytes("\x00\x01\x00")));             // PUBREC
    Append(packets, Spoilt(0x62, Bytes("\x00\x01\x00")));             // PUBREL
    Append(packets, Spoilt(0x70, Bytes("\x00\x01\x00")));             // PUBCOMP
    Append(packets, Spoilt(0x90, Bytes("\x00\x01"), Bytes("\x00")));  // SUBACK
    packets.push_back(Bytes("\x90\x07\x00\x01\x04\x1f\x00\x01x"));    // one that says nothing but a reason
    Append(packets, Spoilt(0xb0, Bytes("\x00\x01"), Bytes("\x00")));  // UNSUBACK
    Append(packets, Spoilt(0xe0, Bytes("\x00")));                     // DISCONNECT
    Append(packets, Spoilt(0xf0, Bytes("\x00")));                     // AUTH
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
        ScriptedServer honest(BeHonest);
        for (std::size_t i = 0; i < packets.size(); ++i) {
            QoPlayer::MsgCenter own;
            Recorder heard;
            own.createSender(5, Recorder::callback, &heard);
            Config config({{"127.0.0.1", rudeServer.port()}, {"127.0.0.1", honest.port()}});
            config->intValue1 = m_keepAliveSeconds;
            ASSERT_TRUE(own.start(config));
            const std::string found =
                "connected to 127.0.0.1:" + std::to_string(honest.port()) + " over plain TCP";
            ASSERT_TRUE(Eventually([&] { return heard.last(0, 1) == found; })) << "packet " << i << "\n"
                                                                               << CenterLog::all();
            own.stop();
        }
        EXPECT_GE(next, packets.size());
    }

    int m_keepAliveSeconds = 0;
};

TEST_F(HostileServerTest, FiveBytesBeforeTheAnswerToConnectEndTheConnectionOnly) {
    const std::vector<std::string> packets = {
        Bytes("\xf0\x03\x00\x01\x7f"),
        Bytes("\x20\x04\x00\x00\x01\x00"),
        Bytes("\xe0\x03\x00\x01\x7f"),
    };
    eachEndsTheConnection(packets, [](ScriptedConnection& connection, const std::string& packet) {
        std::string body;
        if (connection.readUntil(0x10, body)) connection.send(packet);
    });
}

TEST_F(HostileServerTest, ASpoiltPropertyInsteadOfTheAnswerToConnectEndsTheConnectionOnly) {
    eachEndsTheConnection(SpoiltPackets(), [](ScriptedConnection& connection, const std::string& packet) {
        std::string body;
        if (connection.readUntil(0x10, body)) connection.send(packet);
    });
}

TEST_F(HostileServerTest, ASpoiltPropertyAfterTheAnswerToConnectEndsTheConnectionOnly) {
    eachEndsTheConnection(SpoiltPackets(), [](ScriptedConnection& connection, const std::string& packet) {
        std::string body;
        if (connection.accept() && connection.readUntil(0x80, body)) connection.send(packet);
    });
}

TEST_F(HostileServerTest, ASpoiltPropertyAfterTheSubscriptionEndsTheConnectionOnly) {
    eachEndsTheConnection(SpoiltPackets(), [](ScriptedConnection& connection, const std::string& packet) {
        std::string topic;
        if (connection.accept() && connection.answerSubscribe(0, topic)) connection.send(packet);
    });
}

TEST_F(HostileServerTest, ARefusalWithAnEmptyReasonIsToldWithoutOne) {
    ScriptedServer curt([](ScriptedConnection& connection) {
        std::string body;
        if (connection.readUntil(0x10, body)) connection.sendPacket(0x20, Bytes("\x00\x87\x03\x1f\x00\x00"));
    });
    m_center.createSender(5, Recorder::callback, &m_recorder);
    ASSERT_TRUE(m_center.start(Config(curt.port())));
    ASSERT_TRUE(m_recorder.waitDisconnected());
    const std::string told = m_recorder.last(0, 0);
    EXPECT_EQ(told.substr(told.rfind(": ")), ": Not authorized");
}

/// The value of the property 0x27 in the body of a CONNECT, 0 when it has none.
std::size_t MaximumPacketSize(const std::string& body) {
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
        announced = MaximumPacketSize(body);
        connection.drain();
    });
    ASSERT_TRUE(m_center.start(Config(server.port())));
    ASSERT_TRUE(Eventually([&] { return announced != 0; }));
    EXPECT_EQ(announced, kLargestPacket);
}

/// A message whose packet has exactly `size` bytes, which three bytes of length can tell.
std::string MessageOfSize(const std::string& topic, std::size_t size) {
    const std::string start = MqttString(topic) + std::string(1, '\0');
    return start + std::string(size - 4 - start.size(), '[');
}

/// Sends a message of `size` bytes and a small one behind it.
ScriptedServer::Script SendsOneOfSize(std::size_t size) {
    return [size](ScriptedConnection& connection) {
        std::string topic;
        if (!connection.accept() || !connection.answerSubscribe(0, topic)) return;
        connection.sendPacket(0x30, MessageOfSize(topic, size));
        connection.sendPacket(0x30, MqttString(topic) + std::string(1, '\0') + "next");
        connection.drain();
    };
}

TEST_F(HostileServerTest, APacketOf64KiBArrives) {
    ScriptedServer server(SendsOneOfSize(kLargestPacket));
    m_center.createSender(5, Recorder::callback, &m_recorder);
    ASSERT_TRUE(m_center.start(Config(server.port())));
    ASSERT_TRUE(m_recorder.waitPackets(2)) << CenterLog::all();
    EXPECT_GT(m_recorder.packets()[0].size(), kLargestPacket - 100);
    EXPECT_EQ(m_recorder.packets()[1], "next");
    EXPECT_EQ(m_recorder.count(0, 0), 0U) << CenterLog::all();
}

TEST_F(HostileServerTest, AByteMoreThan64KiBEndsTheConnection) {
    ScriptedServer server(SendsOneOfSize(kLargestPacket + 1));
    m_center.createSender(5, Recorder::callback, &m_recorder);
    ASSERT_TRUE(m_center.start(Config(server.port())));
    ASSERT_TRUE(m_recorder.waitDisconnected()) << CenterLog::all();
    EXPECT_TRUE(m_recorder.packets().empty());
    EXPECT_GE(CenterLog::count("lost: "), 1U) << CenterLog::all();
}

/// No more than this much of a packet of 256 MiB is sent.
const std::vector<std::string>& HugeStarts() {
    static const std::vector<std::string> kStarts = {
        Bytes("\x20\xff\xff\xff\x7f"), Bytes("\x30\xff\xff\xff\x7f"), Bytes("\x90\xff\xff\xff\x7f"),
        Bytes("\xf0\xff\xff\xff\x7f")};
    return kStarts;
}

TEST_F(HostileServerTest, AHugePacketBeforeTheAnswerToConnectIsRefusedAtItsLength) {
    eachEndsTheConnection(HugeStarts(), [](ScriptedConnection& connection, const std::string& packet) {
        std::string body;
        if (connection.readUntil(0x10, body)) connection.send(packet);
    });
    EXPECT_EQ(CenterLog::count("no answer within"), 0U) << CenterLog::all();
}

TEST_F(HostileServerTest, AHugePacketOnAConnectionIsRefusedAtItsLength) {
    m_keepAliveSeconds = 600;  // which would find it too, in time
    eachEndsTheConnection(HugeStarts(), [](ScriptedConnection& connection, const std::string& packet) {
        std::string topic;
        if (connection.accept() && connection.answerSubscribe(0, topic)) connection.send(packet);
    });
    EXPECT_EQ(CenterLog::count("lost: "), HugeStarts().size()) << CenterLog::all();
}

long PeakKiB() {
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
            connection.send(Bytes("\x30\xff\xff\xff\x7f") + MqttString(topic) + std::string(1, '\0'));
        for (const std::string piece(65536, 'x'); taken;)
            taken = connection.send(piece);
        refused = true;
    });
    m_center.createSender(5, Recorder::callback, &m_recorder);
    const long before = PeakKiB();
    ASSERT_TRUE(m_center.start(Config(server.port())));
    ASSERT_TRUE(m_recorder.waitDisconnected());
    ASSERT_TRUE(Eventually([&] { return refused.load(); }));
    EXPECT_LT(PeakKiB() - before, 32 * 1024);
    EXPECT_TRUE(m_recorder.packets().empty());
    StopWithinASecond(m_center);
}

}  // namespace
