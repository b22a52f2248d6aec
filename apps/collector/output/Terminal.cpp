#include "collector/output/Terminal.h"

#include <cstdio>
#include <ctime>

#include "collector/output/Sparkline.h"
#include "common/Json.h"
#include "common/Printable.h"
#include "common/TextWidth.h"

namespace collector {
namespace {

constexpr std::size_t kMostTextBytes = 96;
constexpr std::size_t kWideColumns = 110;
constexpr std::size_t kClientColumn = 12;
constexpr std::size_t kConnectionColumn = 8;
constexpr std::size_t kLabelColumn = 13;
constexpr std::size_t kLeastDetails = 24;

std::string LocalTime(std::int64_t wallMs) {
    const std::time_t seconds = static_cast<std::time_t>(wallMs / 1000);
    std::tm local{};
    localtime_r(&seconds, &local);
    char text[32];
    const std::size_t length = std::strftime(text, sizeof text, "%H:%M:%S", &local);
    std::snprintf(text + length, sizeof text - length, ".%d", static_cast<int>(wallMs % 1000 / 100));
    return text;
}

std::string Shown(const Json::Value& value) {
    return apps::Printable(value.asString(), kMostTextBytes);
}

std::string Size(const Json::Value& part, const char* width, const char* height) {
    return Shown(part[width]) + "x" + Shown(part[height]);
}

std::string DescribeLive(const Json::Value& live) {
    return " · " + Shown(live["streamName"]) + " " + Size(live, "width", "height") + " codec " +
           Shown(live["codec"]) + " push " + Shown(live["pushStatus"]);
}

std::string DescribeMix(const Json::Value& mic) {
    if (mic["mixStreamName"].asString().empty() && mic["mixStatus"].asInt() == 0) return "";
    return " · mix " + Shown(mic["mixStreamName"]) + " " + Size(mic, "mixWidth", "mixHeight") + " mode " +
           Shown(mic["mixMode"]) + " status " + Shown(mic["mixStatus"]);
}

std::string DescribeMic(const Json::Value& mic) {
    return " · co-host " + Shown(mic["streamName"]) + " " + Size(mic, "micWidth", "micHeight") + " push " +
           Shown(mic["micPushStatus"]) + DescribeMix(mic);
}

std::string DescribeState(const Json::Value& body) {
    std::string text = body["liveStatus"].asInt() == 1 ? "LIVE" : "not live";
    if (!body["sessionId"].asString().empty()) text += " · session " + Shown(body["sessionId"]);
    if (body.isMember("liveInfo")) text += DescribeLive(body["liveInfo"]);
    if (body.isMember("micInfo")) text += DescribeMic(body["micInfo"]);
    return text;
}

std::string DescribeStreamRecord(const Json::Value& body) {
    return Shown(body["streamId"]) + " (sid " + Shown(body["sid"]) + ") " + Size(body, "width", "height") +
           " at " + Shown(body["fps"]) + " fps, " + Shown(body["vBitrate"]) + "+" + Shown(body["aBitrate"]) +
           " kbps to " + Shown(body["url"]) + " · state " + Shown(body["state"]) + " code " +
           Shown(body["code"]) + " · cpu " + Shown(body["cpuUsage"]) + " %";
}

std::string DescribeQuality(const Json::Value& body, const std::string& stream) {
    return apps::Printable(stream, kMostTextBytes) + " #" + Shown(body["order"]) + " · " +
           Shown(body["vBitrateAvg"]) + "+" + Shown(body["aBitrateAvg"]) + " kbps sent on average · " +
           Shown(body["lostFrames"]) + " frames lost";
}

std::string DescribeFirstFrame(const Json::Value& body, const std::string& stream) {
    return apps::Printable(stream, kMostTextBytes) + (stream.empty() ? "" : " ") + "after " +
           Shown(body["duration"]) + " ms · state " + Shown(body["state"]) + " code " + Shown(body["code"]);
}

std::string Compact(const Json::Value& value) {
    return apps::Printable(apps::CompactJson(value, apps::Letters::Plain), kMostTextBytes);
}

std::string DescribeMalformed(const Received& received, const std::string& reason) {
    std::string text = reason + " · " + std::to_string(received.payload.size()) +
                       " bytes: " + apps::Printable(received.payload, kMostTextBytes);
    if (!received.parsedTopic) text += " · topic " + apps::Printable(received.topic, kMostTextBytes);
    return text;
}

std::string Describe(const Received& received, const Message& message, const Outcome& outcome) {
    if (outcome.repeated) return "seen before, dropped";
    if (received.retained && message.kind != Kind::Malformed)
        return "retained by the broker: no sign of life";
    switch (message.kind) {
        case Kind::FullHeartbeat:
            return outcome.unchanged ? "state unchanged" : DescribeState(message.body);
        case Kind::KeepAlive:
            return outcome.sinceLast ? "+" + Seconds(*outcome.sinceLast) : "";
        case Kind::Command:
            return "type " + Shown(message.body["bizType"]) + "  " + Shown(message.body["data"]);
        case Kind::StreamRecord:
            return DescribeStreamRecord(message.body);
        case Kind::QualityRecord:
            return DescribeQuality(message.body, outcome.stream);
        case Kind::FirstFrameRecord:
            return DescribeFirstFrame(message.body, outcome.stream);
        case Kind::EventRecord:
            return Compact(message.body);
        case Kind::Unknown:
            return "command " + std::to_string(received.parsedTopic->command.value_or(0)) + "  " +
                   Compact(message.body);
        case Kind::Malformed:
            return DescribeMalformed(received, message.reason);
        case Kind::Online:
        case Kind::Offline:
            break;
    }
    return "";
}

const char* Label(Kind kind) {
    switch (kind) {
        case Kind::Online:
            return "● online";
        case Kind::Offline:
            return "○ offline";
        case Kind::FullHeartbeat:
            return "♥ full";
        case Kind::KeepAlive:
            return "♡ keep-alive";
        case Kind::Command:
            return "» command";
        case Kind::StreamRecord:
            return "▶ stream";
        case Kind::QualityRecord:
            return "▦ quality";
        case Kind::FirstFrameRecord:
            return "▷ first frame";
        case Kind::EventRecord:
            return "◆ event";
        case Kind::Unknown:
            return "? unknown";
        case Kind::Malformed:
            return "! malformed";
    }
    return "";
}

std::string Describe(const Notice& notice) {
    switch (notice.kind) {
        case Notice::Kind::Joined:
            return "first word of this broadcaster";
        case Notice::Kind::WentSilent:
            return "went dark: not a word for " + Seconds(notice.duration);
        case Notice::Kind::CameBack:
            return "is back after " + Seconds(notice.duration);
        case Notice::Kind::AllDark:
            return "the broadcaster is dark: no connection of it is up";
        case Notice::Kind::AskedForState:
            return "state unknown, asked for a full heartbeat";
        case Notice::Kind::Answered:
            return notice.number == 0 ? "stream accepted"
                                      : "stream refused with code " + std::to_string(notice.number);
        case Notice::Kind::LostRecords:
            return std::to_string(notice.number) + " quality record(s) missing before the next";
        case Notice::Kind::NoAnswer:
            return "not answered: the response topic is missing or not the sender's own";
        case Notice::Kind::TooMuch:
            return std::to_string(notice.number) + " message(s) not read: more than 128 KiB/s for long";
        case Notice::Kind::Crowded:
            return "too many broadcasters (--most-broadcasters): " + std::to_string(notice.number) +
                   " turned away, or forgotten while dark";
    }
    return "";
}

bool IsTrouble(Notice::Kind kind) {
    return kind == Notice::Kind::WentSilent || kind == Notice::Kind::AllDark ||
           kind == Notice::Kind::LostRecords || kind == Notice::Kind::NoAnswer ||
           kind == Notice::Kind::TooMuch || kind == Notice::Kind::Crowded;
}

std::string Chart(const char* name, const std::vector<std::int64_t>& values, std::int64_t top = 0) {
    return std::string(" · ") + name + " " + Sparkline(values, top) + " " + Range(values);
}

std::string StreamChart(const char* name, const Json::Value& record, const char* key) {
    return Chart(name, Samples(record, "streams", key));
}

std::string PercentChart(const char* name, const Json::Value& record, const char* key) {
    return Chart(name, Samples(record, "devices", key), 100) + " %";
}

std::string DescribeCounters(const Counters& counters) {
    return "heartbeats " + std::to_string(counters.Heartbeats()) + " (full " + std::to_string(counters.full) +
           ", keep-alive " + std::to_string(counters.keepAlive) + ") · longest gap " +
           Seconds(counters.longestGap) + " · commands " + std::to_string(counters.commands) +
           " · stream messages " + std::to_string(counters.streamMessages) + " · repeated and dropped " +
           std::to_string(counters.repeated);
}

std::string DescribeStream(const std::string& sid, const Stream& stream) {
    const std::string& name = stream.streamId.empty() ? sid : stream.streamId;
    return "stream " + (name.empty() ? "without a name" : apps::Printable(name, kMostTextBytes)) +
           "  stream records " + std::to_string(stream.starts) + " · first-frame records " +
           std::to_string(stream.firstFrames) + " · quality records " +
           std::to_string(stream.qualityRecords) + " with " + std::to_string(stream.samples) +
           " samples · lost " + std::to_string(stream.lost);
}

}  // namespace

Terminal::Colour Terminal::ColourOf(Kind kind) {
    switch (kind) {
        case Kind::Online:
            return Colour::Green;
        case Kind::FullHeartbeat:
            return Colour::Bold;
        case Kind::KeepAlive:
            return Colour::Dim;
        case Kind::Command:
            return Colour::Cyan;
        case Kind::StreamRecord:
        case Kind::FirstFrameRecord:
        case Kind::EventRecord:
            return Colour::Magenta;
        case Kind::QualityRecord:
            return Colour::Blue;
        case Kind::Offline:
        case Kind::Malformed:
            return Colour::Red;
        case Kind::Unknown:
            return Colour::Yellow;
    }
    return Colour::None;
}

std::string Terminal::Paint(Colour colour, const std::string& text) const {
    if (!m_colours || colour == Colour::None) return text;
    static const char* const codes[] = {"0", "2", "1", "31", "32", "33", "34", "35", "36"};
    return std::string("\x1b[") + codes[static_cast<std::size_t>(colour)] + "m" + text + "\x1b[0m";
}

bool Terminal::IsWide() const {
    return m_width() >= kWideColumns;
}

void Terminal::WriteLine(std::int64_t wallMs, const Source& source, Colour colour, const std::string& label,
                         const std::string& details) {
    std::string place = apps::Padded(source.connection, kConnectionColumn);
    if (IsWide())
        place = apps::Padded(source.client, kClientColumn) + " " + place;
    else
        WriteName(source.client);
    const std::string time = LocalTime(wallMs);
    const std::string shownLabel = details.empty() ? label : apps::Padded(label, kLabelColumn) + " ";
    WriteWrapped(Paint(Colour::Dim, time) + " " + place + " " + Paint(colour, shownLabel),
                 apps::Columns(time + place) + kLabelColumn + 3,
                 colour == Colour::Dim ? colour : Colour::None, details);
}

// `begin`, which takes `indent` columns, and `text` beside it in as many lines as it takes.
void Terminal::WriteWrapped(const std::string& begin, std::size_t indent, Colour colour,
                            const std::string& text) {
    const std::size_t width = m_width();
    const std::size_t columns = width < indent + kLeastDetails ? kLeastDetails : width - indent;
    m_stream << begin << Paint(colour, apps::Paragraph(text, columns, indent)) << std::endl;
}

void Terminal::WriteName(const std::string& client) {
    if (client == m_named) return;
    m_stream << Paint(Colour::Bold, client) << "\n";
    m_named = client;
}

void Terminal::Show(const Received& received, const Message& message, const Outcome& outcome) {
    const Source source = received.parsedTopic ? received.parsedTopic->source : Source{"?", "?"};
    WriteLine(received.wallMs, source, outcome.repeated ? Colour::Yellow : ColourOf(message.kind),
              Label(message.kind), Describe(received, message, outcome));
    if (message.kind == Kind::QualityRecord && !outcome.repeated) ShowSamples(message.body);
}

void Terminal::ShowSamples(const Json::Value& record) {
    constexpr std::size_t kIndent = 4;
    const std::string begin(kIndent, ' ');
    if (!record.isMember("streams") && !record.isMember("devices"))
        return WriteWrapped(begin, kIndent, Colour::None, "no samples");
    WriteWrapped(begin, kIndent, Colour::None,
                 "sent" + StreamChart("fps", record, "vsFps") + StreamChart("kbps", record, "vsBitrate") +
                     StreamChart("audio kbps", record, "asBitrate"));
    WriteWrapped(begin, kIndent, Colour::None,
                 "host" + PercentChart("cpu", record, "cpuUsage") +
                     PercentChart("app", record, "cpuAppUsage") + PercentChart("mem", record, "mem") +
                     Chart("ping/50 ms", Samples(record, "devices", "nt")));
}

void Terminal::Show(std::int64_t wallMs, const Notice& notice) {
    WriteLine(wallMs, notice.source, IsTrouble(notice.kind) ? Colour::Red : Colour::Yellow, "·",
              (notice.stream.empty() ? "" : apps::Printable(notice.stream, kMostTextBytes) + ": ") +
                  Describe(notice));
}

void Terminal::Remark(std::int64_t wallMs, const std::string& text) {
    const std::string time = LocalTime(wallMs);
    WriteWrapped(Paint(Colour::Dim, time) + " ", time.size() + 1, Colour::Yellow, apps::Printable(text, 400));
}

void Terminal::Summarise(std::int64_t, const Fleet& fleet) {
    m_stream << "\n" << Paint(Colour::Bold, "Summary") << "\n";
    if (fleet.Broadcasters().empty()) m_stream << "  no broadcaster was heard\n";
    for (const auto& [client, broadcaster] : fleet.Broadcasters()) {
        m_stream << "  " << client << (broadcaster.IsUp() ? " (up)" : " (dark)") << "\n";
        SummariseBroadcaster(broadcaster);
    }
    if (fleet.Malformed() > 0) m_stream << "  " << fleet.Malformed() << " malformed messages\n";
    m_stream << std::flush;
}

void Terminal::SummariseBroadcaster(const Broadcaster& broadcaster) {
    constexpr std::size_t kRoleColumn = 6;
    for (const auto& [id, connection] : broadcaster.connections) {
        const std::string begin = "    " + id + " " +
                                  apps::Padded(Role(broadcaster, connection), kRoleColumn) + " " +
                                  apps::Padded(Name(connection.link), kRoleColumn) + " ";
        WriteWrapped(begin, apps::Columns(begin), Colour::None, DescribeCounters(connection.counters));
    }
    for (const auto& [sid, stream] : broadcaster.streams)
        WriteWrapped("    ", 6, Colour::None, DescribeStream(sid, stream));
}

}  // namespace collector
