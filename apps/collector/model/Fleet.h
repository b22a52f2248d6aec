#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <queue>
#include <string>
#include <vector>

#include "collector/model/Budgets.h"
#include "collector/model/Departed.h"
#include "collector/model/Message.h"
#include "collector/model/Millis.h"
#include "collector/model/Topic.h"

// What the collector knows of every broadcaster. Nothing here does I/O or reads a clock: `now` is any clock
// in milliseconds that never goes back.

namespace collector {

struct FleetRules {
    Millis keepAlive = 15000;  ///< a connection that says nothing for so long is dark
    int answerCode = 0;        ///< what a stream record is answered with; 0 accepts the stream
    bool watchOnly = false;    ///< nobody is answered or asked
    std::size_t mostBroadcasters = 200000;
};

/// True once `silence` has lasted a keep-alive.
bool IsDark(Millis silence, Millis keepAlive);

/// Numbers that may come only once; of those, the latest `most` are remembered.
class SeenIds {
public:
    explicit SeenIds(std::size_t most) : m_most(most) {}

    /// False when `id` has been seen before.
    bool Insert(std::uint64_t id);

private:
    std::size_t m_most;
    std::vector<std::uint64_t> m_ids;  ///< a ring once it is full
    std::size_t m_oldest = 0;
};

enum class Link {
    Up,
    Silent,  ///< nothing heard for a keep-alive, although the broker has not reported its end
    Gone,    ///< the broker said that the connection has ended
};

struct Counters {
    std::int64_t full = 0;
    std::int64_t keepAlive = 0;
    std::int64_t commands = 0;
    std::int64_t streamMessages = 0;
    std::int64_t repeated = 0;
    Millis longestGap = 0;  ///< between two heartbeats

    std::int64_t Heartbeats() const { return full + keepAlive; }
};

struct Connection {
    Link link = Link::Up;
    Millis lastHeard = 0;
    Millis heardAt = 0;       ///< the same in the time in which the collector listened
    std::uint64_t watch = 0;  ///< its entry in the fleet's order of silence; 0: none
    std::optional<Millis> lastHeartbeat;
    SeenIds heartbeats{16};
    Counters counters;
};

/// The quality records of one stream are numbered from 1.
struct Stream {
    std::string streamId;
    Millis lastHeard = 0;
    std::int64_t requestTime = 0;
    std::uint32_t lastOrder = 0;  ///< 0: none yet
    bool startedAnew = false;     ///< a stream record has come since the last quality record
    std::int64_t starts = 0;
    std::int64_t firstFrames = 0;
    std::int64_t qualityRecords = 0;
    std::int64_t samples = 0;
    std::int64_t lost = 0;  ///< numbers left out
};

struct Broadcaster {
    Millis firstHeard = 0;
    Millis lastHeard = 0;
    std::optional<Departure> departure;  ///< while it is dark
    std::map<std::string, Connection> connections;
    std::map<std::string, Stream> streams;  ///< by "sid"
    std::optional<std::uint64_t> state;  ///< a hash of what the latest full heartbeat said, while one is up
    std::optional<Millis> askedAt;
    SeenIds mids{256};

    bool IsUp() const;
};

struct Notice {
    enum class Kind {
        Joined,         ///< first word of this broadcaster
        WentSilent,     ///< `duration` without a word
        CameBack,       ///< after `duration`
        AllDark,        ///< the broadcaster's last connection is silent or gone
        AskedForState,  ///< a full heartbeat was asked for
        Answered,       ///< a stream record was answered with `number`
        LostRecords,    ///< `number` quality records of `stream` are missing
        NoAnswer,       ///< the response topic is missing or not the sender's own
        TooMuch,        ///< `number` messages of this broadcaster were not read: it sends more than it may
        Crowded,        ///< `number` broadcasters were too many: turned away, or forgotten while dark
    };
    Kind kind;
    Source source;
    Millis duration = 0;
    std::int64_t number = 0;
    std::string stream;
};

/// A message to publish.
struct Answer {
    std::string topic;
    std::string payload;
};

/// What one message led to.
struct Outcome {
    bool repeated = false;            ///< had been seen before: counted, and otherwise dropped
    std::optional<Millis> sinceLast;  ///< of a heartbeat: since the connection's previous one
    bool unchanged = false;           ///< a full heartbeat that says what was known already
    std::string stream;               ///< of a record: the stream's id, or its sid, where one is known
    std::vector<Notice> before;       ///< to be told before the message
    std::vector<Notice> after;        ///< to be told after it
    std::vector<Answer> answers;
};

/// Where a message came from.
struct Origin {
    Source source;
    std::optional<int> command;  ///< none: the presence topic
    std::string responseTopic;
    bool retained = false;  ///< said some time ago, to whoever asks later
};

class Fleet {
public:
    explicit Fleet(FleetRules rules) : m_rules(rules) {}

