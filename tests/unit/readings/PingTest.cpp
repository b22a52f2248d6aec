#include <gtest/gtest.h>

#include <string>

#include "platform/HostReadings.h"

namespace {

TEST(Ping, AnUnusableHostIsRefusedAndLeavesTheTimeAlone) {
    for (const std::string& host : {std::string(), std::string("127.0.0.1\0x", 11),
                                    std::string(10'000'000, 'a'), std::string("255.255.255.255")}) {
        int rttMs = 3000;
        EXPECT_FALSE(CPing::GetInstance()->PingHost(host, rttMs)) << host.substr(0, 40);
        EXPECT_EQ(rttMs, 3000);
    }
}

}  // namespace
