#pragma once

#include <string>

namespace support {

/// A network of the calling thread's own, and of what it starts from then on, for as long as this lives:
/// nothing leaves the machine, and what is not a loopback address can be reached all the same.
class OwnNetwork {
public:
    /// An address of the kind that documents use; it belongs to no machine.
    static constexpr char kAddress[] = "192.0.2.1";

    OwnNetwork();
    ~OwnNetwork();
    OwnNetwork(const OwnNetwork&) = delete;
    OwnNetwork& operator=(const OwnNetwork&) = delete;

    /// Why there is none; empty when there is one.
    const std::string& problem() const { return m_problem; }

private:
    std::string m_problem;
    int m_before = -1;
};

}  // namespace support
