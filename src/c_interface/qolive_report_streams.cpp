#include <json/json.h>

#include "base/JsonText.h"
#include "c_interface/CallGuard.h"
#include "c_interface/qolive_report.h"
#include "data_report/DataReportManager.h"
#include "data_report/RecordQueueWatch.h"
#include "data_report/ReportTypes.h"

using namespace c_interface;
using data_report::DataReportManager;

int32_t qolive_streams_init(void) noexcept {
    return Guarded([] { return DataReportManager::Instance().Init(); });
}

int32_t qolive_streams_is_connected(void) noexcept {
    return Guarded([] { return DataReportManager::Instance().IsConnected(); });
}

int32_t qolive_streams_get_tick_count_ms(uint64_t* milliseconds) noexcept {
    return WriteNumber(milliseconds, [] { return DataReportManager::GetTickCountMs(); });
}

int32_t qolive_streams_report_start(const char* id, size_t id_length, int32_t type) noexcept {
    return Done([=] {
        DataReportManager::Instance().ReportStart(ToText(id, id_length),
                                                  static_cast<data_report::StreamTypeEnum>(type));
    });
}

int32_t qolive_streams_report_stop(const char* id, size_t id_length) noexcept {
    return Done([=] { DataReportManager::Instance().ReportStop(ToText(id, id_length)); });
}

int32_t qolive_streams_add_report_data(const char* id, size_t id_length, int32_t type,
                                       int64_t value) noexcept {
    return Done([=] {
        DataReportManager::Instance().AddReportData(ToText(id, id_length),
                                                    static_cast<data_report::DataTypeEnum>(type), value);
    });
}

int32_t qolive_streams_add_report_string_data(const char* id, size_t id_length, int32_t type,
                                              const char* value, size_t value_length) noexcept {
    return Done([=] {
        DataReportManager::Instance().AddReportStringData(ToText(id, id_length),
                                                          static_cast<data_report::StringDataTypeEnum>(type),
                                                          ToText(value, value_length));
    });
}

int32_t qolive_streams_report_event_data(const char* id, size_t id_length, int32_t type, const char* event,
                                         size_t event_length) noexcept {
    return Done([=] {
        DataReportManager::Instance().ReportEventData(ToText(id, id_length),
                                                      static_cast<data_report::EventTypeEnum>(type),
                                                      ToJson(event, event_length));
    });
}

int32_t qolive_streams_send_stream_report(const char* record, size_t record_length, const char* head,
                                          size_t head_length, char* buffer, size_t capacity,
                                          size_t* sent_head_length) noexcept {
    return Guarded([=] {
        Require(sent_head_length);
        if (capacity != 0) Require(buffer);
        Json::Value sentHead = ToJson(head, head_length);
        const Json::Value body = ToJson(record, record_length);
        if (!DataReportManager::Instance().SendStreamReport(body, sentHead))
            return std::int32_t{QOLIVE_FAILED};
        std::string text = WriteCompactJson(sentHead);
        text.pop_back();  // the writer's line break
        WriteText(text, buffer, capacity, sent_head_length);
        return std::int32_t{QOLIVE_DONE};
    });
}

int32_t qolive_streams_get_record_counters(qolive_record_counters* counters) noexcept {
    return Done([=] {
        Require(counters);
        RequireSize(counters->size, sizeof *counters);
        const data_report::RecordCounters now = data_report::GetRecordCounters();
        counters->queued = now.queued;
        counters->handed_over = now.handedOver;
        counters->lost_at_disconnect = now.lostAtDisconnect;
        counters->dropped_by_bound = now.droppedByBound;
        counters->waiting = now.waiting;
        counters->waiting_bytes = now.waitingBytes;
        counters->oldest_waiting_ms = now.oldestWaitingMs;
    });
}

int32_t qolive_streams_set_record_bound(uint64_t most_records, uint64_t most_bytes) noexcept {
    return Done([=] { data_report::SetRecordBound(most_records, most_bytes); });
}
