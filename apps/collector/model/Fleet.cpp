#include "collector/model/Fleet.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "common/Json.h"

namespace collector {
namespace {

// More than any sound broadcaster has; a broken or hostile one must not make the collector grow.
constexpr std::size_t kMostConnections = 32;
constexpr std::size_t kMostStreams = 256;

constexpr Millis kPauseBetweenQuestions = 3000;
constexpr Millis kPauseBetweenComplaints = 60000;

template <class Map>
void MakeRoom(Map& map, std::size_t most) {
    if (map.size() < most) return;
    map.erase(std::min_element(map.begin(), map.end(), [](const auto& a, const auto& b) {
        return a.second.lastHeard < b.second.lastHeard;
    }));
}

template <class Map>
typename Map::mapped_type& FindOrAdd(Map& map, const std::string& key, std::size_t most) {
    const auto found = map.find(key);
    if (found != map.end()) return found->second;
    MakeRoom(map, most);
    return map[key];
}

std::uint64_t Mixed(std::uint64_t hash, std::uint64_t value) {
    constexpr std::uint64_t kPrime = 0x100000001b3;
    for (unsigned shift = 0; shift < 64; shift += 8)
        hash = (hash ^ (value >> shift & 0xFFU)) * kPrime;
    return hash;
}

std::uint64_t HeartbeatId(const Json::Value& body) {
    const auto time = static_cast<std::uint64_t>(body["ts"].asInt64());
    return Mixed(Mixed(time, body["order"].asUInt64()), static_cast<std::uint64_t>(body["type"].asInt()));
}

std::uint64_t MidOf(const Json::Value& head) {
    return static_cast<std::uint64_t>(std::stoll(head["mid"].asString()));
}

std::uint64_t HashOfState(Json::Value body) {
    body.removeMember("ts");
    body.removeMember("order");
    return std::hash<std::string>()(apps::CompactJson(body));
}

// A number that is not above the previous one belongs to a stream that began again under the same sid.
std::int64_t MissingBefore(const Stream& stream, std::uint32_t order) {
    if (order > stream.lastOrder && stream.lastOrder > 0) return order - stream.lastOrder - 1;
    return stream.startedAnew && order > 0 ? order - 1 : 0;
}

std::int64_t CountQualityRecord(Stream& stream, const Json::Value& body) {
    const std::uint32_t order = body["order"].asUInt();
    const std::int64_t missing = MissingBefore(stream, order);
    stream.lost += missing;
    stream.lastOrder = order;
    stream.startedAnew = false;
    ++stream.qualityRecords;
    stream.samples += body["streams"].size();
    return missing;
}

void CountStreamRecord(Stream& stream, const Json::Value& body) {
    stream.streamId = body["streamId"].asString();
    stream.requestTime = body["requestTime"].asInt64();
    stream.startedAnew = true;
    ++stream.starts;
}

// A first-frame record names its stream by the time of the request alone. Of several with the same time it is
// taken to be that of one that still owes its own.
Stream* FindByRequestTime(Broadcaster& broadcaster, std::int64_t requestTime) {
    Stream* found = nullptr;
    for (auto& [sid, stream] : broadcaster.streams) {
        if (stream.starts == 0 || stream.requestTime != requestTime) continue;
        if (stream.firstFrames < stream.starts) return &stream;
        if (!found) found = &stream;
    }
    return found;
}

}  // namespace

bool IsDark(Millis silence, Millis keepAlive) {
    return silence >= keepAlive;
}

bool SeenIds::Insert(std::uint64_t id) {
    if (std::find(m_ids.begin(), m_ids.end(), id) != m_ids.end()) return false;
    if (m_ids.size() < m_most) {
        m_ids.push_back(id);
        return true;
    }
    m_ids[m_oldest] = id;
    m_oldest = (m_oldest + 1) % m_most;
    return true;
}

bool Broadcaster::IsUp() const {
    return std::any_of(connections.begin(), connections.end(),
                       [](const auto& entry) { return entry.second.link == Link::Up; });
}

struct Fleet::Event {
    const Origin& origin;
    const Message& message;
    Millis now;
    Broadcaster& broadcaster;
    Connection& connection;
    Outcome& outcome;

