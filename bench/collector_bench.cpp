// What the collector costs: bytes for each broadcaster after an hour on air, processor time for each
// heartbeat, which is not to grow with the number of broadcasters, and for each kind of message from its
// bytes to its line.

#include <malloc.h>

#include <cstdio>
#include <ctime>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "collector/model/Fleet.h"
#include "collector/output/JsonLines.h"
#include "unit/collector/Samples.h"

namespace collector {
namespace {

constexpr Millis kHeartbeatPeriod = 3000;
constexpr int kHeartbeatsInAnHour = 1200;
constexpr int kHeartbeatsInAMinute = 20;

std::size_t BytesInUse() {
    return mallinfo2().uordblks;
}

double ProcessorMicroseconds() {
    return static_cast<double>(std::clock()) * 1e6 / CLOCKS_PER_SEC;
}

std::string Numbered(std::string sample, std::uint64_t number) {
    const std::string name = "\"order\":";
    const std::size_t begin = sample.find(name) + name.size();
    return sample.replace(begin, sample.find_first_of(",}", begin) - begin, std::to_string(number));
}

/// Broadcasters on two connections each, with one stream.
class Traffic {
public:
    explicit Traffic(int broadcasters) {
        for (int i = 0; i < broadcasters; ++i)
            m_clients.push_back("studio-" + std::to_string(i));
    }

    void Beat() {
        ++m_beats;
        m_now += kHeartbeatPeriod;
        const std::string& sample =
            m_beats % kHeartbeatsInAMinute == 1 ? samples::kLive : samples::kKeepAlive;
        const std::string payload = Numbered(sample, m_beats);
        for (const std::string& client : m_clients)
            for (const char* connection : {"0000000a", "0000000b"})
                Say({client, connection}, kHeartbeatCommand, payload);
    }

    void Record() {
        ++m_records;
        const std::string payload = samples::Quality(m_records, "7");
        for (const std::string& client : m_clients)
            Say({client, "0000000a"}, kStreamCommand, payload, samples::Head(std::to_string(++m_mid), 2));
    }

private:
    void Say(const Source& source, int command, const std::string& payload,
             const std::optional<std::string>& head = {}) {
        m_fleet.Receive({source, command, DownTopic(source, command)}, ReadUplink(command, payload, head),
                        m_now);
    }

    Fleet m_fleet{FleetRules{}};
    std::vector<std::string> m_clients;
    Millis m_now = 0;
    std::uint64_t m_beats = 0;
    unsigned m_records = 0;
    std::uint64_t m_mid = 0;
};

void TellMemory() {
    constexpr int kBroadcasters = 200;
    Traffic traffic(kBroadcasters);
    const std::size_t before = BytesInUse();
    for (int beat = 0; beat < kHeartbeatsInAnHour; ++beat) {
        traffic.Beat();
        if (beat % kHeartbeatsInAMinute == 0) traffic.Record();
    }
    std::printf("%zu bytes for each broadcaster after an hour\n", (BytesInUse() - before) / kBroadcasters);
}

void TellTime(int broadcasters) {
    constexpr int kMessages = 400000;
    Traffic traffic(broadcasters);
    traffic.Beat();
    const int beats = kMessages / (2 * broadcasters);
    const double begin = ProcessorMicroseconds();
    for (int i = 0; i < beats; ++i)
        traffic.Beat();
    const double spent = ProcessorMicroseconds() - begin;
    std::printf("%6d broadcasters: %.1f us for each heartbeat\n", broadcasters,
                spent / (2.0 * broadcasters * beats));
}

// As long as a real one: a sample for each five seconds of a minute.
std::string QualityOfAMinute(unsigned order) {
    std::string record = samples::Quality(order, "7");
    for (const std::string& name : {std::string("\"streams\":["), std::string("\"devices\":[")}) {
        const std::size_t begin = record.find(name) + name.size();
        const std::string sample = record.substr(begin, record.find('}', begin) + 1 - begin);
        for (int i = 1; i < 12; ++i)
            record.insert(begin, sample + ",");
    }
    return record;
}

void TellLine(const char* what, int command, const std::function<std::string(unsigned)>& payload,
              int headType) {
    constexpr unsigned kMessages = 20000;
    Fleet fleet{FleetRules{}};
    std::ostringstream text;
    JsonLines lines(text);
    Received received;
    received.topic = "qolive/studio-1/0000000a/up/" + std::to_string(command);
    const double begin = ProcessorMicroseconds();
    for (unsigned i = 1; i <= kMessages; ++i) {
        received.payload = payload(i);
        if (headType > 0) received.head = samples::Head(std::to_string(i), headType);
        received.parsedTopic = ParseTopic(received.topic);
        const Source& source = received.parsedTopic->source;
        const Message message = ReadUplink(command, received.payload, received.head);
        lines.Show(received, message,
                   fleet.Receive({source, command, DownTopic(source, command)}, message, i));
        text.str({});
    }
    std::printf("%s: %.1f us from its bytes to its JSON line\n", what,
                (ProcessorMicroseconds() - begin) / kMessages);
}

void TellLines() {
    TellLine(
        "keep-alive", kHeartbeatCommand, [](unsigned i) { return Numbered(samples::kKeepAlive, i); }, 0);
    TellLine(
        "full heartbeat", kHeartbeatCommand, [](unsigned i) { return Numbered(samples::kLive, i); }, 0);
    TellLine("quality record", kStreamCommand, QualityOfAMinute, 2);
}

}  // namespace
}  // namespace collector

int main() {
    collector::TellLines();
    collector::TellMemory();
    for (const int broadcasters : {10, 1000, 50000})
        collector::TellTime(broadcasters);
}
