#include "sink/TsReader.h"

#include <gtest/gtest.h>

#include <random>

namespace sink {

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr int kMapPid = 0x1000;
constexpr int kVideoPid = 0x100;
constexpr int kAudioPid = 0x101;

void Append(Bytes& to, const Bytes& more) {
    to.insert(to.end(), more.begin(), more.end());
}

std::uint8_t Low(std::size_t value) {
    return static_cast<std::uint8_t>(value & 0xff);
}

/// Writes a transport stream by hand.
class TsWriter {
public:
    // The payload must fit; what is left of the packet becomes an adaptation field.
    Bytes Packet(int pid, bool begins, const Bytes& payload) {
        const auto number = static_cast<std::size_t>(pid);
        const std::size_t stuffing = 184 - payload.size();
        Bytes packet{0x47, Low((begins ? 0x40U : 0U) | number >> 8), Low(number),
                     Low((stuffing > 0 ? 0x30U : 0x10U) | (m_counters[pid]++ & 0x0fU))};
        if (stuffing > 0) packet.push_back(Low(stuffing - 1));
        if (stuffing > 1) packet.push_back(0);
        packet.resize(188 - payload.size(), 0xff);
        sink::Append(packet, payload);
        return packet;
    }
    void Skip(int pid, unsigned packets) { m_counters[pid] += packets; }

    Bytes Programmes() {
        return Packet(0, true, {0, 0, 0xb0, 13, 0, 1, 0xc1, 0, 0, 0, 1, 0xf0, 0, 0, 0, 0, 0});
    }
    Bytes Streams(std::uint8_t video = 0x1b, std::uint8_t audio = 0x0f) {
        return Packet(kMapPid, true, {0,    2, 0xb0, 23, 0,     1,    0xc1, 0,    0, 0xe1, 0, 0xf0, 0, video,
                                      0xe1, 0, 0xf0, 0,  audio, 0xe1, 1,    0xf0, 0, 0,    0, 0,    0});
    }
    Bytes Frame(int pid, const Bytes& content) {
        Bytes pes{0, 0, 1, 0xe0, 0, 0, 0x80, 0x80, 5, 0x21, 0, 1, 0, 1};
        sink::Append(pes, content);
        return Packet(pid, true, pes);
    }

private:
    std::map<int, unsigned> m_counters;
};

Bytes Adts(std::size_t payload) {
    const std::size_t size = payload + 7;
    Bytes frame{0xff, 0xf1, 0x4c, Low(0x80U | size >> 11), Low(size >> 3), Low((size & 7) << 5 | 0x1f), 0xfc};
    frame.resize(size, 0x55);
    return frame;
}

class TsReaderTest : public testing::Test {
protected:
    void Read(const Bytes& data) { m_reader.Read(data.data(), data.size()); }
    void ReadTables() {
        Read(m_writer.Programmes());
        Read(m_writer.Streams());
    }
    const TsTotals& Totals() {
        m_reader.Finish();
        return m_reader.Totals();
    }

