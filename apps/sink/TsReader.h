#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace sink {

/// What one elementary stream of a transport stream has carried. The container's additions (packet headers,
/// access-unit delimiters, ADTS headers) are not among the bytes, so that they compare with what an encoder
/// delivered.
struct TsTally {
    std::string codec;  ///< "H.264", "AAC", else the stream type in hexadecimal; empty: no such stream
    std::int64_t frames = 0;
    std::int64_t bytes = 0;
};

struct TsTotals {
    std::int64_t packets = 0;        ///< of 188 bytes
    std::int64_t faultyPackets = 0;  ///< without the sync byte, cut short, or with lengths that cannot be
    std::int64_t lostPackets = 0;  ///< missing by the continuity counters, which see no more than 15 in a row
    TsTally video;
    TsTally audio;
};

/// Reads an MPEG transport stream of one programme as it arrives and counts what is in it. Takes anything for
/// input. For one thread.
class TsReader {
public:
    /// Whole packets, as they come in a datagram.
    void Read(const std::uint8_t* data, std::size_t size);
    /// Counts the frames that no following frame has completed yet; to be called at the end.
    void Finish();
    const TsTotals& Totals() const { return m_totals; }

private:
    struct Stream {
        bool video = false;
        bool begun = false;
        std::vector<std::uint8_t> frame;  // the PES packet so far, its header included
    };
    struct Bytes {
        const std::uint8_t* data;
        std::size_t size;
    };

    void ReadPacket(Bytes packet);
    void CheckContinuity(int pid, int counter);
    void ReadPayload(int pid, bool begins, Bytes payload);
    bool ReadProgrammes(Bytes section);
    bool ReadStreams(Bytes section);
    void AddStream(int pid, int type);
    void Append(Stream& stream, bool begins, Bytes payload);
    void Complete(Stream& stream);
    void CountVideo(Bytes frame);
    void CountAudio(Bytes frames);

    TsTotals m_totals;
    int m_mapPid = -1;
    std::map<int, Stream> m_streams;
    std::map<int, int> m_counters;
};

}  // namespace sink
