#include <atomic>
#include <thread>

#include "support/LongForm.h"
#include "unit/data_report/ManagerUnderTest.h"

namespace data_report {
namespace {

// How much more there is of everything in the long form.
int Times() {
    return support::LongForm() ? 20 : 1;
}

class Stress : public ManagerUnderTest {
protected:
    static std::string idOf(int stream) { return "stream " + std::to_string(stream); }

    void startAndStop(int first, int count) {
        for (int stream = first; stream < first + count; ++stream)
            m_manager.ReportStart(idOf(stream),
                                  stream % 4 == 0 ? StreamTypeEnum::Sampled : StreamTypeEnum::EventsOnly);
        for (int stream = first; stream < first + count; ++stream)
            m_manager.ReportStop(idOf(stream));
    }

    template <class Action>
    std::thread repeat(Action action) {
        return std::thread([this, action] {
            for (int n = 0; !m_done; n = (n + 1) % kStreams)
                action(idOf(n));
        });
    }

    static constexpr int kStreams = 1000;
    std::atomic<bool> m_done{false};
};

TEST_F(Stress, AThousandStreamsComeAndGoWhileOthersFeedReportAndReceive) {
    constexpr int kStarters = 8;
    startConnected();
    std::vector<std::thread> users;
    users.push_back(repeat([this](const std::string& id) {
        m_manager.AddReportData(id, DataTypeEnum::VideoFramesSent, 1);
        m_manager.AddReportStringData(id, StringDataTypeEnum::ServerIp, id);
    }));
    users.push_back(repeat([this](const std::string& id) {
        m_manager.ReportEventData(id, EventTypeEnum::StreamStart, Json::Value());
        m_manager.ReportEventData(id, EventTypeEnum::FirstFrame, Json::Value("no object"));
    }));
    users.push_back(repeat([this](const std::string&) {
        m_center.serverData(kStreamCommand, R"({"type":1,"code":0})");
        m_center.forgetSent(kStreamCommand);
    }));
    for (int round = 0; round < Times(); ++round)
        AtOnce(kStarters, [this](int i) { startAndStop(i * kStreams / kStarters, kStreams / kStarters); });
    m_done = true;
    for (std::thread& thread : users)
        thread.join();
    EXPECT_TRUE(m_peer.ids().empty());
}

TEST_F(Stress, NothingThatIsFedFromManyThreadsIsLost) {
    constexpr int kThreads = 8;
    const int each = 2000 * Times();
    start();
    startEventsOnly("a");
    AtOnce(kThreads, [this, each](int) {
        for (int n = 0; n < each; ++n)
            m_manager.AddReportData("a", DataTypeEnum::VideoFramesSent, 1);
    });
    EXPECT_EQ(ValueOf(*m_peer.data("a"), 2), kThreads * each);
}

TEST_F(Stress, ALinkThatComesAndGoesUnderTheSendThreadKeepsTheOrder) {
    startConnected();
    std::thread link([this] {
        while (!m_done) {
            m_center.disconnect(kStreamCommand);
            m_center.connect(kStreamCommand);
        }
    });
    for (int i = 0; i < 2000 * Times(); ++i)
        EXPECT_TRUE(send(std::to_string(100000 + i)));
    m_done = true;
    link.join();
    sentSoFar();
    const auto texts = sentTexts();
    EXPECT_TRUE(std::is_sorted(texts.begin(), texts.end() - 1));
}

}  // namespace
}  // namespace data_report
