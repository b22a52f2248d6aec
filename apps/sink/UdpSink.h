#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

namespace sink {

/// Receives datagrams on an address of this machine, on a thread of its own.
class UdpSink {
public:
    using OnDatagram = std::function<void(const std::uint8_t* data, std::size_t size)>;

    /// `host`: a numeric IPv4 address. `port` 0: any that is free. `onDatagram` runs on the sink's thread.
    /// Raises a std::system_error when the address cannot be had.
    UdpSink(const std::string& host, int port, OnDatagram onDatagram);
    /// What has arrived until now is still handed over.
    ~UdpSink();
    UdpSink(const UdpSink&) = delete;
    UdpSink& operator=(const UdpSink&) = delete;

    int Port() const { return m_port; }

private:
    void Receive();

    OnDatagram m_onDatagram;
    int m_socket = -1;
    int m_wake[2] = {-1, -1};
    int m_port = 0;
    std::thread m_thread;
};

}  // namespace sink