    Notice Tell(Notice::Kind kind) const { return {kind, origin.source, 0, 0, {}}; }
};

bool Fleet::MayBeRead(const Source& source, std::size_t bytes, Millis now, std::vector<Notice>& notices) {
    const Budgets::Answer answer = m_budgets.Take(source.client, bytes, now);
    if (answer.unread > 0) notices.push_back({Notice::Kind::TooMuch, source, 0, answer.unread, {}});
    if (!answer.granted) NoteLife(source, now);
    return answer.granted;
}

void Fleet::NoteLife(const Source& source, Millis now) {
    const auto broadcaster = m_broadcasters.find(source.client);
    if (broadcaster == m_broadcasters.end()) return;
    const auto connection = broadcaster->second.connections.find(source.connection);
    if (connection == broadcaster->second.connections.end() || connection->second.link != Link::Up) return;
    broadcaster->second.lastHeard = connection->second.lastHeard = now;
    connection->second.heardAt = Listened(now);
}

Outcome Fleet::Receive(const Origin& origin, const Message& message, Millis now) {
    Outcome outcome;
    if (message.kind == Kind::Malformed) {
        CountMalformed();
        return outcome;
    }
    if (origin.retained) return outcome;
    const auto known = m_broadcasters.find(origin.source.client);
    const bool isNew = known == m_broadcasters.end();
    const bool isNewConnection = isNew || known->second.connections.count(origin.source.connection) == 0;
    if (isNewConnection && message.kind == Kind::Offline) return outcome;

    Broadcaster* const broadcaster = isNew ? AddBroadcaster(origin.source, now, outcome) : &known->second;
    if (!broadcaster) return outcome;
    Connection& connection = FindOrAdd(broadcaster->connections, origin.source.connection, kMostConnections);
    Event event{origin, message, now, *broadcaster, connection, outcome};
    if (isNew) outcome.before.push_back(event.Tell(Notice::Kind::Joined));
    Handle(event);
    broadcaster->lastHeard = connection.lastHeard = now;
    connection.heardAt = Listened(now);
    Watch(origin.source, connection);
    Order(origin.source.client, *broadcaster, now);
    return outcome;
}

Broadcaster* Fleet::AddBroadcaster(const Source& source, Millis now, Outcome& outcome) {
    if (m_broadcasters.size() >= m_rules.mostBroadcasters) {
        TellCrowded(source, now, outcome);
        const std::optional<std::string> leaving = m_departed.TakeNext(now);
        if (!leaving) return nullptr;
        m_broadcasters.erase(*leaving);
    }
    Broadcaster& added = m_broadcasters[source.client];
    added.firstHeard = now;
    return &added;
}

void Fleet::TellCrowded(const Source& source, Millis now, Outcome& outcome) {
    ++m_tooMany;
    if (m_tooManyToldAt && now - *m_tooManyToldAt < kPauseBetweenComplaints) return;
    m_tooManyToldAt = now;
    outcome.before.push_back({Notice::Kind::Crowded, source, 0, std::exchange(m_tooMany, 0), {}});
}

// Keeps the order in which dark broadcasters are forgotten.
void Fleet::Order(const std::string& client, Broadcaster& broadcaster, Millis now) {
    if (broadcaster.departure.has_value() != broadcaster.IsUp()) return;
    if (broadcaster.departure) {
        m_departed.Remove(*broadcaster.departure);
        broadcaster.departure.reset();
        return;
    }
    const bool established = broadcaster.lastHeard - broadcaster.firstHeard >= m_rules.keepAlive;
    broadcaster.departure = Departure{established, now, client};
    m_departed.Add(*broadcaster.departure);
}

void Fleet::Handle(Event& event) {
    if (event.message.kind == Kind::Offline) return OnOffline(event);
    if (event.connection.link != Link::Up) {
        Notice notice = event.Tell(Notice::Kind::CameBack);
        notice.duration = event.now - event.connection.lastHeard;
        event.outcome.before.push_back(notice);
        event.connection.link = Link::Up;
    }
    if (IsHeartbeat(event.message.kind)) return OnHeartbeat(event, event.message.kind == Kind::FullHeartbeat);
    if (IsStreamMessage(event.message.kind)) return OnStreamMessage(event);
    if (event.message.kind == Kind::Command) ++event.connection.counters.commands;
}

void Fleet::OnOffline(Event& event) {
    const bool wasUp = event.broadcaster.IsUp();
    event.connection.link = Link::Gone;
    if (!wasUp || event.broadcaster.IsUp()) return;
    event.broadcaster.state.reset();
    event.outcome.after.push_back(event.Tell(Notice::Kind::AllDark));
}

void Fleet::OnHeartbeat(Event& event, bool full) {
    Connection& connection = event.connection;
    if (!connection.heartbeats.Insert(HeartbeatId(event.message.body))) {
        ++connection.counters.repeated;
        event.outcome.repeated = true;
        return;
    }
    ++(full ? connection.counters.full : connection.counters.keepAlive);
    if (connection.lastHeartbeat) {
        event.outcome.sinceLast = event.now - *connection.lastHeartbeat;
        connection.counters.longestGap = std::max(connection.counters.longestGap, *event.outcome.sinceLast);
    }
    connection.lastHeartbeat = event.now;
    if (full)
        KeepState(event);
    else if (!event.broadcaster.state)
        AskForState(event);
}

void Fleet::KeepState(Event& event) {
    const std::uint64_t state = HashOfState(event.message.body);
    event.outcome.unchanged = event.broadcaster.state == state;
    event.broadcaster.state = state;
}

void Fleet::AskForState(Event& event) {
    std::optional<Millis>& askedAt = event.broadcaster.askedAt;
    if (askedAt && event.now - *askedAt < kPauseBetweenQuestions) return;
    askedAt = event.now;
    SendAnswer(event, R"({"type":3})", event.Tell(Notice::Kind::AskedForState));
}

void Fleet::OnStreamMessage(Event& event) {
    Counters& counters = event.connection.counters;
    if (!event.broadcaster.mids.Insert(MidOf(event.message.head))) {
        ++counters.repeated;
        event.outcome.repeated = true;
        return;
    }
    ++counters.streamMessages;
    if (event.message.kind == Kind::StreamRecord) OnStreamRecord(event);
    if (event.message.kind == Kind::QualityRecord) OnQualityRecord(event);
    if (event.message.kind == Kind::FirstFrameRecord) OnFirstFrameRecord(event);
}

void Fleet::OnStreamRecord(Event& event) {
    Stream& stream = FindStream(event);
    CountStreamRecord(stream, event.message.body);
    NameStream(event, stream);
    Notice notice = event.Tell(Notice::Kind::Answered);
    notice.number = m_rules.answerCode;
    SendAnswer(event, R"({"type":1,"code":)" + std::to_string(m_rules.answerCode) + "}", notice);
}

void Fleet::OnQualityRecord(Event& event) {
    Stream& stream = FindStream(event);
    NameStream(event, stream);
    Notice notice = event.Tell(Notice::Kind::LostRecords);
    notice.number = CountQualityRecord(stream, event.message.body);
    notice.stream = event.outcome.stream;
    if (notice.number > 0) event.outcome.before.push_back(notice);
}

void Fleet::OnFirstFrameRecord(Event& event) {
    Stream* stream = FindByRequestTime(event.broadcaster, event.message.body["startTime"].asInt64());
    if (!stream) return;
    ++stream->firstFrames;
    NameStream(event, *stream);
}

Stream& Fleet::FindStream(Event& event) {
    return FindOrAdd(event.broadcaster.streams, event.message.body["sid"].asString(), kMostStreams);
}

void Fleet::NameStream(Event& event, Stream& stream) {
    stream.lastHeard = event.now;
    event.outcome.stream = stream.streamId.empty() ? event.message.body["sid"].asString() : stream.streamId;
}

// A broadcaster must not make the collector write to another's topics.
void Fleet::SendAnswer(Event& event, const std::string& payload, const Notice& notice) {
    if (m_rules.watchOnly) return;
    const std::string own = DownTopic(event.origin.source, event.origin.command.value_or(0));
    if (event.origin.responseTopic != own) {
        event.outcome.after.push_back(event.Tell(Notice::Kind::NoAnswer));
        return;
    }
    event.outcome.answers.push_back({own, payload});
    event.outcome.after.push_back(notice);
}

void Fleet::Watch(const Source& source, Connection& connection) {
    if (connection.watch != 0 || connection.link != Link::Up) return;
    connection.watch = ++m_watches;
    m_bySilence.push({SilentSince(connection) + m_rules.keepAlive, connection.watch, source});
}

Millis Fleet::SilentSince(const Connection& connection) const {
    return std::max(connection.heardAt, m_listeningSince);
}

std::vector<Notice> Fleet::Tick(Millis now) {
    std::vector<Notice> notices;
    const Millis listened = Listened(now);
    while (!m_bySilence.empty() && m_bySilence.top().due <= listened) {
        const Watched watched = m_bySilence.top();
        m_bySilence.pop();
        Look(watched, listened, notices);
    }
    return notices;
}

// What was forgotten in the meantime, or has ended, is watched no longer; what has spoken is looked at again
// later.
void Fleet::Look(const Watched& watched, Millis listened, std::vector<Notice>& notices) {
    const auto broadcaster = m_broadcasters.find(watched.source.client);
    if (broadcaster == m_broadcasters.end()) return;
    const auto found = broadcaster->second.connections.find(watched.source.connection);
    if (found == broadcaster->second.connections.end() || found->second.watch != watched.watch) return;
    Connection& connection = found->second;
    connection.watch = 0;
    const Millis since = SilentSince(connection);
    if (!IsDark(watched.due - since, m_rules.keepAlive)) return Watch(watched.source, connection);
    if (connection.link == Link::Up)
        GoSilent(watched.source, broadcaster->second, connection, listened - since, notices);
}

void Fleet::GoSilent(const Source& source, Broadcaster& broadcaster, Connection& connection, Millis silence,
                     std::vector<Notice>& notices) {
    connection.link = Link::Silent;
    notices.push_back({Notice::Kind::WentSilent, source, silence, 0, {}});
    if (broadcaster.IsUp()) return;
    broadcaster.state.reset();
    Order(source.client, broadcaster, connection.lastHeard + silence);
    notices.push_back({Notice::Kind::AllDark, {source.client, {}}, 0, 0, {}});
}

}  // namespace collector
