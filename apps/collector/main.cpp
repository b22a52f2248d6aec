#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>
#include <system_error>
#include <thread>

#include "collector/Options.h"
#include "collector/model/Backoff.h"
#include "collector/model/Listening.h"
#include "collector/output/JsonLines.h"
#include "collector/output/Outputs.h"
#include "collector/output/Terminal.h"
#include "common/Clock.h"
#include "common/Printable.h"
#include "common/Program.h"
#include "common/TextWidth.h"

namespace collector {
namespace {

constexpr int kPollMs = 100;
constexpr Millis kBetweenLooks = 100;
constexpr Millis kPatienceAtTheEnd = 3000;

bool WantsColours() {
    const char* noColor = std::getenv("NO_COLOR");  // NOLINT(concurrency-mt-unsafe): no thread writes it
    return isatty(STDOUT_FILENO) == 1 && (!noColor || !*noColor);
}

bool IsOnThisMachine(const std::string& host) {
    return host == "localhost" || host == "::1" || host.compare(0, 4, "127.") == 0;
}

std::string AdviceFor(Trouble::Kind kind, const BrokerOptions& broker) {
    switch (kind) {
        case Trouble::Kind::NothingListens:
            if (IsOnThisMachine(broker.host))
                return "Start one (mosquitto -p " + std::to_string(broker.port) +
                       "), or name another with --broker HOST:PORT.\n";
            return "No program listens there; --broker HOST:PORT names another.\n";
        case Trouble::Kind::Refused:
            return "A broker is there. --user NAME and --token-file FILE say who you are.\n";
        case Trouble::Kind::GivenUp:
            return "";
        case Trouble::Kind::Other:
            break;
    }
    return "--broker HOST:PORT names another, --tls and --ca FILE speak TLS to it.\n";
}

std::unique_ptr<Output> MakeJsonLines(std::ostream& stream) {
    return std::make_unique<JsonLines>(stream);
}

std::unique_ptr<Output> MakeTerminal(std::ostream& stream) {
    return std::make_unique<Terminal>(stream, WantsColours(), apps::OutputWidth);
}

void Complain(const std::string& text) {
    std::cerr << "qolive-collector: " << text << std::endl;
}

/// A file that is written anew.
class File {
public:
    explicit File(const std::string& path)
        : m_descriptor(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)) {
        if (m_descriptor < 0)
            throw apps::UsageError("cannot write to " + path + ": " + std::generic_category().message(errno));
    }
    ~File() { close(m_descriptor); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    int Descriptor() const { return m_descriptor; }

private:
    const int m_descriptor;
};

class Collector {
public:
    explicit Collector(const Options& options)
        : m_options(options),
          m_fleet(options.rules),
          m_link(
              options.broker, [this](const Received& received) { OnMessage(received); },
              [this] { return IsOver(); }) {
        // A reader that goes away is an error of the write, not the end of the process.
        std::signal(SIGPIPE, SIG_IGN);
        m_outputs.Add(options.json ? MakeJsonLines : MakeTerminal, STDOUT_FILENO, "the standard output");
        if (!options.recordFile.empty()) OpenRecord();
    }

    int Run() {
        if (const auto trouble = m_link.Connect()) return Explain(*trouble);
        ListenFromNowOn();
        Remark("listening at " + Describe(m_options.broker));
        if (m_options.seconds > 0) m_end = apps::SteadyMs() + static_cast<Millis>(m_options.seconds * 1000);
        while (!IsOver())
            Step();
        if (m_connected) m_link.Close();
        if (m_options.summary) m_outputs.Summarise(apps::WallMs(), m_fleet);
        m_outputs.Finish(kPatienceAtTheEnd);
        return m_outputs.AnyFailed() ? EXIT_FAILURE : EXIT_SUCCESS;
    }

private:
    bool IsOver() {
        return apps::StopRequested() || !m_outputs.AnyLeft() || (m_end && apps::SteadyMs() >= *m_end);
    }

    void OpenRecord() {
        m_record.emplace(m_options.recordFile);
        m_outputs.Add(MakeJsonLines, m_record->Descriptor(), m_options.recordFile);
    }

    int Explain(const Trouble& trouble) const {
        std::cerr << "qolive-collector: no connection to a broker at "
                  << apps::Printable(Describe(m_options.broker), 300) << ": " << trouble.text << "\n"
                  << AdviceFor(trouble.kind, m_options.broker);
        return EXIT_FAILURE;
    }

