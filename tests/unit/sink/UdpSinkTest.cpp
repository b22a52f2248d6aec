#include "sink/UdpSink.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <system_error>
#include <vector>

namespace sink {

namespace {

void SendTo(int port, const std::vector<std::string>& datagrams) {
    const int sender = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    for (const std::string& datagram : datagrams) {
        const ssize_t sent = sendto(sender, datagram.data(), datagram.size(), 0,
                                    reinterpret_cast<const sockaddr*>(&address), sizeof address);
        EXPECT_EQ(sent, static_cast<ssize_t>(datagram.size()));
    }
    close(sender);
}

TEST(UdpSink, HandsOverEachDatagramThatCameBeforeItsEnd) {
    std::vector<std::string> received;
    {
        UdpSink sink("127.0.0.1", 0, [&received](const std::uint8_t* data, std::size_t size) {
            received.emplace_back(data, data + size);
        });
        SendTo(sink.Port(), {"one", "", std::string(1316, 'x')});
    }
    EXPECT_EQ(received, (std::vector<std::string>{"one", "", std::string(1316, 'x')}));
}

TEST(UdpSink, AnAddressThatCannotBeHadIsRefused) {
    const auto ignore = [](const std::uint8_t*, std::size_t) {};
    const UdpSink first("127.0.0.1", 0, ignore);
    EXPECT_THROW(UdpSink("127.0.0.1", first.Port(), ignore), std::system_error);
    EXPECT_THROW(UdpSink("localhost", 0, ignore), std::system_error);
    EXPECT_THROW(UdpSink("", 0, ignore), std::system_error);
}

}  // namespace

}  // namespace sink
