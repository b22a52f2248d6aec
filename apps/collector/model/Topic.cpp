#include "collector/model/Topic.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <vector>

namespace collector {
namespace {

constexpr std::size_t kMostClientCharacters = 128;
constexpr std::size_t kConnectionCharacters = 8;

std::vector<std::string_view> Levels(std::string_view text) {
    std::vector<std::string_view> levels;
    for (std::size_t slash = text.find('/'); slash != std::string_view::npos; slash = text.find('/')) {
        levels.push_back(text.substr(0, slash));
        text.remove_prefix(slash + 1);
    }
    levels.push_back(text);
    return levels;
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}
bool IsLowerHex(char c) {
    return IsDigit(c) || (c >= 'a' && c <= 'f');
}
bool IsNameCharacter(char c) {
    return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == '-';
}

bool IsClient(std::string_view text) {
    return !text.empty() && text.size() <= kMostClientCharacters &&
           std::all_of(text.begin(), text.end(), IsNameCharacter);
}

bool IsConnection(std::string_view text) {
    return text.size() == kConnectionCharacters && std::all_of(text.begin(), text.end(), IsLowerHex);
}

std::optional<int> ParseCommand(std::string_view text) {
    int command = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, command);
    const bool canonical = std::to_string(command) == text;
    if (error != std::errc() || stop != end || command < 0 || !canonical) return std::nullopt;
    return command;
}

}  // namespace

std::optional<Topic> ParseTopic(const std::string& text) {
    const std::vector<std::string_view> levels = Levels(text);
    if (levels.size() < 4 || levels[0] != "qolive" || !IsClient(levels[1]) || !IsConnection(levels[2]))
        return std::nullopt;
    Topic topic{{std::string(levels[1]), std::string(levels[2])}, std::nullopt};
    if (levels.size() == 4 && levels[3] == "presence") return topic;
    if (levels.size() != 5 || levels[3] != "up") return std::nullopt;
    topic.command = ParseCommand(levels[4]);
    if (!topic.command) return std::nullopt;
    return topic;
}

std::string DownTopic(const Source& source, int command) {
    return "qolive/" + source.client + "/" + source.connection + "/down/" + std::to_string(command);
}

}  // namespace collector
