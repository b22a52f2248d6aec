#include "integration/mqtt/CenterTest.h"

#include <algorithm>
#include <mutex>

namespace {

std::mutex logMutex;
std::vector<CenterLog::Line>& LogLines() {
    static auto* const lines = new std::vector<CenterLog::Line>;
    return *lines;
}

void Record(int level, const char*, const char* text) {
    const std::lock_guard<std::mutex> lock(logMutex);
    LogLines().push_back({level, text});
}

const std::uint8_t* BytesOf(const std::string& text) {
    return reinterpret_cast<const std::uint8_t*>(text.data());
}

}  // namespace

void CenterLog::install() {
    {
        const std::lock_guard<std::mutex> lock(logMutex);
        LogLines().clear();
    }
    QoPlayer::SetLogPtr(Record);
}

std::vector<CenterLog::Line> CenterLog::lines() {
    const std::lock_guard<std::mutex> lock(logMutex);
    return LogLines();
}

std::size_t CenterLog::count(const std::string& part) {
    const std::vector<Line> all = lines();
    return static_cast<std::size_t>(std::count_if(
        all.begin(), all.end(), [&](const Line& line) { return line.text.find(part) != std::string::npos; }));
}

bool CenterLog::waitFor(const std::string& part, std::size_t wanted) {
    return support::Eventually([&] { return count(part) >= wanted; });
}

std::string CenterLog::all() {
    std::string text;
    for (const Line& line : lines())
        text += std::to_string(line.level) + " " + line.text + "\n";
    return text;
}

Config::Config(const std::vector<std::pair<std::string, int>>& addresses) {
    m_config.addrs = new QoPlayer::MsgCenterAddr[addresses.size()];
    m_config.addrCount = static_cast<std::uint32_t>(addresses.size());
    for (std::size_t i = 0; i < addresses.size(); ++i) {
        m_config.addrs[i].ip = addresses[i].first;
        m_config.addrs[i].port = addresses[i].second;
    }
    m_config.int64Value1 = 500;
    m_config.textValue1 = "studio-7";
}

Config::Config(Config&& from) noexcept {
    std::swap(m_config.addrs, from.m_config.addrs);
    m_config.addrCount = from.m_config.addrCount;
    m_config.intValue1 = from.m_config.intValue1;
    m_config.intValue2 = from.m_config.intValue2;
    m_config.int64Value1 = from.m_config.int64Value1;
    m_config.int64Value2 = from.m_config.int64Value2;
    m_config.textValue1 = std::move(from.m_config.textValue1);
    m_config.textValue2 = std::move(from.m_config.textValue2);
    m_config.accessToken = std::move(from.m_config.accessToken);
    m_config.expireTime = from.m_config.expireTime;
}

std::string Config::host() const {
    const std::string name = m_config.addrs[0].ip + ":" + std::to_string(m_config.addrs[0].port);
    return m_config.addrs[0].ip == "127.0.0.1" ? name : name + " (127.0.0.1)";
}

bool Send(QoPlayer::MsgSender* sender, const std::string& body) {
    return sender->send(BytesOf(body), body.size(), nullptr, 0);
}

bool Send(QoPlayer::MsgSender* sender, const std::string& body, const std::string& head) {
    return sender->send(BytesOf(body), body.size(), BytesOf(head), static_cast<int>(head.size()));
}

void StopWithinASecond(QoPlayer::MsgCenter& center) {
    EXPECT_LT(support::TimeOf([&] { center.stop(); }).count(), 1000);
}
