#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <string>

#include "c_interface/qolive_report.h"

// What every function of the C interface shares: parameters in, results out, and nothing thrown.

namespace Json {
class Value;
}

namespace c_interface {

/// Raised inside a guarded call: the call ends with `code`.
struct Refusal {
    std::int32_t code;
};

/// Runs `operation`, whose result is the result, and turns whatever it raises into a code.
template <class Operation>
std::int32_t Guarded(const Operation& operation) noexcept {
    try {
        return operation();
    } catch (const Refusal& refusal) {
        return refusal.code;
    } catch (const std::bad_alloc&) {
        return QOLIVE_OUT_OF_MEMORY;
    } catch (...) {
        return QOLIVE_INTERNAL;
    }
}

/// The same for an operation without a result.
template <class Operation>
std::int32_t Done(const Operation& operation) noexcept {
    return Guarded([&operation] {
        operation();
        return std::int32_t{QOLIVE_DONE};
    });
}

template <class Pointer>
void Require(Pointer pointer) {
    if (!pointer) throw Refusal{QOLIVE_NULL_ARGUMENT};
}

/// The size of a structure, as the caller sees it, against the smallest that this interface has known.
void RequireSize(std::size_t given, std::size_t smallest);

std::string ToText(const char* data, std::size_t length);
std::string ToText(const qolive_text& text);

/// Refuses what does not parse.
Json::Value ToJson(const char* data, std::size_t length);

/// QOLIVE_DONE or QOLIVE_TOO_SMALL; the length is written in both cases.
std::int32_t WriteText(const std::string& text, char* buffer, std::size_t capacity, std::size_t* length);

/// The same for a text inside a structure; the buffer is to be checked before anything is written.
void RequireBuffer(const qolive_text_buffer& buffer);
std::int32_t WriteText(const std::string& text, qolive_text_buffer& buffer);

/// Runs `getter` for a number that goes to `*result`.
template <class Number, class Getter>
std::int32_t WriteNumber(Number* result, const Getter& getter) noexcept {
    return Done([&] {
        Require(result);
        *result = getter();
    });
}

}  // namespace c_interface
