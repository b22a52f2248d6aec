#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "fakes/FakeHostReadings.h"
#include "unit/data_report/Peers.h"

namespace data_report {

/// One sampled stream that the test ticks itself; what it sends waits in the manager's queue.
class StreamUnderTest : public ::testing::Test {
protected:
    explicit StreamUnderTest(StreamTypeEnum type = StreamTypeEnum::Sampled)
        : m_data(std::make_shared<StreamQulityData>("id", type)), m_report("id", type, m_data) {
        m_manager.enableWithoutThreads();
    }

    void tick(int times, std::uint64_t seconds = 1) {
        for (int i = 0; i < times; ++i)
            m_report.OnReportTick(m_nowMs += 1000 * seconds, seconds);
    }

    void receive(const std::string& packet) {
        m_report.OnDisponseData(0, reinterpret_cast<const unsigned char*>(packet.data()), packet.size());
    }

    /// The newest sample of `kind` ("streams" or "devices") after one more collection.
    Json::Value sampleAfterCollection(const char* kind) {
        m_peer.clear();
        m_peer.collect();
        const Json::Value record = m_peer.qualityRecord();
        return record[kind][0];
    }

    Json::Value streamSample() { return sampleAfterCollection("streams"); }
    Json::Value deviceSample() { return sampleAfterCollection("devices"); }

    static std::vector<std::size_t> queuesOf(std::size_t size) { return std::vector<std::size_t>(16, size); }

    DataReportManagerTestPeer m_manager{DataReportManager::Instance()};
    std::shared_ptr<StreamQulityData> m_data;
    StreamQualityReport m_report;
    StreamQualityReportTestPeer m_peer{m_report};
    std::uint64_t m_nowMs = 1700000000000;
};

class EventsOnlyStreamUnderTest : public StreamUnderTest {
protected:
    EventsOnlyStreamUnderTest() : StreamUnderTest(StreamTypeEnum::EventsOnly) {}
};

}  // namespace data_report
