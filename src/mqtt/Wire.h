#pragma once

#include <cstddef>
#include <string>

namespace QoPlayer {
namespace mqtt {

/// The topics of one connection and what MQTT lets through.

/// "qolive/<client>/<connection>"
std::string TopicPrefix(const std::string& client, const std::string& connection);
std::string UpTopic(const std::string& prefix, int cmd);
std::string DownTopic(const std::string& prefix, int cmd);
std::string PresenceTopic(const std::string& prefix);

/// The command that `topic` is the down topic of; false when it is another topic.
bool CmdOfDownTopic(const std::string& prefix, const char* topic, int& cmd);

inline constexpr char kContentType[] = "application/json";
inline constexpr char kHeadProperty[] = "head";
inline constexpr char kOnline[] = "{\"online\":true}";
inline constexpr char kOffline[] = "{\"online\":false}";

/// The largest packet that MQTT can carry, bytes.
inline constexpr std::size_t kLargestPacket = 268'435'460;

/// What travels of a head: without the line break that the compact JSON writer puts at its end, because
/// servers end a connection that carries a control character in a property.
std::string HeadOnWire(const char* head, std::size_t length);

/// Why `head` (as HeadOnWire gives it) can never travel as a user property; empty when it can.
std::string HeadProblem(const std::string& head);

/// Bytes of the whole PUBLISH packet that carries `bodyLength` bytes at QoS 1 with the properties of an
/// uplink; no head property when `headLength` is 0.
std::size_t UplinkPacketSize(std::size_t topicLength, std::size_t responseTopicLength, std::size_t bodyLength,
                             std::size_t headLength);

}  // namespace mqtt
}  // namespace QoPlayer
