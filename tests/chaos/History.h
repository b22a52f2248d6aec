#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "chaos/Shots.h"

namespace chaos {

/// How far a conversation has come.
enum class Moment { Accepted, Connecting, Subscribing, Subscribed };

/// A conversation is named by the port that it came in on (0 main, 1 backup) and its number there.
struct Sent {
    int port = 0;
    std::size_t conversation = 0;
    Moment moment = Moment::Accepted;
    std::string prefix;  ///< of the connection's topics
    Shot shot;
};

/// The last shots, so that what they did can be had again.
class History {
public:
    explicit History(std::size_t most) : m_most(most) {}

    void add(Sent sent);

    /// One line for each shot; false when the file cannot be written.
    bool write(const std::string& file) const;

private:
    static constexpr std::size_t kMostBytes = std::size_t{32} * 1024 * 1024;

    const std::size_t m_most;
    std::size_t m_bytes = 0;
    std::deque<Sent> m_sent;
};

/// The shots of a file, for each port by conversation.
using Recording = std::map<int, std::deque<std::vector<Sent>>>;

/// Throws when the file is not one that `History::write` has written.
Recording ReadRecording(const std::string& file);

}  // namespace chaos
