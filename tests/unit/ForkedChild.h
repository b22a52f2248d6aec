#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

#include "platform/Kernel.h"

/// Runs `checks` in the child of a process in which the library has had threads. A check that fails there, or
/// that does not come to an end, fails the test.
template <class Checks>
void InForkedChild(const Checks& checks) {
    KeepLibraryLoaded();  // as each first thread does
    std::fflush(nullptr);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        alarm(30);
        checks();
        std::fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << "the child failed, see above, or was ended by signal " << WTERMSIG(status);
}
