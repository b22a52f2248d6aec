#include "data_report/RecordHead.h"

#include <json/value.h>

namespace data_report {
namespace {

constexpr Json::Int kReportEvent = 2;  // the class of all records

}  // namespace

void WriteHead(Json::Value& head, RecordKind kind) {
    head["type"] = static_cast<Json::Int>(kind);
    head["event"] = kReportEvent;
}

}  // namespace data_report
