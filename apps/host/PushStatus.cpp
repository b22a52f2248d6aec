#include "host/PushStatus.h"

#include <utility>

#include <qolive_report/heartbeat/LiveHeartReport.h>

namespace host {
namespace {

constexpr int kNotPushing = 0;

struct Access {
    std::int32_t LiveHeartReportData::*field;
    void (LiveHeartReport::*update)(int);
};

// Not a table: the addresses of imported functions are known at run time only.
Access AccessOf(int number) {
    if (number == 1) return {&LiveHeartReportData::pushStatus, &LiveHeartReport::updatePushStatus};
    if (number == 2) return {&LiveHeartReportData::micPushStatus, &LiveHeartReport::updateMicPushStatus};
    return {&LiveHeartReportData::mixStatus, &LiveHeartReport::updateMixStreamStatus};
}

}  // namespace

void PushStatus::Turn(bool sending) {
    if (m_number < 1 || m_number > 3) return;
    const Access access = AccessOf(m_number);
    LiveHeartReport& heartbeat = *LiveHeartReport::GetInstance();
    const int status = heartbeat.GetLiveHeartReportData().*access.field;
    if (!sending && status != kNotPushing) {
        m_setByHost = status;
        (heartbeat.*access.update)(kNotPushing);
    } else if (sending && status == kNotPushing && m_setByHost != kNotPushing) {
        (heartbeat.*access.update)(std::exchange(m_setByHost, kNotPushing));
    }
}

}  // namespace host
