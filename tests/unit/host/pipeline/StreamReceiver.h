#pragma once

#include <memory>
#include <string>
#include <vector>

#include "base/Sync.h"
#include "sink/TsReader.h"
#include "sink/UdpSink.h"

namespace host {

/// A UDP address on loopback that counts what it receives and keeps it.
class StreamReceiver {
public:
    StreamReceiver()
        : m_sink(std::make_unique<sink::UdpSink>("127.0.0.1", 0,
                                                 [this](const std::uint8_t* data, std::size_t size) {
                                                     qolive::MutexLock lock(m_mutex);
                                                     m_reader.Read(data, size);
                                                     m_bytes.insert(m_bytes.end(), data, data + size);
                                                 })),
          m_url("udp://127.0.0.1:" + std::to_string(m_sink->Port())) {}

    const std::string& Url() const { return m_url; }

    /// Ends the reception.
    sink::TsTotals Finish() {
        m_sink.reset();
        qolive::MutexLock lock(m_mutex);
        m_reader.Finish();
        return m_reader.Totals();
    }
    std::vector<std::uint8_t> Bytes() {
        qolive::MutexLock lock(m_mutex);
        return m_bytes;
    }

private:
    qolive::Mutex m_mutex;
    sink::TsReader m_reader QOLIVE_GUARDED_BY(m_mutex);
    std::vector<std::uint8_t> m_bytes QOLIVE_GUARDED_BY(m_mutex);
    std::unique_ptr<sink::UdpSink> m_sink;
    std::string m_url;
};

}  // namespace host
