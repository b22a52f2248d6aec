#include <pthread.h>

#include <cstddef>
#include <system_error>

#include "fakes/CapturingLog.h"
#include "unit/data_report/ManagerUnderTest.h"

// The system runs out of room for threads.

namespace data_report {
namespace {

/// Asks for more stack for each new thread than an address can reach.
class NoRoomForThreads {
public:
    NoRoomForThreads() {
        pthread_getattr_default_np(&m_before);
        pthread_attr_t huge;
        pthread_attr_init(&huge);
        EXPECT_EQ(pthread_attr_setstacksize(&huge, std::size_t{1} << 50), 0);
        EXPECT_EQ(pthread_setattr_default_np(&huge), 0);
        pthread_attr_destroy(&huge);
    }
    ~NoRoomForThreads() {
        pthread_setattr_default_np(&m_before);
        pthread_attr_destroy(&m_before);
    }
    NoRoomForThreads(const NoRoomForThreads&) = delete;
    NoRoomForThreads& operator=(const NoRoomForThreads&) = delete;

private:
    pthread_attr_t m_before{};
};

using ThreadFailure = ManagerUnderTest;

TEST_F(ThreadFailure, InitFailsWithALineAndLeavesNothingSoThatItCanBeTriedAgain) {
    const fakes::CapturingLog log;
    {
        const NoRoomForThreads tight;
        EXPECT_FALSE(manager.Init());
    }
    EXPECT_EQ(log.countContaining("[DataReportManager] start failed: "), 1);
    EXPECT_FALSE(center.hasSender(kStreamCommand));
    EXPECT_FALSE(send("x"));
    EXPECT_TRUE(manager.Init());
    EXPECT_TRUE(center.hasSender(kStreamCommand));
}

TEST_F(ThreadFailure, AStreamThatCannotHaveItsThreadIsNotStarted) {
    start();
    {
        const NoRoomForThreads tight;
        EXPECT_THROW(startSampled("a"), std::system_error);
    }
    EXPECT_TRUE(peer.ids().empty());
    startSampled("a");
    EXPECT_TRUE(peer.has("a"));
}

}  // namespace
}  // namespace data_report
