#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <thread>

#include "collector/Clock.h"
#include "collector/JsonLines.h"
#include "collector/Options.h"
#include "collector/Terminal.h"
#include "common/CommandLine.h"
#include "common/Printable.h"
#include "common/StopSignal.h"

namespace collector {
namespace {

constexpr int pollMs = 100;
constexpr auto pauseBetweenConnects = std::chrono::milliseconds(500);

bool WantsColours() {
    const char* noColor = std::getenv("NO_COLOR");  // NOLINT(concurrency-mt-unsafe): no thread writes it
    return isatty(STDOUT_FILENO) == 1 && (!noColor || !*noColor);
}

class Collector {
public:
    explicit Collector(const Options& options)
        : m_options(options),
          m_fleet(options.rules),
          m_link(options.broker, [this](const Received& received) { OnMessage(received); }) {
        if (options.json)
            m_outputs.push_back(std::make_unique<JsonLines>(std::cout));
        else
            m_outputs.push_back(std::make_unique<Terminal>(std::cout, WantsColours()));
        if (!options.recordFile.empty()) OpenRecord();
    }

    int Run() {
        const std::string trouble = m_link.Connect();
        if (!trouble.empty()) return Explain(trouble);
        Remark("listening at " + Address());
        const Millis end = SteadyMs() + static_cast<Millis>(m_options.seconds * 1000);
        while (!apps::StopRequested() && (m_options.seconds <= 0 || SteadyMs() < end))
            Step();
        m_link.Close();
        if (m_options.summary) ForEachOutput([this](Output& output) { output.Summarise(WallMs(), m_fleet); });
        return EXIT_SUCCESS;
    }

private:
    std::string Address() const {
        return m_options.broker.host + ":" + std::to_string(m_options.broker.port);
    }

    void OpenRecord() {
        m_record.open(m_options.recordFile);
        if (!m_record) throw apps::UsageError("cannot write to " + m_options.recordFile);
        m_outputs.push_back(std::make_unique<JsonLines>(m_record));
    }

    int Explain(const std::string& trouble) const {
        std::cerr << "qolive-collector: no connection to a broker at " << apps::Printable(Address(), 300)
                  << ": " << trouble << "\n"
                  << "Start one (mosquitto -p " << m_options.broker.port
                  << "), or name another with --broker HOST:PORT.\n";
        return EXIT_FAILURE;
    }

    void Step() {
        if (!m_connected)
            Reconnect();
        else if (!m_link.Poll(pollMs)) {
            m_connected = false;
            Remark("lost the broker");
        }
        if (m_connected)
            for (const Notice& notice : m_fleet.Tick(SteadyMs()))
                Tell(notice);
    }

    void Reconnect() {
        std::this_thread::sleep_for(pauseBetweenConnects);
        if (!m_link.Connect().empty()) return;
        m_connected = true;
        m_fleet.ListenAgain(SteadyMs());
        Remark("the broker is back");
    }

    void OnMessage(const Received& received) {
        Message message;
        Outcome outcome;
        if (received.parsedTopic) {
            const Topic& topic = *received.parsedTopic;
            message = topic.command ? ReadUplink(*topic.command, received.payload, received.head)
                                    : ReadPresence(received.payload);
            outcome =
                m_fleet.Receive({topic.source, topic.command, received.responseTopic}, message, SteadyMs());
        } else {
            message.reason = "the topic is not one of a broadcaster";
            m_fleet.CountMalformed();
        }
        for (const Notice& notice : outcome.before)
            Tell(notice);
        ForEachOutput([&](Output& output) { output.Show(received, message, outcome); });
        for (const Answer& answer : outcome.answers)
            m_link.Publish(answer);
        for (const Notice& notice : outcome.after)
            Tell(notice);
    }

    void Tell(const Notice& notice) {
        ForEachOutput([&](Output& output) { output.Show(WallMs(), notice); });
    }

    void Remark(const std::string& text) {
        ForEachOutput([&](Output& output) { output.Remark(WallMs(), text); });
    }

    template <class Action>
    void ForEachOutput(Action action) {
        for (const std::unique_ptr<Output>& output : m_outputs)
            action(*output);
    }

    Options m_options;
    std::ofstream m_record;
    std::vector<std::unique_ptr<Output>> m_outputs;
    Fleet m_fleet;
    BrokerLink m_link;
    bool m_connected = true;
};

int Main(const std::vector<std::string>& arguments) {
    const Options options = ParseOptions(arguments);
    if (options.help) {
        std::cout << HelpText();
        return EXIT_SUCCESS;
    }
    apps::CatchStopSignals();
    return Collector(options).Run();
}

}  // namespace
}  // namespace collector

int main(int argc, char** argv) {
    try {
        return collector::Main({argv + 1, argv + argc});
    } catch (const apps::UsageError& error) {
        std::cerr << "qolive-collector: " << apps::Printable(error.what(), 1000) << "\n";
        return 2;
    } catch (const std::exception& error) {
        std::cerr << "qolive-collector: " << apps::Printable(error.what(), 1000) << "\n";
        return EXIT_FAILURE;
    }
}
