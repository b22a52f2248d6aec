#include "kernel/LogLine.h"

#include <cstdio>

namespace {

bool IsControl(unsigned char byte) {
    return byte < 0x20 || byte == 0x7f;
}

void AppendEscaped(std::string& out, const char* text) {
    for (; *text; ++text) {
        const auto byte = static_cast<unsigned char>(*text);
        if (!IsControl(byte)) {
            out.push_back(*text);
            continue;
        }
        char escape[8];
        std::snprintf(escape, sizeof escape, "\\x%02x", byte);
        out += escape;
    }
}

}  // namespace

std::string FormatLogLine(const std::tm& local, int milliseconds, int level, const char* text) {
    char head[64];
    const std::size_t length = std::strftime(head, sizeof head, "%Y-%m-%d %H:%M:%S", &local);
    std::snprintf(head + length, sizeof head - length, ".%03d %d ", milliseconds, level);
    std::string line(head);
    AppendEscaped(line, text);
    line.push_back('\n');
    return line;
}

std::size_t FormatBareLogLine(char* out, std::size_t size, const char* text) noexcept {
    std::size_t length = 0;
    for (; *text && length + 1 < size; ++text)
        out[length++] = IsControl(static_cast<unsigned char>(*text)) ? '.' : *text;
    out[length++] = '\n';
    return length;
}