    TsWriter m_writer;
    TsReader m_reader;
};

TEST_F(TsReaderTest, NamesWhatTheTablesAnnounce) {
    ReadTables();
    EXPECT_EQ(Totals().video.codec, "H.264");
    EXPECT_EQ(Totals().audio.codec, "AAC");
    EXPECT_EQ(Totals().packets, 2);
    EXPECT_EQ(Totals().faultyPackets, 0);
}

TEST_F(TsReaderTest, AnUnknownCodecIsNamedByItsNumber) {
    Read(m_writer.Programmes());
    Read(m_writer.Streams(0x24, 0x81));
    EXPECT_EQ(Totals().video.codec, "0x24");
    EXPECT_EQ(Totals().audio.codec, "0x81");
}

TEST_F(TsReaderTest, APictureCountsWithoutItsDelimiter) {
    ReadTables();
    Read(m_writer.Frame(kVideoPid, {0, 0, 0, 1, 9, 0xf0, 0, 0, 0, 1, 0x65, 1, 2, 3}));
    Read(m_writer.Frame(kVideoPid, {0, 0, 0, 1, 0x41, 1, 2}));
    EXPECT_EQ(Totals().video.frames, 2);
    EXPECT_EQ(Totals().video.bytes, 8 + 7);
}

TEST_F(TsReaderTest, APictureMaySpanPackets) {
    ReadTables();
    Read(m_writer.Frame(kVideoPid, Bytes(100, 7)));
    Read(m_writer.Packet(kVideoPid, false, Bytes(184, 7)));
    EXPECT_EQ(m_reader.Totals().video.frames, 0) << "a picture is complete when the next begins";
    EXPECT_EQ(Totals().video.frames, 1);
    EXPECT_EQ(Totals().video.bytes, 284);
}

TEST_F(TsReaderTest, SoundCountsByAdtsFramesWithoutTheirHeaders) {
    ReadTables();
    Bytes two = Adts(40);
    Append(two, Adts(50));
    Read(m_writer.Frame(kAudioPid, two));
    EXPECT_EQ(Totals().audio.frames, 2);
    EXPECT_EQ(Totals().audio.bytes, 90);
    EXPECT_EQ(Totals().faultyPackets, 0);
}

TEST_F(TsReaderTest, SoundThatIsCutShortIsAFault) {
    ReadTables();
    Bytes cut = Adts(40);
    cut.pop_back();
    Read(m_writer.Frame(kAudioPid, cut));
    EXPECT_EQ(Totals().audio.frames, 0);
    EXPECT_EQ(Totals().faultyPackets, 1);
}

TEST_F(TsReaderTest, GapsInTheCountersAreLostPackets) {
    ReadTables();
    Read(m_writer.Frame(kVideoPid, {1}));
    m_writer.Skip(kVideoPid, 3);
    Read(m_writer.Frame(kVideoPid, {1}));
    EXPECT_EQ(Totals().lostPackets, 3);
}

TEST_F(TsReaderTest, ARepeatedPacketIsNoLoss) {
    ReadTables();
    Read(m_writer.Frame(kVideoPid, {1}));
    m_writer.Skip(kVideoPid, 15);
    Read(m_writer.Frame(kVideoPid, {1}));
    EXPECT_EQ(Totals().lostPackets, 0);
}

TEST_F(TsReaderTest, WhatComesBeforeTheTablesIsNotCounted) {
    Read(m_writer.Frame(kVideoPid, {1, 2, 3}));
    EXPECT_EQ(Totals().video.frames, 0);
    EXPECT_EQ(Totals().packets, 1);
}

TEST_F(TsReaderTest, AFrameWhoseBeginningWasMissedIsNotCounted) {
    ReadTables();
    Read(m_writer.Packet(kVideoPid, false, Bytes(184, 7)));
    EXPECT_EQ(Totals().video.frames, 0);
}

TEST_F(TsReaderTest, APacketWithoutTheSyncByteOrCutShortIsAFault) {
    Bytes packet = m_writer.Programmes();
    packet[0] = 0x48;
    Read(packet);
    Read(Bytes(187, 0x47));
    Read({});
    EXPECT_EQ(Totals().faultyPackets, 2);
}

TEST_F(TsReaderTest, AFrameHeaderThatPointsBeyondItsEndIsAFault) {
    ReadTables();
    Read(m_writer.Packet(kVideoPid, true, {0, 0, 1, 0xe0, 0, 0, 0x80, 0x80, 200, 1}));
    Read(m_writer.Packet(kVideoPid, true, {0, 0, 1}));
    EXPECT_EQ(Totals().faultyPackets, 2);
    EXPECT_EQ(Totals().video.frames, 0);
}

TEST_F(TsReaderTest, AFrameThatNeverEndsDoesNotGrowTheProcess) {
    ReadTables();
    Read(m_writer.Frame(kVideoPid, {1}));
    for (int i = 0; i < 200000; ++i) {
        Read(m_writer.Packet(kVideoPid, false, Bytes(184, 7)));
    }
    EXPECT_LT(Totals().video.bytes, 17 << 20);
}

TEST_F(TsReaderTest, AnyBytesCanBeRead) {
    std::mt19937 random(1);
    for (int round = 0; round < 20000; ++round) {
        Bytes packet = round % 3 == 0   ? m_writer.Programmes()
                       : round % 3 == 1 ? m_writer.Streams()
                                        : Bytes(188);
        const std::size_t from = random() % 40;
        for (std::size_t i = from; i < packet.size() && i < from + 12; ++i) {
            packet[i] = Low(random());
        }
        Read(packet);
    }
    EXPECT_EQ(Totals().packets, 20000);
}

}  // namespace

}  // namespace sink
