#pragma once

#include <cstddef>
#include <string>

namespace data_report {

/// What a server sent on the report channel. Read once, however many streams it goes to.
class ServerPacket {
public:
    /// Copies and reads `data`; what cannot be (null, empty, not JSON, memory short) says nothing.
    ServerPacket(const unsigned char* data, std::size_t len) noexcept;

    bool isEmpty() const { return m_text.empty(); }

    /// All of it, which may hold zero bytes. The JSON in it ends at the first.
    const std::string& text() const { return m_text; }

    /// Whether the server takes the streams: {"type":1,"code":0}.
    bool isAcceptance() const { return m_isAcceptance; }

private:
    std::string m_text;
    bool m_isAcceptance = false;
};

}  // namespace data_report
