// qolive-sink: receives streams over UDP on this machine and says what really arrives.

#include <chrono>
#include <cstdio>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "common/Program.h"
#include "sink/TsReader.h"
#include "sink/UdpSink.h"

namespace sink {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kTurn = std::chrono::milliseconds(20);

const char kIntroduction[] =
    "usage: qolive-sink [OPTION ...]\n"
    "\n"
    "Receives MPEG transport streams over UDP. Prints the frame rates and bitrates of\n"
    "what arrives, and the sums at the end. Ctrl-C ends it in good order.\n";

const char kEpilogue[] =
    "Exit status: 0 when it ran to its end, 1 when a port could not be had, 2 for a\n"
    "wrong option.\n";

struct Options {
    std::string host = "127.0.0.1";
    std::vector<int> ports;
    double interval = 5;
    double duration = 0;
    bool help = false;
    bool version = false;
};

apps::CommandLine CommandLineOf(Options& options) {
    std::vector<apps::Option> all{
        {"host", "ADDRESS", "numeric IPv4 address to listen on (127.0.0.1)",
         [&](const std::string& text) { options.host = text; }},
        {"port", "PORT", "port to listen on, once for each stream; 0: any (5004)",
         [&](const std::string& text) {
             options.ports.push_back(static_cast<int>(apps::ParseWhole("--port", text, 0, 65535)));
         }},
        {"interval", "SECONDS", "time between two lines of a stream (5)",
         [&](const std::string& text) { options.interval = apps::ParseSeconds("--interval", text); }},
        {"duration", "SECONDS", "how long to run; 0: until interrupted (0)",
         [&](const std::string& text) { options.duration = apps::ParseSeconds("--duration", text); }},
    };
    for (apps::Option& usual : apps::UsualOptions(options.help, options.version))
        all.push_back(std::move(usual));
    return {kIntroduction, std::move(all), kEpilogue};
}

/// One port: what has arrived, and what of it has been shown.
class Listener {
public:
    Listener(const std::string& host, int port)
        : m_sink(host, port, [this](const std::uint8_t* data, std::size_t size) {
              const std::lock_guard<std::mutex> lock(m_mutex);
              m_reader.Read(data, size);
          }) {
        std::printf("listening on udp://%s:%d\n", host.c_str(), m_sink.Port());
    }

    void ShowRates() {
        const auto now = Clock::now();
        const TsTotals totals = Totals();
        const double seconds = std::chrono::duration<double>(now - m_shownAt).count();
        if (totals.packets == m_shown.packets)
            std::printf("udp %d: nothing\n", m_sink.Port());
        else
            std::printf("udp %d: %s, %s\n", m_sink.Port(),
                        Rates(totals.video, m_shown.video, seconds).c_str(),
                        Rates(totals.audio, m_shown.audio, seconds).c_str());
        m_shown = totals;
        m_shownAt = now;
    }

    void ShowSums() {
        const TsTotals totals = Totals();
        std::printf("udp %d in all: %s, %s, %lld packets lost, %lld faulty\n", m_sink.Port(),
                    Sums(totals.video).c_str(), Sums(totals.audio).c_str(),
                    static_cast<long long>(totals.lostPackets), static_cast<long long>(totals.faultyPackets));
    }

private:
    TsTotals Totals() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_reader.Totals();
    }

    static const char* NameOf(const TsTally& tally) {
        return tally.codec.empty() ? "none" : tally.codec.c_str();
    }

    static std::string Rates(const TsTally& now, const TsTally& before, double seconds) {
        char text[96] = {};
        std::snprintf(text, sizeof text, "%s %.1f fps %.0f kbps", NameOf(now),
                      static_cast<double>(now.frames - before.frames) / seconds,
                      static_cast<double>(now.bytes - before.bytes) / 125 / seconds);
        return text;
    }

    static std::string Sums(const TsTally& tally) {
        return NameOf(tally) + (" " + std::to_string(tally.frames)) + " frames " +
               std::to_string(tally.bytes) + " bytes";
    }

    std::mutex m_mutex;
    TsReader m_reader;  // under the mutex
    TsTotals m_shown;
    Clock::time_point m_shownAt = Clock::now();
    UdpSink m_sink;
};

using Listeners = std::vector<std::unique_ptr<Listener>>;

Listeners Listen(const Options& options) {
    Listeners listeners;
    for (const int port : options.ports.empty() ? std::vector<int>{5004} : options.ports)
        listeners.push_back(std::make_unique<Listener>(options.host, port));
    return listeners;
}

void Show(const Options& options, const Listeners& listeners) {
    const auto start = Clock::now();
    const auto after = [start](double seconds) {
        return start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    };
    double nextLine = options.interval;
    while (!apps::StopRequested() && (options.duration <= 0 || Clock::now() < after(options.duration))) {
        std::this_thread::sleep_for(kTurn);
        if (options.interval <= 0 || Clock::now() < after(nextLine)) continue;
        nextLine += options.interval;
        for (const auto& listener : listeners)
            listener->ShowRates();
    }
    for (const auto& listener : listeners)
        listener->ShowSums();
}

Options ParseOptions(const std::vector<std::string>& arguments) {
    Options options;
    CommandLineOf(options).Parse(arguments);
    return options;
}

std::string HelpText() {
    Options unused;
    return CommandLineOf(unused).Help();
}

int Run(const Options& options) {
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    Show(options, Listen(options));
    return EXIT_SUCCESS;
}

}  // namespace
}  // namespace sink

int main(int argc, char** argv) {
    using namespace sink;
    return apps::Main<Options>({"qolive-sink", ParseOptions, HelpText, Run}, argc, argv);
}
