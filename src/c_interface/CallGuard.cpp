#include "c_interface/CallGuard.h"

#include <json/json.h>

#include <cstring>
#include <new>

#include "base/JsonText.h"

namespace c_interface {
namespace {

/// jsoncpp raises the same where memory is short as for what is nested too deeply.
bool IsShortage(const Json::Exception& error) {
    return std::strstr(error.what(), "allocate") != nullptr;
}

bool Parse(const std::string& text, Json::Value& value) {
    try {
        return ParseJson(text, value);
    } catch (const Json::Exception& error) {
        if (IsShortage(error)) throw std::bad_alloc();
        return false;  // nested too deeply
    }
}

}  // namespace

void RequireSize(std::size_t given, std::size_t smallest) {
    if (given < smallest) throw Refusal{QOLIVE_BAD_SIZE};
}

std::string ToText(const char* data, std::size_t length) {
    if (length == 0) return {};
    Require(data);
    return {data, length};
}

std::string ToText(const qolive_text& text) {
    return ToText(text.data, text.length);
}

Json::Value ToJson(const char* data, std::size_t length) {
    Json::Value value;
    if (!Parse(ToText(data, length), value)) throw Refusal{QOLIVE_BAD_JSON};
    return value;
}

std::int32_t WriteText(const std::string& text, char* buffer, std::size_t capacity, std::size_t* length) {
    Require(length);
    if (capacity != 0) Require(buffer);
    *length = text.size();
    if (text.size() > capacity) return QOLIVE_TOO_SMALL;
    text.copy(buffer, text.size());
    return QOLIVE_DONE;
}

void RequireBuffer(const qolive_text_buffer& buffer) {
    if (buffer.capacity != 0) Require(buffer.data);
}

std::int32_t WriteText(const std::string& text, qolive_text_buffer& buffer) {
    return WriteText(text, buffer.data, buffer.capacity, &buffer.length);
}

}  // namespace c_interface
