#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "integration/mqtt/CenterTest.h"
#include "integration/support/FloodingServer.h"
#include "integration/support/Resident.h"
#include "support/LongForm.h"

using support::Eventually;
using support::FloodingServer;

namespace {

void CountPackets(void* user, int type, int, const unsigned char*, std::size_t) {
    if (type == 1) ++*static_cast<std::atomic<std::size_t>*>(user);
}

bool HasCome(const FloodingServer& server, const std::string& body) {
    const std::vector<std::string> all = server.heartbeats();
    return std::find(all.begin(), all.end(), body) != all.end();
}

/// Hands a heartbeat over again every second until it has come: one that could not leave within its life,
/// since the answers to those before it lie behind the flood, is replaced by the next.
bool EventuallyComes(QoPlayer::MsgSender* sender, const FloodingServer& server, const std::string& body) {
    return Eventually([&] {
        EXPECT_TRUE(Send(sender, body));
        return Eventually([&] { return HasCome(server, body); }, std::chrono::seconds(1));
    });
}

// What is sent as fast as it is taken does not keep in what wants to leave, nor does it pile up here.
TEST(FloodTest, HeartbeatsLeaveThroughAFloodOfDownlinksAndNoMemoryIsTaken) {
    constexpr int kBeats = 10;
    const std::chrono::milliseconds pause(support::LongForm() ? 6000 : 400);
    FloodingServer server(R"({"type":3})", std::chrono::milliseconds(0));
    std::atomic<std::size_t> received{0};
    QoPlayer::MsgCenter center;
    QoPlayer::MsgSender* const sender = center.createSender(2, CountPackets, &received);
    ASSERT_TRUE(center.start(Config(server.port())));
    ASSERT_TRUE(Eventually([&] { return received > 10'000; }));
    const long before = support::ResidentKiB();
    for (int i = 0; i < kBeats; ++i) {
        const std::string body = std::to_string(i);
        const std::size_t earlier = received;
        ASSERT_TRUE(EventuallyComes(sender, server, body)) << i;
        std::this_thread::sleep_for(pause);
        EXPECT_GT(received, earlier);
    }
    const long taken = support::ResidentKiB() - before;
    EXPECT_TRUE(!support::kResidentTells || taken < 4000) << taken << " KiB";
    StopWithinASecond(center);
}

}  // namespace
