#include "sink/TsReader.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

namespace sink {

namespace {

constexpr std::size_t kPacketSize = 188;
constexpr std::uint8_t kSync = 0x47;
constexpr int kProgrammesPid = 0;
constexpr int kStuffingPid = 0x1fff;
constexpr std::size_t kPesHeader = 9;
constexpr std::size_t kLargestFrame = std::size_t{16} << 20;
constexpr int kH264 = 0x1b;
constexpr int kAac = 0x0f;

int Word(const std::uint8_t* at) {
    return at[0] << 8 | at[1];
}

int Pid(const std::uint8_t* at) {
    return Word(at) & 0x1fff;
}

std::size_t Length(const std::uint8_t* at) {
    return static_cast<std::size_t>(Word(at) & 0x0fff);
}

std::string CodecName(int type) {
    if (type == kH264) return "H.264";
    if (type == kAac) return "AAC";
    char text[8] = {};
    std::snprintf(text, sizeof text, "0x%02x", static_cast<unsigned>(type) & 0xff);
    return text;
}

// MPEG-2 and MPEG-4 video, H.264, H.265.
bool IsVideo(int type) {
    return type == 0x01 || type == 0x02 || type == 0x10 || type == kH264 || type == 0x24;
}

}  // namespace

void TsReader::Read(const std::uint8_t* data, std::size_t size) {
    for (; size >= kPacketSize; data += kPacketSize, size -= kPacketSize) {
        ++m_totals.packets;
        ReadPacket({data, kPacketSize});
    }
    if (size > 0) ++m_totals.faultyPackets;
}

void TsReader::Finish() {
    for (auto& [pid, stream] : m_streams) {
        Complete(stream);
    }
}

void TsReader::ReadPacket(Bytes packet) {
    const std::uint8_t* data = packet.data;
    const int pid = Pid(data + 1);
    const bool begins = (data[1] & 0x40) != 0;
    const bool hasPayload = (data[3] & 0x10) != 0;
    const bool hasAdaptation = (data[3] & 0x20) != 0;
    const std::size_t start = hasAdaptation ? std::size_t{5} + data[4] : 4;
    if (data[0] != kSync || start > packet.size) {
        ++m_totals.faultyPackets;
    } else if (hasPayload && pid != kStuffingPid) {
        CheckContinuity(pid, data[3] & 0x0f);
        ReadPayload(pid, begins, {data + start, packet.size - start});
    }
}

void TsReader::CheckContinuity(int pid, int counter) {
    const auto [last, isNew] = m_counters.try_emplace(pid, counter);
    if (isNew) return;
    const int missing = (counter - last->second - 1) & 0x0f;
    // The same number once more is a repeated packet.
    if (missing != 15) m_totals.lostPackets += missing;
    last->second = counter;
}

void TsReader::ReadPayload(int pid, bool begins, Bytes payload) {
    const auto stream = m_streams.find(pid);
    if (stream != m_streams.end()) {
        Append(stream->second, begins, payload);
        return;
    }
    if (!begins || (pid != kProgrammesPid && pid != m_mapPid) || payload.size == 0) return;
    const std::size_t skip = std::size_t{1} + payload.data[0];
    const bool understood = skip < payload.size && [&] {
        const Bytes section{payload.data + skip, payload.size - skip};
        return pid == kProgrammesPid ? ReadProgrammes(section) : ReadStreams(section);
    }();
    if (!understood) ++m_totals.faultyPackets;
}

bool TsReader::ReadProgrammes(Bytes section) {
    constexpr std::size_t kHeader = 8;
    constexpr std::uint8_t kTable = 0;
    if (section.size < kHeader + 4 || section.data[0] != kTable) return false;
    m_mapPid = Pid(section.data + kHeader + 2);
    return true;
}

bool TsReader::ReadStreams(Bytes section) {
    constexpr std::size_t kHeader = 12;
    constexpr std::size_t kEntry = 5;
    constexpr std::size_t kChecksum = 4;
    constexpr std::uint8_t kTable = 2;
    if (section.size < kHeader || section.data[0] != kTable) return false;
    const std::size_t size = 3 + Length(section.data + 1);
    std::size_t at = kHeader + Length(section.data + 10);
    if (size > section.size || size < kHeader + kChecksum || at > size - kChecksum) return false;
    while (at + kEntry <= size - kChecksum) {
        AddStream(Pid(section.data + at + 1), section.data[at]);
        at += kEntry + Length(section.data + at + 3);
    }
    return true;
}

void TsReader::AddStream(int pid, int type) {
    const bool video = IsVideo(type);
    TsTally& tally = video ? m_totals.video : m_totals.audio;
    if (!tally.codec.empty() || pid == m_mapPid || pid == kProgrammesPid) return;
    tally.codec = CodecName(type);
    m_streams[pid].video = video;
}

void TsReader::Append(Stream& stream, bool begins, Bytes payload) {
    if (begins) Complete(stream);
    stream.begun = stream.begun || begins;
    if (stream.begun && stream.frame.size() < kLargestFrame) {
        stream.frame.insert(stream.frame.end(), payload.data, payload.data + payload.size);
    }
}

void TsReader::Complete(Stream& stream) {
    if (!stream.begun) return;
    const std::vector<std::uint8_t>& frame = stream.frame;
    const std::size_t start = frame.size() < kPesHeader ? kPesHeader : kPesHeader + frame[kPesHeader - 1];
    if (start > frame.size()) {
        ++m_totals.faultyPackets;
    } else if (stream.video) {
        CountVideo({frame.data() + start, frame.size() - start});
    } else {
        CountAudio({frame.data() + start, frame.size() - start});
    }
    stream.frame.clear();
    stream.begun = false;
}

void TsReader::CountVideo(Bytes frame) {
    static constexpr std::uint8_t kDelimiter[] = {0, 0, 0, 1, 9};
    constexpr std::size_t kDelimiterSize = std::size(kDelimiter) + 1;
    const bool delimited =
        frame.size >= kDelimiterSize && std::equal(std::begin(kDelimiter), std::end(kDelimiter), frame.data);
    ++m_totals.video.frames;
    m_totals.video.bytes += static_cast<std::int64_t>(frame.size - (delimited ? kDelimiterSize : 0));
}

void TsReader::CountAudio(Bytes frames) {
    constexpr std::size_t kAdts = 7;
    std::size_t at = 0;
    while (at + kAdts <= frames.size && frames.data[at] == 0xff && (frames.data[at + 1] & 0xf6) == 0xf0) {
        const std::uint8_t* header = frames.data + at;
        const std::size_t size = (header[3] & 0x03U) << 11 | std::size_t{header[4]} << 3 | header[5] >> 5U;
        if (size < kAdts || at + size > frames.size) break;
        ++m_totals.audio.frames;
        m_totals.audio.bytes += static_cast<std::int64_t>(size - kAdts);
        at += size;
    }
    if (at != frames.size) ++m_totals.faultyPackets;
}

}  // namespace sink
