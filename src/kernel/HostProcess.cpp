#include "platform/HostProcess.h"

#include <cstddef>

#include "base/Sync.h"
#include "base/Utf8.h"

namespace {

constexpr char kUsual[] = "QoLive.exe";
constexpr char32_t kReplacement = 0xfffd;

qolive::Mutex g_mutex;

/// The character of `length` bytes at `at`.
char32_t ValueOf(const char* at, std::size_t length) {
    const unsigned lead = utf8::ByteAt(at);
    if (length == 1) return lead;
    char32_t value = lead & (0x7fU >> length);
    for (std::size_t i = 1; i < length; ++i)
        value = value << 6U | (utf8::ByteAt(at + i) & 0x3fU);
    return value;
}

void Append(std::wstring& text, char32_t character) {
    if (sizeof(wchar_t) > 2 || character < 0x10000) {
        text += static_cast<wchar_t>(character);
        return;
    }
    text += static_cast<wchar_t>(0xd800 + ((character - 0x10000) >> 10U));
    text += static_cast<wchar_t>(0xdc00 + ((character - 0x10000) & 0x3ffU));
}

std::wstring Wide(const std::string& text) {
    std::wstring result;
    const char* at = text.data();
    const char* const end = at + text.size();
    while (at < end) {
        const utf8::Piece piece = utf8::PieceAt(at, end);
        Append(result, piece.isCharacter ? ValueOf(at, piece.length) : kReplacement);
        at += piece.length;
    }
    return result;
}

// Made at the first use and never destroyed: a report of the process's last moments may still ask.
std::wstring& NameUnderLock() QOLIVE_REQUIRES(g_mutex) {
    static auto* const name = new std::wstring(Wide(kUsual));
    return *name;
}

}  // namespace

void SetHostProcess(const std::string& name) {
    std::wstring used = Wide(name.empty() ? kUsual : name);
    const qolive::MutexLock lock(g_mutex);
    NameUnderLock().swap(used);
}

std::wstring HostProcess() {
    const qolive::MutexLock lock(g_mutex);
    return NameUnderLock();
}
