#pragma once

#include <string_view>

namespace program_name {

template <class Char>
constexpr Char Lower(Char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<Char>(c - 'A' + 'a') : c;
}

template <class Char>
bool SameText(std::basic_string_view<Char> one, std::basic_string_view<Char> other) {
    if (one.size() != other.size()) return false;
    for (std::size_t i = 0; i < one.size(); ++i)
        if (Lower(one[i]) != Lower(other[i])) return false;
    return true;
}

template <class Char>
std::basic_string_view<Char> Stem(std::basic_string_view<Char> name) {
    static constexpr Char kEnding[] = {'.', 'e', 'x', 'e'};
    const std::basic_string_view<Char> ending(kEnding, 4);
    if (name.size() < ending.size()) return name;
    const auto rest = name.size() - ending.size();
    return SameText(name.substr(rest), ending) ? name.substr(0, rest) : name;
}

}  // namespace program_name

/// Whether two program names differ at most in the case of ASCII letters and in an ending ".exe". A name with
/// nothing before that ending is no program's.
template <class Char>
bool IsSameProgram(std::basic_string_view<Char> one, std::basic_string_view<Char> other) {
    const auto stem = program_name::Stem(one);
    return !stem.empty() && program_name::SameText(stem, program_name::Stem(other));
}
