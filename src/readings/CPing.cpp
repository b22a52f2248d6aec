#include <chrono>

#include "network/HostAddress.h"
#include "network/LookUps.h"
#include "platform/HostReadings.h"
#include "readings/Echo.h"

namespace {

constexpr std::chrono::seconds kTimeLimit{3};

std::vector<HostAddress> resolveName(const std::string& host) {
    return ResolveHost(host, HostText::Name);
}

std::vector<HostAddress> addressesOf(const std::string& host, LookUps::Deadline deadline) {
    static LookUps* const lookUps = new LookUps(resolveName);  // never destroyed, as a look-up needs it
    if (!IsPossibleHost(host)) return {};
    const auto literal = ResolveHost(host, HostText::Literal);
    return literal.empty() ? lookUps->addressesOf(host, deadline) : literal;
}

}  // namespace

CPing* CPing::GetInstance() {
    static CPing instance;
    return &instance;
}

bool CPing::PingHost(std::string host, int& rttMs) {
    const auto deadline = std::chrono::steady_clock::now() + kTimeLimit;
    for (const HostAddress& address : addressesOf(host, deadline))
        if (SendEcho(address, deadline, rttMs)) return true;
    return false;
}
