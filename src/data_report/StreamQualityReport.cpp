#include "data_report/StreamQualityReport.h"

#include <utility>

#include "data_report/ServerPacket.h"
#include "platform/Log.h"

namespace data_report {

StreamQualityReport::StreamQualityReport(const std::string& streamId, const StreamTypeEnum& streamType,
                                         std::shared_ptr<StreamQulityData> data)
    : m_streamId(streamId),
      m_streamType(streamType),
      m_data(std::move(data)),
      m_rttMs(kNoAnswerMs),
      m_cpuRate(std::make_shared<CCPUUseRate>()),
      m_processCpuRate(new CProcessCPUUseRate) {
    HostProcessCpu();
    m_cpuRate->Initialize();
    if (m_streamType == StreamTypeEnum::Sampled) StartReportThread();
}

StreamQualityReport::~StreamQualityReport() {
    EndReportThread();
}

void StreamQualityReport::OnDisponseData(int unused, const unsigned char* data, std::size_t len) {
    OnDisponseData(unused, ServerPacket(data, len));
}

void StreamQualityReport::OnDisponseData(int /*unused*/, const ServerPacket& packet) {
    if (packet.isEmpty()) return;
    Log(LogLevel::Info, "[StreamQualityReport] OnDisponseData data:%s", packet.text().c_str());
    if (packet.isAcceptance()) m_bEnabled = true;
}

}  // namespace data_report
