#include "platform/HostProcess.h"

#include <cstddef>

#include "platform/Sync.h"

namespace {

constexpr char kUsual[] = "QoLive.exe";
constexpr char32_t kReplacement = 0xfffd;

Mutex g_mutex;

/// How many bytes follow the first one of a character; -1 when none begins with it.
int followers(unsigned char lead) {
    if (lead < 0x80) return 0;
    if (lead < 0xc2 || lead > 0xf4) return -1;
    return lead < 0xe0 ? 1 : lead < 0xf0 ? 2 : 3;
}

/// The character at `at`, which it moves behind it.
char32_t nextCharacter(const std::string& text, std::size_t& at) {
    const auto lead = static_cast<unsigned char>(text[at++]);
    const int more = followers(lead);
    if (more <= 0) return more == 0 ? lead : kReplacement;
    char32_t character = lead & (0x3fU >> more);
    for (int i = 0; i < more; ++i, ++at) {
        const unsigned byte = at < text.size() ? static_cast<unsigned char>(text[at]) : 0U;
        if ((byte & 0xc0U) != 0x80U) return kReplacement;
        character = character << 6U | (byte & 0x3fU);
    }
    return character > 0x10ffff ? kReplacement : character;
}

void append(std::wstring& text, char32_t character) {
    if (sizeof(wchar_t) > 2 || character < 0x10000) {
        text += static_cast<wchar_t>(character);
        return;
    }
    text += static_cast<wchar_t>(0xd800 + ((character - 0x10000) >> 10U));
    text += static_cast<wchar_t>(0xdc00 + ((character - 0x10000) & 0x3ffU));
}

std::wstring wide(const std::string& text) {
    std::wstring result;
    for (std::size_t at = 0; at < text.size();)
        append(result, nextCharacter(text, at));
    return result;
}

// Made at the first use and never destroyed: a report of the process's last moments may still ask.
std::wstring& nameUnderLock() QOLIVE_REQUIRES(g_mutex) {
    static auto* const name = new std::wstring(wide(kUsual));
    return *name;
}

}  // namespace

void SetHostProcess(const std::string& name) {
    std::wstring used = wide(name.empty() ? kUsual : name);
    const MutexLock lock(g_mutex);
    nameUnderLock().swap(used);
}

std::wstring HostProcess() {
    const MutexLock lock(g_mutex);
    return nameUnderLock();
}
