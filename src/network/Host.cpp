#include "network/Host.h"

#include <algorithm>

#include "network/Sockets.h"

namespace qolive {
namespace {

// Room for the longest domain name, and for a literal address with the name of a network interface.
constexpr std::size_t kLongestHost = 255;
constexpr std::size_t kMostAddresses = 16;

std::string LiteralOf(const addrinfo& address) {
    char literal[128];
    const auto length = static_cast<socklen_t>(address.ai_addrlen);
    const int failed =
        getnameinfo(address.ai_addr, length, literal, sizeof literal, nullptr, 0, NI_NUMERICHOST);
    return failed ? std::string() : literal;
}

bool BeginsWith(const std::string& text, const char* beginning) {
    return text.rfind(beginning, 0) == 0;
}

char LowerCase(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool EndsWithIgnoringCase(const std::string& text, const std::string& lowerCaseEnding) {
    return text.size() > lowerCaseEnding.size() &&
           std::equal(lowerCaseEnding.rbegin(), lowerCaseEnding.rend(), text.rbegin(),
                      [](char wanted, char found) { return wanted == LowerCase(found); });
}

std::string WithColons(const std::string& host) {
    static const std::string ending = ".ipv6-literal.net";
    if (!EndsWithIgnoringCase(host, ending)) return host;
    std::string literal = host.substr(0, host.size() - ending.size());
    std::replace(literal.begin(), literal.end(), '-', ':');
    const auto scope = literal.find_first_of("sS");
    if (scope != std::string::npos) literal[scope] = '%';
    return literal.find(':') == std::string::npos ? host : literal;
}

}  // namespace

bool IsPossibleHost(const std::string& host) {
    return !host.empty() && host.size() <= kLongestHost && host.find('\0') == std::string::npos;
}

std::string AsLiteralAddress(const std::string& host) {
    const AddressList found(WithColons(host), AI_NUMERICHOST);
    return found.first() ? LiteralOf(*found.first()) : std::string();
}

bool IsLoopbackAddress(const std::string& literal) {
    return BeginsWith(literal, "127.") || literal == "::1" || BeginsWith(literal, "::ffff:127.");
}

std::vector<std::string> ResolveHost(const std::string& name) {
    const AddressList found(name, 0);
    std::vector<std::string> literals;
    for (auto address = found.first(); address && literals.size() < kMostAddresses;
         address = address->ai_next) {
        const std::string literal = LiteralOf(*address);
        if (!literal.empty() && std::find(literals.begin(), literals.end(), literal) == literals.end())
            literals.push_back(literal);
    }
    return literals;
}

}  // namespace qolive