    void Step() {
        if (!m_connected)
            Reconnect();
        else if (const auto trouble = m_link.Poll(kPollMs))
            Lose(*trouble);
        if (m_connected && !m_link.HasUnread()) LookForSilence();
    }

    // Returns until when.
    Millis Listen() {
        const Millis now = apps::SteadyMs();
        const Millis missed = m_listening.Missed(now);
        m_fleet.Miss(missed);
        if (missed > 0)
            Remark("did not listen for " + std::to_string(missed / 1000) +
                   " s: stopped, or without a processor");
        return now;
    }

    void ListenFromNowOn() {
        m_connected = true;
        m_connectedAt = apps::SteadyMs();
        m_listening = Listening(m_connectedAt);
    }

    void Lose(const Trouble& trouble) {
        m_connected = false;
        Pause("lost", trouble, apps::SteadyMs() - m_connectedAt);
    }

    void Pause(const char* what, const Trouble& trouble, Millis held) {
        const Millis pause = m_backoff.Next(held);
        m_nextTry = apps::SteadyMs() + pause;
        Remark(what + (" the broker at " + Describe(m_options.broker)) + ": " + trouble.text +
               "; trying again in " + Seconds(pause));
    }

    // Only once everything that has come was read: what lies unread is a sign of life.
    void LookForSilence() {
        const Millis now = Listen();
        if (now < m_nextLook) return;
        m_nextLook = now + kBetweenLooks;
        for (const Notice& notice : m_fleet.Tick(now))
            Tell(notice);
    }

    void Reconnect() {
        if (apps::SteadyMs() < m_nextTry)
            return std::this_thread::sleep_for(std::chrono::milliseconds(kPollMs));
        if (const auto trouble = m_link.Connect()) {
            if (trouble->kind != Trouble::Kind::GivenUp) Pause("no connection to", *trouble, 0);
            return;
        }
        ListenFromNowOn();
        m_fleet.ListenAgain(apps::SteadyMs());
        Remark("the broker is back at " + Describe(m_options.broker));
    }

    bool MayBeRead(const Received& received) {
        const std::size_t head = received.head ? std::min(received.head->size(), kMostHeadBytes) : 0;
        const std::size_t bytes = head + std::min(received.payload.size(), kMostPayloadBytes);
        std::vector<Notice> notices;
        const bool may = m_fleet.MayBeRead(received.parsedTopic->source, bytes, apps::SteadyMs(), notices);
        for (const Notice& notice : notices)
            Tell(notice);
        return may;
    }

    void OnMessage(const Received& received) {
        if (m_connected) Listen();
        if (received.parsedTopic && !MayBeRead(received)) return;
        Message message;
        Outcome outcome;
        if (received.parsedTopic) {
            const Topic& topic = *received.parsedTopic;
            message = topic.command ? ReadUplink(*topic.command, received.payload, received.head)
                                    : ReadPresence(received.payload);
            outcome =
                m_fleet.Receive({topic.source, topic.command, received.responseTopic, received.retained},
                                message, apps::SteadyMs());
        } else {
            message.reason = "the topic is not one of a broadcaster";
            m_fleet.CountMalformed();
        }
        for (const Notice& notice : outcome.before)
            Tell(notice);
        m_outputs.Show(received, message, outcome);
        for (const Answer& answer : outcome.answers)
            m_link.Publish(answer);
        for (const Notice& notice : outcome.after)
            Tell(notice);
    }

    void Tell(const Notice& notice) { m_outputs.Show(apps::WallMs(), notice); }

    void Remark(const std::string& text) { m_outputs.Remark(apps::WallMs(), text); }

    Options m_options;
    std::optional<File> m_record;
    Outputs m_outputs{Complain};
    Fleet m_fleet;
    std::optional<Millis> m_end;
    BrokerLink m_link;
    bool m_connected = false;
    Millis m_connectedAt = 0;
    Backoff m_backoff;
    Millis m_nextTry = 0;
    Listening m_listening{0};
    Millis m_nextLook = 0;
};

}  // namespace
}  // namespace collector

int main(int argc, char** argv) {
    using namespace collector;
    const auto run = [](const Options& options) { return Collector(options).Run(); };
    return apps::Main<Options>({"qolive-collector", ParseOptions, HelpText, run}, argc, argv);
}
