#include <system_error>

#include "fakes/CapturingLog.h"
#include "fakes/NoRoomForThreads.h"
#include "unit/data_report/ManagerUnderTest.h"

// The system runs out of room for threads.

namespace data_report {
namespace {

using ThreadFailure = ManagerUnderTest;

TEST_F(ThreadFailure, InitFailsWithALineAndLeavesNothingSoThatItCanBeTriedAgain) {
    const fakes::CapturingLog log;
    {
        const fakes::NoRoomForThreads tight;
        EXPECT_FALSE(m_manager.Init());
    }
    EXPECT_EQ(log.countContaining("[DataReportManager] start failed: "), 1);
    EXPECT_FALSE(m_center.hasSender(kStreamCommand));
    EXPECT_FALSE(send("x"));
    EXPECT_TRUE(m_manager.Init());
    EXPECT_TRUE(m_center.hasSender(kStreamCommand));
}

TEST_F(ThreadFailure, AStreamThatCannotHaveItsThreadIsNotStarted) {
    start();
    {
        const fakes::NoRoomForThreads tight;
        EXPECT_THROW(startSampled("a"), std::system_error);
    }
    EXPECT_TRUE(m_peer.ids().empty());
    startSampled("a");
    EXPECT_TRUE(m_peer.has("a"));
}

}  // namespace
}  // namespace data_report
