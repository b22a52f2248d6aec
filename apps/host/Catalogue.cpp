#include "host/Catalogue.h"

#include <qolive_report/data_report/DataReportManager.h>
#include <qolive_report/heartbeat/LiveHeartReport.h>
#include <qolive_report/heartbeat/LiveHeartReportManager.h>
#include <qolive_report/session/CLiveCommonInfo.h>
#include <qolive_report/session/QoUser.h>
#include "common/Json.h"

namespace host {
namespace {

using data_report::DataReportManager;

LiveHeartReport& Heartbeat() {
    return *LiveHeartReport::GetInstance();
}
CLiveCommonInfo& Talk() {
    return *CLiveCommonInfo::GetInstance();
}

Parameter Int(const char* name) {
    return {name, ParameterKind::Int32};
}
Parameter Word(const char* name) {
    return {name, ParameterKind::Word};
}
Parameter Rest(const char* name) {
    return {name, ParameterKind::Rest};
}
const Parameter kOnOff{"on|off", ParameterKind::OnOff};

void SwitchHeartbeat(bool on) {
    int mode = 0;
    if (on)
        LiveHeartReportManager::GetInstance()->startLiveheart(R"({"heartbeatMode":1})", mode);
    else
        LiveHeartReportManager::GetInstance()->stopLiveheart();
}

Actions SessionActions() {
    return {
        {"user",
         {Word("ID"), Int("ROOMTYPE")},
         "who is logged in",
         [](const Arguments& a) {
             QoUser::GetInstance()->SetBreloId(a.Text(0));
             QoUser::GetInstance()->SetTagRoomType(a.Int(1));
         }},
        {"talk",
         {kOnOff, Int("ID")},
         "the talk session begins or ends",
         [](const Arguments& a) { Talk().SetTalkLiving(a.On(0), a.Int(1)); }},
        {"layout",
         {Rest("TEXT")},
         "the layout of the talk session",
         [](const Arguments& a) { Talk().SetLayoutType(a.Text(0)); }},
    };
}

Actions ConnectionActions(const Surroundings& surroundings) {
    return {
        {"connect",
         {},
         "connect to the servers again after disconnect",
         [connect = surroundings.connect](const Arguments&) { connect(); }},
        {"disconnect",
         {},
         "close the connections",
         [disconnect = surroundings.disconnect](const Arguments&) { disconnect(); }},
        {"heartbeat",
         {kOnOff},
         "start or stop the heartbeat",
         [](const Arguments& a) { SwitchHeartbeat(a.On(0)); }},
        {"full",
         {},
         "make the next heartbeat a full one",
         [](const Arguments&) { Heartbeat().updateDataState(true); }},
        {"command",
         {Int("TYPE"), Rest("TEXT")},
         "send a command",
         [](const Arguments& a) { Heartbeat().sendComand(a.Int(0), a.Text(1)); }},
    };
}

Actions AnchorActions() {
    return {
        {"session",
         {Word("ID")},
         "identifier of the live session",
         [](const Arguments& a) { Heartbeat().updateLiveID(a.Text(0)); }},
        {"business",
         {Int("APP"), Int("BUSINESS")},
         "application and business of the anchor's stream",
         [](const Arguments& a) { Heartbeat().updateLiveBusinessInfo(a.Int(0), a.Int(1)); }},
        {"stream",
         {Word("NAME"), Int("SID"), Int("WIDTH"), Int("HEIGHT"), Int("CODEC")},
         "the anchor's stream",
         [](const Arguments& a) {
             Heartbeat().updateLiveStreamInfo(a.Text(0), a.Int(1), a.Int(2), a.Int(3), a.Int(4));
         }},
        {"live",
         {kOnOff},
         "the anchor goes live or stops",
         [](const Arguments& a) { Heartbeat().updateliveStatus(a.On(0)); }},
        {"push",
         {Int("STATUS")},
         "push status of the anchor's stream, 0 = not pushing",
         [](const Arguments& a) { Heartbeat().updatePushStatus(a.Int(0)); }},
    };
}

Actions CoHostActions() {
    return {
        {"co-host",
         {Int("APP"), Int("BUSINESS"), Word("NAME"), Int("SID"), Int("WIDTH"), Int("HEIGHT"), Int("CODEC"),
          Int("ROLE"), Word("CHANNEL"), Int("MIXMODE")},
         "the co-host's stream and the link to it",
         [](const Arguments& a) {
             Heartbeat().updateMicInfo(a.Int(0), a.Int(1), a.Text(2), a.Int(3), a.Int(4), a.Int(5), a.Int(6),
                                       a.Int(7), a.Text(8), a.Int(9));
         }},
        {"co-host-link",
         {kOnOff},
         "the link to the co-host comes up or ends",
         [](const Arguments& a) { Heartbeat().updatemicStatus(a.On(0)); }},
        {"co-host-push",
         {Int("STATUS")},
         "push status of the co-host's stream",
         [](const Arguments& a) { Heartbeat().updateMicPushStatus(a.Int(0)); }},
        {"mix",
         {Word("NAME"), Int("WIDTH"), Int("HEIGHT"), Int("SID"), Int("CODEC")},
         "the mixed stream",
         [](const Arguments& a) {
             Heartbeat().updateMixStreamInfo(a.Text(0), a.Int(1), a.Int(2), a.Int(3), a.Int(4));
         }},
        {"mix-status",
         {Int("STATUS")},
         "status of the mixed stream",
         [](const Arguments& a) { Heartbeat().updateMixStreamStatus(a.Int(0)); }},
        {"mix-mode",
         {Int("MODE")},
         "how the streams are mixed, 2 = by the client",
         [](const Arguments& a) {
             Talk().SetMixMode(a.Int(0));
             Heartbeat().updateMixMode(a.Int(0));
         }},
    };
}

Json::Value ToJson(const std::string& text) {
    return apps::ReadJson(text).value_or(Json::Value());
}

Actions StreamActions() {
    const Parameter value{"VALUE", ParameterKind::Int64};
    const Parameter json{"JSON", ParameterKind::Json};
    return {
        {"report-start",
         {Word("ID"), Int("TYPE")},
         "announce a stream; type 0 is sampled",
         [](const Arguments& a) {
             DataReportManager::Instance().ReportStart(a.Text(0), data_report::StreamTypeEnum(a.Int(1)));
         }},
        {"report-stop",
         {Word("ID")},
         "the stream has ended",
         [](const Arguments& a) { DataReportManager::Instance().ReportStop(a.Text(0)); }},
        {"report-data",
         {Word("ID"), Int("SLOT"), value},
         "feed a counter (slots 0 to 11) or a setting (12 to 41)",
         [](const Arguments& a) {
             DataReportManager::Instance().AddReportData(a.Text(0), data_report::DataTypeEnum(a.Int(1)),
                                                         a.Int64(2));
         }},
        {"report-text",
         {Word("ID"), Int("SLOT"), Rest("TEXT")},
         "feed a text (slots 0 to 6)",
         [](const Arguments& a) {
             DataReportManager::Instance().AddReportStringData(
                 a.Text(0), data_report::StringDataTypeEnum(a.Int(1)), a.Text(2));
         }},
        {"report-event",
         {Word("ID"), Int("TYPE"), json},
         "report an event: 1 stream start, 4 first frame, 3 own",
         [](const Arguments& a) {
             DataReportManager::Instance().ReportEventData(a.Text(0), data_report::EventTypeEnum(a.Int(1)),
                                                           ToJson(a.Text(2)));
         }},
    };
}

}  // namespace

Actions Catalogue(const Surroundings& surroundings) {
    Actions all;
    for (const Actions& part : {SessionActions(), ConnectionActions(surroundings), AnchorActions(),
                                CoHostActions(), StreamActions()})
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

std::string DefaultScript(int width, int height) {
    const std::string size = std::to_string(width) + " " + std::to_string(height);
    return R"(0    user demo-user 1
0    session demo-session
0    business 1 2
0    heartbeat on
3    talk on 1
3    stream demo-show 7 )" +
           size + R"( 1
3    live on
4    command 1 {"say":"welcome"}
4    command 2 {"viewers":17}
7    co-host 1 2 demo-guest 8 )" +
           size + R"( 1 2 demo-channel 1
7    co-host-push 1
7    co-host-link on
8    layout side-by-side
8    command 3 {"say":"hello, guest"}
11   mix demo-mix )" +
           size + R"( 9 1
11   mix-status 1
11   mix-mode 2
14   command 1 {"say":"good night"}
15   co-host-link off
15   mix-status 0
15   talk off 1
)";
}

}  // namespace host
