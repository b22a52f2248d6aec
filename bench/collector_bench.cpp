// What the collector's model costs: bytes for each broadcaster after an hour on air, and processor time for
// each message, which is not to grow with the number of broadcasters.

#include <malloc.h>

#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

#include "collector/model/Fleet.h"
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

}  // namespace
}  // namespace collector

int main() {
    collector::TellMemory();
    for (const int broadcasters : {10, 1000, 50000})
        collector::TellTime(broadcasters);
}
