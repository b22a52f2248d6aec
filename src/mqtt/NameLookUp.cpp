#include "mqtt/NameLookUp.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "mqtt/NetworkThread.h"
#include "mqtt/SdkLog.h"
#include "network/Sockets.h"
#include "platform/DetachedThread.h"

namespace QoPlayer {
namespace mqtt {
namespace {

constexpr std::size_t kMostLiterals = 16;

struct FreeAddresses {
    void operator()(addrinfo* list) const { freeaddrinfo(list); }
};
using Addresses = std::unique_ptr<addrinfo, FreeAddresses>;

Addresses askSystem(const std::string& host, int flags) {
    addrinfo hints = {};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = flags;
    addrinfo* list = nullptr;
    return Addresses(getaddrinfo(host.c_str(), nullptr, &hints, &list) == 0 ? list : nullptr);
}

std::string literalOf(const addrinfo& address) {
    char literal[128];
    const auto length = static_cast<socklen_t>(address.ai_addrlen);
    if (getnameinfo(address.ai_addr, length, literal, sizeof literal, nullptr, 0, NI_NUMERICHOST) != 0)
        return {};
    return literal;
}

std::vector<std::string> resolveWithSystem(const std::string& host) {
    const Addresses found = askSystem(host, 0);
    std::vector<std::string> literals;
    for (const addrinfo* address = found.get(); address && literals.size() < kMostLiterals;
         address = address->ai_next) {
        const std::string literal = literalOf(*address);
        if (!literal.empty() && std::find(literals.begin(), literals.end(), literal) == literals.end())
            literals.push_back(literal);
    }
    return literals;
}

std::atomic<NameResolver> currentResolver{resolveWithSystem};

bool beginsWith(const std::string& text, const char* beginning) {
    return text.rfind(beginning, 0) == 0;
}

char lowerCase(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool endsWithIgnoringCase(const std::string& text, const std::string& lowerCaseEnding) {
    return text.size() > lowerCaseEnding.size() &&
           std::equal(lowerCaseEnding.rbegin(), lowerCaseEnding.rend(), text.rbegin(),
                      [](char wanted, char found) { return wanted == lowerCase(found); });
}

std::string withColons(const std::string& host) {
    static const std::string ending = ".ipv6-literal.net";
    if (!endsWithIgnoringCase(host, ending)) return host;
    std::string literal = host.substr(0, host.size() - ending.size());
    std::replace(literal.begin(), literal.end(), '-', ':');
    const auto scope = literal.find_first_of("sS");
    if (scope != std::string::npos) literal[scope] = '%';
    return literal.find(':') == std::string::npos ? host : literal;
}

}  // namespace

void SetNameResolver(NameResolver resolver) {
    currentResolver = resolver ? resolver : resolveWithSystem;
}

std::string AsLiteralAddress(const std::string& host) {
    const Addresses found = askSystem(withColons(host), AI_NUMERICHOST);
    return found ? literalOf(*found) : std::string();
}

bool IsLoopbackAddress(const std::string& literal) {
    return beginsWith(literal, "127.") || literal == "::1" || beginsWith(literal, "::ffff:127.");
}

std::shared_ptr<const NameLookUp> NameLookUps::begin(const std::string& host) {
    const auto underWay = m_underWay.find(host);
    if (underWay != m_underWay.end() && !underWay->second->hasEnded()) return underWay->second;
    for (auto entry = m_underWay.begin(); entry != m_underWay.end();)
        entry = entry->second->hasEnded() ? m_underWay.erase(entry) : std::next(entry);
    if (m_underWay.size() >= kMostUnderWay) return nullptr;

    const auto lookUp = std::make_shared<NameLookUp>();
    std::function<void()> work = [host, lookUp, waiter = m_waiter] { run(host, *lookUp, *waiter); };
    const auto entry = m_underWay.emplace(host, lookUp).first;
    if (StartDetachedThread(std::move(work))) return lookUp;
    m_underWay.erase(entry);
    return nullptr;
}

void NameLookUps::run(const std::string& host, NameLookUp& lookUp, SocketWaiter& waiter) {
    const NetworkThread networkThread;
    RunSdkPass("error: out of memory: a look-up was dropped",
               [&] { lookUp.m_literals = currentResolver.load()(host); });
    lookUp.m_ended = true;
    waiter.wake();
}

}  // namespace mqtt
}  // namespace QoPlayer
