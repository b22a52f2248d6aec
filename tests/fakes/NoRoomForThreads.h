#pragma once

#include <gtest/gtest.h>
#include <pthread.h>

#include <cstddef>

namespace fakes {

/// While it lives the system has no room for threads: each new one asks for more stack than an address can
/// reach.
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

}  // namespace fakes
