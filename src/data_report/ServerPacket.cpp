#include "data_report/ServerPacket.h"

#include "base/JsonText.h"

namespace data_report {
namespace {

constexpr int kAcceptancePacket = 1;
constexpr int kAccepted = 0;

bool Accepts(const std::string& text) {
    Json::Value root;
    if (!ParseJson(text.substr(0, text.find('\0')), root)) return false;
    const int type = root["type"].asInt();
    const int code = root["code"].asInt();
    return type == kAcceptancePacket && code == kAccepted;
}

}  // namespace

ServerPacket::ServerPacket(const unsigned char* data, std::size_t len) noexcept {
    if (!data) return;
    try {
        m_text.assign(reinterpret_cast<const char*>(data), len);
        m_isAcceptance = Accepts(m_text);
    } catch (...) {
        // Whatever a server sends, its packet is worth no more than being ignored.
    }
}

}  // namespace data_report
