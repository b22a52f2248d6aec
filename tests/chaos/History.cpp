#include "chaos/History.h"

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace chaos {
namespace {

constexpr char kDigits[] = "0123456789abcdef";

std::string Hex(const std::string& bytes) {
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const char byte : bytes) {
        text.push_back(kDigits[static_cast<std::uint8_t>(byte) >> 4U]);
        text.push_back(kDigits[static_cast<std::uint8_t>(byte) & 15U]);
    }
    return text;
}

std::string BytesOf(const std::string& text) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2)
        bytes.push_back(static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16)));
    return bytes;
}

}  // namespace

void History::add(Sent sent) {
    m_bytes += sent.shot.bytes.size();
    m_sent.push_back(std::move(sent));
    while (m_sent.size() > m_most || m_bytes > kMostBytes) {
        m_bytes -= m_sent.front().shot.bytes.size();
        m_sent.pop_front();
    }
}

bool History::write(const std::string& file) const {
    std::ofstream out(file);
    for (const Sent& sent : m_sent)
        out << sent.port << ' ' << sent.conversation << ' ' << static_cast<int>(sent.moment) << ' '
            << (sent.prefix.empty() ? "-" : sent.prefix) << ' ' << sent.shot.packets << ' '
            << sent.shot.mutated << ' ' << sent.shot.byteByByte << ' ' << Hex(sent.shot.bytes) << '\n';
    return static_cast<bool>(out.flush());
}

Recording ReadRecording(const std::string& file) {
    std::ifstream in(file);
    if (!in) throw std::runtime_error("cannot read " + file);
    Recording recording;
    for (std::string line; std::getline(in, line);) {
        std::istringstream words(line);
        Sent sent;
        int moment = 0;
        std::string bytes;
        if (!(words >> sent.port >> sent.conversation >> moment >> sent.prefix >> sent.shot.packets >>
              sent.shot.mutated >> sent.shot.byteByByte >> bytes))
            throw std::runtime_error("not a recording: " + file);
        sent.moment = static_cast<Moment>(moment);
        sent.shot.bytes = BytesOf(bytes);
        auto& conversations = recording[sent.port];
        if (conversations.empty() || conversations.back().front().conversation != sent.conversation)
            conversations.emplace_back();
        conversations.back().push_back(std::move(sent));
    }
    return recording;
}

}  // namespace chaos
