#include <chrono>
#include <string>
#include <vector>

#include "network/Host.h"
#include "network/LookUps.h"
#include "platform/HostReadings.h"
#include "readings/Echo.h"

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds kTimeLimit{3};
constexpr std::size_t kMostLookUps = 16;

std::vector<std::string> LiteralsOf(const std::string& host, steady_clock::time_point deadline) {
    static auto* const lookUps = new qolive::LookUps(kMostLookUps);  // never destroyed: pings go on at exit
    if (!qolive::IsPossibleHost(host)) return {};
    const std::string literal = qolive::AsLiteralAddress(host);
    if (!literal.empty()) return {literal};
    const auto lookUp = lookUps->begin(host);
    if (!lookUp || !lookUp->waitUntil(deadline)) return {};
    return lookUp->literals();
}

}  // namespace

CPing* CPing::GetInstance() {
    static CPing instance;
    return &instance;
}

bool CPing::PingHost(std::string host, int& rttMs) {
    const auto deadline = steady_clock::now() + kTimeLimit;
    for (const std::string& literal : LiteralsOf(host, deadline))
        if (SendEcho(literal, deadline, rttMs)) return true;
    return false;
}
