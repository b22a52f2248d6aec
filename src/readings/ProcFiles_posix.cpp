#include "readings/ProcFiles_posix.h"

#include <sstream>

namespace {

bool StartsWith(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

/// The figure of a line such as "MemTotal:       16318480 kB", in bytes.
std::optional<std::uint64_t> MemoryFigure(const std::string& text, const std::string& name) {
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        if (!StartsWith(line, name + ":")) continue;
        std::istringstream figure(line.substr(name.size() + 1));
        std::uint64_t kibibytes = 0;
        if (figure >> kibibytes) return kibibytes * 1024;
        return std::nullopt;
    }
    return std::nullopt;
}

void AppendUtf8(std::string& out, char32_t c) {
    const auto append = [&out](char32_t byte) { out.push_back(static_cast<char>(byte)); };
    const auto continuation = [&append, c](int shift) { append(0x80 | ((c >> shift) & 0x3f)); };
    if (c < 0x80) {
        append(c);
    } else if (c < 0x800) {
        append(0xc0 | (c >> 6));
        continuation(0);
    } else if (c < 0x10000) {
        append(0xe0 | (c >> 12));
        continuation(6);
        continuation(0);
    } else {
        append(0xf0 | (c >> 18));
        continuation(12);
        continuation(6);
        continuation(0);
    }
}

}  // namespace

std::optional<ProcessorTimes> ParseProcessorTimes(const std::string& text) {
    std::istringstream fields(text);
    std::string label;
    std::uint64_t user = 0, nice = 0, system = 0, idle = 0, ioWait = 0, interrupts = 0, softInterrupts = 0;
    if (!(fields >> label >> user >> nice >> system >> idle >> ioWait >> interrupts >> softInterrupts) ||
        label != "cpu")
        return std::nullopt;
    std::uint64_t stolen = 0;
    fields >> stolen;
    const std::uint64_t busy = user + nice + system + interrupts + softInterrupts + stolen;
    return ProcessorTimes{busy, busy + idle + ioWait};
}

std::optional<ProcessStat> ParseProcessStat(const std::string& text) {
    const auto nameEnd = text.rfind(')');  // the name may hold brackets and spaces of its own
    if (nameEnd == std::string::npos) return std::nullopt;
    std::istringstream fields(text.substr(nameEnd + 1));
    std::string skipped;
    for (int field = 3; field < 14; ++field)
        fields >> skipped;
    std::uint64_t user = 0, system = 0;
    fields >> user >> system;
    for (int field = 16; field < 22; ++field)
        fields >> skipped;
    ProcessStat stat;
    if (!(fields >> stat.started)) return std::nullopt;
    stat.usedTicks = user + system;
    return stat;
}

std::optional<PhysicalMemory> ParseMemory(const std::string& text) {
    const auto total = MemoryFigure(text, "MemTotal");
    const auto available = MemoryFigure(text, "MemAvailable");
    if (!total || !available) return std::nullopt;
    return PhysicalMemory{*total, *available};
}

std::string ParseName(const std::string& text) {
    return text.substr(0, text.rfind('\n'));
}

std::string ProgramOfLink(const std::string& target) {
    return target.substr(target.rfind('/') + 1);
}

std::string ToUtf8(const std::wstring& text) {
    constexpr char32_t kReplacement = 0xfffd;
    std::string out;
    for (const wchar_t unit : text) {
        const auto c = static_cast<char32_t>(unit);
        const bool isCharacter = c < 0xd800 || (c > 0xdfff && c <= 0x10ffff);
        AppendUtf8(out, isCharacter ? c : kReplacement);
    }
    return out;
}