    /// Whether a message of `bytes` may be read and given to Receive. One that may not is a sign of life and
    /// nothing else. Adds what is to be told.
    bool MayBeRead(const Source& source, std::size_t bytes, Millis now, std::vector<Notice>& notices);

    /// A malformed message is counted and changes nothing else; a retained one is no sign of life and changes
    /// nothing at all. Nor does one of a broadcaster for whom there is no room.
    Outcome Receive(const Origin& origin, const Message& message, Millis now);

    /// A message whose topic says nothing.
    void CountMalformed() { ++m_malformed; }

    /// What the passing of time shows: connections that went silent. Looks only at those that may have. To be
    /// called when everything that has come was given to Receive.
    std::vector<Notice> Tick(Millis now);

    /// For so long, until now, the collector did not listen: that time is no silence of anybody.
    void Miss(Millis duration) { m_missed += duration; }

    /// The collector itself had been cut off from the broker: silence counts from now.
    void ListenAgain(Millis now) { m_listeningSince = Listened(now); }

    const std::map<std::string, Broadcaster>& Broadcasters() const { return m_broadcasters; }
    std::int64_t Malformed() const { return m_malformed; }

private:
    struct Event;

    /// A connection that is up, and when it will have been silent for a keep-alive unless it says something.
    struct Watched {
        Millis due;
        std::uint64_t watch;
        Source source;

        friend bool operator>(const Watched& a, const Watched& b) { return a.due > b.due; }
    };
    using BySilence = std::priority_queue<Watched, std::vector<Watched>, std::greater<>>;

    Millis Listened(Millis now) const { return now - m_missed; }
    void Watch(const Source& source, Connection& connection);
    Millis SilentSince(const Connection& connection) const;
    void Look(const Watched& watched, Millis listened, std::vector<Notice>& notices);
    void GoSilent(const Source& source, Broadcaster& broadcaster, Connection& connection, Millis silence,
                  std::vector<Notice>& notices);

    Broadcaster* AddBroadcaster(const Source& source, Millis now, Outcome& outcome);
    void NoteLife(const Source& source, Millis now);
    void TellCrowded(const Source& source, Millis now, Outcome& outcome);
    void Order(const std::string& client, Broadcaster& broadcaster, Millis now);

    void Handle(Event& event);
    void OnOffline(Event& event);
    void OnHeartbeat(Event& event, bool full);
    void OnStreamMessage(Event& event);
    void OnStreamRecord(Event& event);
    void OnQualityRecord(Event& event);
    void OnFirstFrameRecord(Event& event);
    static Stream& FindStream(Event& event);
    static void NameStream(Event& event, Stream& stream);
    static void KeepState(Event& event);
    void AskForState(Event& event);
    void SendAnswer(Event& event, const std::string& payload, const Notice& notice);

    FleetRules m_rules;
    std::map<std::string, Broadcaster> m_broadcasters;
    Budgets m_budgets;
    Departed m_departed;
    BySilence m_bySilence;  ///< one entry for each connection that is up; a message moves none
    std::uint64_t m_watches = 0;
    Millis m_missed = 0;
    Millis m_listeningSince = 0;
    std::int64_t m_malformed = 0;
    std::int64_t m_tooMany = 0;  ///< since it was told last
    std::optional<Millis> m_tooManyToldAt;
};

}  // namespace collector
