#include <gtest/gtest.h>
#include <signal.h>

#include <future>

#include "platform/DetachedThread.h"
#include "platform/LibraryThread.h"

namespace {

sigset_t OwnMask() {
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    return mask;
}

void ExpectTheHostsSignalsBlocked(const sigset_t& mask) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGCHLD, SIGALRM, SIGPIPE})
        EXPECT_EQ(sigismember(&mask, signal), 1) << signal;
    for (const int signal : {SIGUSR1, SIGUSR2, SIGPWR, SIGXCPU, SIGRTMIN, SIGRTMAX})
        EXPECT_EQ(sigismember(&mask, signal), 0) << signal;
}

TEST(ThreadSignals, AThreadThatIsJoinedLeavesTheHostsSignalsToTheHost) {
    std::promise<sigset_t> mask;
    auto thread = StartLibraryThread([&mask] { mask.set_value(OwnMask()); });
    ExpectTheHostsSignalsBlocked(mask.get_future().get());
    JoinUnlessEnding(thread);
}

TEST(ThreadSignals, ADetachedThreadLeavesTheHostsSignalsToTheHost) {
    std::promise<sigset_t> mask;
    ASSERT_TRUE(StartDetachedThread([&mask] { mask.set_value(OwnMask()); }));
    ExpectTheHostsSignalsBlocked(mask.get_future().get());
}

}  // namespace
