// Streams whose server is away, or goes away, in the host as a whole.

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <optional>
#include <thread>

#include "base/JsonText.h"
#include "fakes/FakeMsgCenter.h"
#include "heartbeat/LiveHeartReport.h"
#include "host/Broadcast.h"
#include "support/Eventually.h"
#include "support/Loopback.h"
#include "unit/host/pipeline/Decoded.h"

namespace host {
namespace {

constexpr int kStreamCommand = 5;
constexpr int kPushing = 2;

int PushStatusNow() {
    return LiveHeartReport::GetInstance()->GetLiveHeartReportData().pushStatus;
}

class LostStreamTest : public testing::Test {
protected:
    LostStreamTest() {
        m_options.settings.publishUrl =
            "rtmp://127.0.0.1:" + std::to_string(support::FreePort()) + "/live/key";
        m_options.settings.width = 160;
        m_options.settings.height = 120;
        m_options.settings.fps = 15;
        m_options.settings.answerTimeout = std::chrono::milliseconds(2000);
        m_options.quiet = true;
        m_broadcast.emplace(m_options);
        m_broadcast->Start();
        m_center.connect(kStreamCommand);
        LiveHeartReport::GetInstance()->updatePushStatus(kPushing);
    }
    ~LostStreamTest() override {
        if (m_server.joinable()) m_server.join();
    }

    /// Turns the broadcast until `reached`; false when that takes too long.
    bool TurnUntil(const std::function<bool()>& reached) {
        const auto turned = [&] {
            m_broadcast->Turn();
            return reached();
        };
        return support::Eventually(turned, std::chrono::seconds(40));
    }

    /// A server takes one client and hangs up after so many pictures.
    void Serve(int pictures) {
        if (m_server.joinable()) m_server.join();
        m_server = std::thread(
            [url = m_options.settings.publishUrl, pictures] { RtmpServer(url).Decode(pictures); });
    }

    /// The stream records that the server side has got.
    std::vector<Json::Value> StreamRecords() const {
        std::vector<Json::Value> records;
        for (const fakes::SentMessage& message : m_center.sent(kStreamCommand)) {
            Json::Value head;
            Json::Value body;
            EXPECT_TRUE(ParseJson(message.head, head) && ParseJson(message.body, body));
            if (head["type"] == 1) records.push_back(body);
        }
        return records;
    }

    BroadcastOptions m_options;
    fakes::FakeMsgCenter m_center = fakes::FakeMsgCenter::main();
    std::optional<Broadcast> m_broadcast;

private:
    std::thread m_server;
};

TEST_F(LostStreamTest, AServerThatNeverAnswersIsTriedAgainReportedOnceAndAFaultInTheEnd) {
    ASSERT_TRUE(TurnUntil([&] { return StreamRecords().size() == 1; }));
    EXPECT_EQ(PushStatusNow(), 0);
    const auto start = std::chrono::steady_clock::now();
    TurnUntil([&] { return std::chrono::steady_clock::now() - start > std::chrono::seconds(4); });
    EXPECT_EQ(StreamRecords().size(), 1U) << "not for each try";
    EXPECT_EQ(StreamRecords()[0]["code"].asInt(), static_cast<int>(EndCode::PublishFailed));
    const std::vector<std::string> faults = m_broadcast->Stop();
    ASSERT_EQ(faults.size(), 1U);
    EXPECT_EQ(faults[0].find("anchor: publish address \"" + m_options.settings.publishUrl + "\": "), 0U)
        << faults[0];
}

TEST_F(LostStreamTest, IsSentAgainWhenTheServerIsBackAndTheHeartbeatSaysWhatIsTrue) {
    Serve(20);
    ASSERT_TRUE(TurnUntil([] { return PushStatusNow() == kPushing; })) << "the server is there";
    ASSERT_TRUE(TurnUntil([] { return PushStatusNow() == 0; })) << "it has hung up";
    Serve(100000);
    ASSERT_TRUE(TurnUntil([] { return PushStatusNow() == kPushing; })) << "another is there";
    ASSERT_TRUE(TurnUntil([&] {
        const auto records = StreamRecords();
        return records.size() >= 2 && records.back()["state"] == 1;
    })) << "reported as it begins again";
    const auto records = StreamRecords();
    EXPECT_GT(records.back()["requestTime"].asInt64(), records.front()["requestTime"].asInt64());
    EXPECT_EQ(records.back()["sid"], records.front()["sid"]);
    EXPECT_TRUE(m_broadcast->Stop().empty());
}

TEST_F(LostStreamTest, StopsAtOnceInTheMiddleOfAPause) {
    ASSERT_TRUE(TurnUntil([&] { return !StreamRecords().empty(); }));
    const auto start = std::chrono::steady_clock::now();
    m_broadcast->Stop();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

}  // namespace
}  // namespace host
