#include "mqtt/Wire.h"

#include <mosquitto.h>

#include <charconv>
#include <cstring>
#include <system_error>

namespace QoPlayer {
namespace mqtt {
namespace {

constexpr std::size_t kLongestString = 65535;

std::size_t VarintBytes(std::size_t value) {
    std::size_t bytes = 1;
    for (; value > 127; value >>= 7)
        ++bytes;
    return bytes;
}

std::size_t StringBytes(std::size_t length) {
    return 2 + length;
}

std::string WithSegment(const std::string& prefix, const char* segment, int cmd) {
    return prefix + segment + std::to_string(cmd);
}

}  // namespace

std::string TopicPrefix(const std::string& client, const std::string& connection) {
    return "qolive/" + client + "/" + connection;
}

std::string UpTopic(const std::string& prefix, int cmd) {
    return WithSegment(prefix, "/up/", cmd);
}

std::string DownTopic(const std::string& prefix, int cmd) {
    return WithSegment(prefix, "/down/", cmd);
}

std::string PresenceTopic(const std::string& prefix) {
    return prefix + "/presence";
}

bool CmdOfDownTopic(const std::string& prefix, const char* topic, int& cmd) {
    const std::string beginning = prefix + "/down/";
    if (std::strncmp(topic, beginning.c_str(), beginning.size()) != 0) return false;
    const char* const number = topic + beginning.size();
    const char* const end = number + std::strlen(number);
    const auto parsed = std::from_chars(number, end, cmd);
    return parsed.ec == std::errc() && parsed.ptr == end;
}

std::string HeadOnWire(const char* head, std::size_t length) {
    if (length > 0 && head[length - 1] == '\n') --length;
    return std::string(head, length);
}

std::string HeadProblem(const std::string& head) {
    if (head.size() > kLongestString) return "its head is longer than 65535 bytes";
    if (mosquitto_validate_utf8(head.c_str(), static_cast<int>(head.size())) != MOSQ_ERR_SUCCESS)
        return "its head is not UTF-8 text without control characters";
    return {};
}

std::size_t UplinkPacketSize(std::size_t topicLength, std::size_t responseTopicLength, std::size_t bodyLength,
                             std::size_t headLength) {
    std::size_t properties = 1 + StringBytes(sizeof kContentType - 1) + 1 + StringBytes(responseTopicLength);
    if (headLength > 0) properties += 1 + StringBytes(sizeof kHeadProperty - 1) + StringBytes(headLength);
    constexpr std::size_t kPacketIdentifier = 2;
    const std::size_t remaining =
        StringBytes(topicLength) + kPacketIdentifier + VarintBytes(properties) + properties + bodyLength;
    return 1 + VarintBytes(remaining) + remaining;
}

}  // namespace mqtt
}  // namespace QoPlayer
