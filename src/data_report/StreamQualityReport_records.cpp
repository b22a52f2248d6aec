#include <json/value.h>

#include <numeric>
#include <stdexcept>

#include "data_report/RecordHead.h"
#include "data_report/StreamQualityReport.h"
#include "data_report/StreamQulityData.h"

namespace data_report {
namespace {

constexpr char kDeviceName[] = "windows";

struct NumberKey {
    const char* key;
    DataTypeEnum type;
};

struct TextKey {
    const char* key;
    StringDataTypeEnum type;
};

constexpr NumberKey kStreamNumbers[] = {
    {"provider", DataTypeEnum::Provider},
    {"t", DataTypeEnum::RequestTime},
    {"appId", DataTypeEnum::ApplicationId},
    {"pid", DataTypeEnum::Pid},
    {"uid", DataTypeEnum::UserId},
    {"roomId", DataTypeEnum::RoomId},
    {"liveType", DataTypeEnum::LiveType},
    {"clarity", DataTypeEnum::ClarityLevel},
    {"memory", DataTypeEnum::HostMemory},
    {"codec", DataTypeEnum::Codec},
    {"encodeType", DataTypeEnum::EncoderType},
    {"protocol", DataTypeEnum::Protocol},
    {"network", DataTypeEnum::NetworkType},
    {"width", DataTypeEnum::VideoWidth},
    {"height", DataTypeEnum::VideoHeight},
    {"vBitrate", DataTypeEnum::ConfiguredVideoBitrate},
    {"fps", DataTypeEnum::ConfiguredFrameRate},
    {"aBitrate", DataTypeEnum::ConfiguredAudioBitrate},
    {"startTime", DataTypeEnum::StreamStartTime},
    {"endTime", DataTypeEnum::StreamEndTime},
    {"requestTime", DataTypeEnum::RequestTime},
    {"responseTime", DataTypeEnum::ResponseTime},
    {"state", DataTypeEnum::State},
    {"code", DataTypeEnum::ResultCode},
};

constexpr TextKey kStreamTexts[] = {
    {"sid", StringDataTypeEnum::SessionId},     {"ver", StringDataTypeEnum::Version},
    {"devId", StringDataTypeEnum::DeviceId},    {"cpu", StringDataTypeEnum::ProcessorDescription},
    {"url", StringDataTypeEnum::Url},           {"serverIp", StringDataTypeEnum::ServerIp},
    {"streamId", StringDataTypeEnum::StreamId},
};

// Signed overflow is undefined, and a host may feed anything.
std::int64_t DifferenceModulo64Bits(std::int64_t later, std::int64_t earlier) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(later) - static_cast<std::uint64_t>(earlier));
}

Json::UInt64 AverageOf(const std::deque<std::uint32_t>& samples) {
    if (samples.empty()) return 0;
    return std::accumulate(samples.begin(), samples.end(), Json::UInt64{0}) / samples.size();
}

template <class Sample>
Sample At(const std::deque<Sample>& samples, std::size_t index) {
    if (index >= samples.size()) throw std::out_of_range("invalid deque<T> subscript");
    return samples[index];
}

}  // namespace

void StreamQualityReport::BuildStreamStartRecord(Json::Value& record, Json::Value& head) {
    WriteHead(head, RecordKind::Stream);
    {
        const StreamQulityData& data = *m_data;
        const qolive::SharedLock lock(data.m_lock);
        for (const auto& [key, type] : kStreamNumbers)
            record[key] = Json::Int64{data.Value(type)};
        for (const auto& [key, type] : kStreamTexts)
            record[key] = data.Text(type);
    }
    record["devName"] = kDeviceName;
    record["cpuUsage"] = SystemCpu();
    record["cpuAppUsage"] = HostProcessCpu();
}

void StreamQualityReport::BuildFirstFrameRecord(Json::Value& record, Json::Value& head) {
    WriteHead(head, RecordKind::FirstFrame);
    const StreamQulityData& data = *m_data;
    const qolive::SharedLock lock(data.m_lock);
    const std::int64_t requested = data.Value(DataTypeEnum::RequestTime);
    const std::int64_t arrived = data.Value(DataTypeEnum::FirstFrameArrivalTime);
    record["state"] = Json::Int64{data.Value(DataTypeEnum::State)};
    record["code"] = Json::Int64{data.Value(DataTypeEnum::ResultCode)};
    record["startTime"] = Json::Int64{requested};
    record["firstFrameTime"] = Json::Int64{data.Value(DataTypeEnum::FirstFrameTime)};
    record["duration"] = Json::Int64{DifferenceModulo64Bits(arrived, requested)};
}

void StreamQualityReport::BuildQualityRecord(Json::Value& record) {
    record["order"] = Json::UInt{m_order.fetch_add(1)};
    record["t"] = Json::UInt64{m_lastTickMs};
    record["vBitrateAvg"] = AverageOf(m_vsBitrateSamples);
    record["aBitrateAvg"] = AverageOf(m_asBitrateSamples);
    {
        StreamQulityData& data = *m_data;
        const qolive::ExclusiveLock lock(data.m_lock);
        record["sid"] = data.Text(StringDataTypeEnum::SessionId);
        record["lostFrames"] = Json::Int64{data.TakeValue(DataTypeEnum::FramesLost)};
    }
    for (std::size_t i = 0; i < m_streamTimes.size(); ++i)
        record["streams"].append(StreamSample(i));
    for (std::size_t i = 0; i < m_deviceTimes.size(); ++i)
        record["devices"].append(DeviceSample(i));
}

Json::Value StreamQualityReport::StreamSample(std::size_t index) const {
    Json::Value sample;
    sample["collectTime"] = static_cast<Json::UInt64>(At(m_streamTimes, index));
    sample["acFps"] = At(m_acFpsSamples, index);
    sample["aeFps"] = At(m_aeFpsSamples, index);
    sample["asFps"] = At(m_asFpsSamples, index);
    sample["aeBitrate"] = At(m_aeBitrateSamples, index);
    sample["asBitrate"] = At(m_asBitrateSamples, index);
    sample["vcFps"] = At(m_vcFpsSamples, index);
    sample["veFps"] = At(m_veFpsSamples, index);
    sample["vsFps"] = At(m_vsFpsSamples, index);
    sample["veBitrate"] = At(m_veBitrateSamples, index);
    sample["vsBitrate"] = At(m_vsBitrateSamples, index);
    return sample;
}

// Both kinds of queue grow at the same ticks, so one index fits both.
Json::Value StreamQualityReport::DeviceSample(std::size_t index) const {
    Json::Value sample;
    sample["collectTime"] = static_cast<Json::UInt64>(At(m_deviceTimes, index));
    sample["cpuUsage"] = Json::Int{At(m_cpuSamples, index)};
    sample["cpuAppUsage"] = Json::Int{At(m_appCpuSamples, index)};
    sample["mem"] = Json::Int{At(m_memSamples, index)};
    sample["nt"] = Json::Int{At(m_netSamples, index)};
    sample["sbr"] = Json::UInt{At(m_veBitrateSamples, index) + At(m_aeBitrateSamples, index)};
    sample["rbr"] = Json::UInt{At(m_vsBitrateSamples, index) + At(m_asBitrateSamples, index)};
    return sample;
}

}  // namespace data_report
