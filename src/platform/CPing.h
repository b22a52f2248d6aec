#pragma once

#include <string>

#include "../base/Export.h"

/// Sends ICMP echo requests.
class CPing {
public:
    static CPing* GetInstance();

    /// Asks `host` (a name or a literal IPv4 or IPv6 address) for one echo and writes the round trip in whole
    /// milliseconds to `rttMs`. False, with `rttMs` left as it was, when there is no answer within 3 s, name
    /// look-up included, or when `host` is not usable. Blocks for that long at most; several threads may ping
    /// at once.
    bool PingHost(std::string host, int& rttMs);

    // The library's own, whatever readings it is linked with.
    CPing(const CPing&) = default;
    QOLIVE_API CPing& operator=(const CPing&);

private:
    CPing() = default;
};
