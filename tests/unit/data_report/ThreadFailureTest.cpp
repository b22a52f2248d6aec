#include <sys/resource.h>
#include <unistd.h>

#include <fstream>
#include <system_error>

#include "fakes/CapturingLog.h"
#include "unit/data_report/ManagerUnderTest.h"

// The system runs out of room for threads.

namespace data_report {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kAddressSpaceIsOurs = false;
#else
constexpr bool kAddressSpaceIsOurs = true;
#endif

rlim_t addressSpaceInUse() {
    std::ifstream file("/proc/self/statm");
    rlim_t pages = 0;
    file >> pages;
    return pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

/// Leaves too little address space for the stack of another thread.
class NoRoomForThreads {
public:
    NoRoomForThreads() {
        getrlimit(RLIMIT_AS, &m_before);
        constexpr rlim_t kLeft = 4 << 20;
        const rlimit tight{addressSpaceInUse() + kLeft, m_before.rlim_max};
        setrlimit(RLIMIT_AS, &tight);
    }
    ~NoRoomForThreads() { setrlimit(RLIMIT_AS, &m_before); }
    NoRoomForThreads(const NoRoomForThreads&) = delete;
    NoRoomForThreads& operator=(const NoRoomForThreads&) = delete;

private:
    rlimit m_before{};
};

class ThreadFailure : public ManagerUnderTest {
protected:
    void SetUp() override {
        if (!kAddressSpaceIsOurs) GTEST_SKIP() << "the sanitizer reserves the address space";
    }
};

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
