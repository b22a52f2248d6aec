#include "common/Json.h"

#include <memory>

namespace apps {
namespace {

Json::StreamWriterBuilder WriterOf(Letters letters) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["commentStyle"] = "None";
    builder["emitUTF8"] = letters == Letters::Plain;
    return builder;
}

}  // namespace

std::string CompactJson(const Json::Value& value, Letters letters) {
    static const Json::StreamWriterBuilder escaped = WriterOf(Letters::Escaped);
    static const Json::StreamWriterBuilder plain = WriterOf(Letters::Plain);
    return Json::writeString(letters == Letters::Plain ? plain : escaped, value);
}

std::optional<Json::Value> ReadJson(const std::string& text) {
    Json::CharReaderBuilder builder;
    builder["allowTrailingCommas"] = false;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    if (!reader->parse(text.data(), text.data() + text.size(), &value, nullptr)) return std::nullopt;
    return value;
}

}  // namespace apps
