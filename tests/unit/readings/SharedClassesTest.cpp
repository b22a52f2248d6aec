#include "platform/SharedClasses.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>

namespace {

TEST(SharedClasses, TimerIsAssigned) {
    CWinTimer timer;
    EXPECT_EQ(timer.id(), 0U);
    timer = CWinTimer(7);
    EXPECT_EQ(timer.id(), 7U);
}

TEST(SharedClasses, CpuSamplerIsCopiedWithItsLastReading) {
    const MgrCpuUsage sampler;
    const MgrCpuUsage copy(sampler);
    EXPECT_EQ(copy.usage(), sampler.usage());
}

TEST(SharedClasses, CopiesOfAThreadHolderShareTheThread) {
    ThreadTask::CQoThreadImp holder;
    EXPECT_FALSE(holder.thread);
    holder.thread = std::make_shared<std::thread>();
    const ThreadTask::CQoThreadImp copy(holder);
    ThreadTask::CQoThreadImp assigned;
    assigned = holder;
    EXPECT_EQ(copy.thread, holder.thread);
    EXPECT_EQ(assigned.thread, holder.thread);
}

}  // namespace
