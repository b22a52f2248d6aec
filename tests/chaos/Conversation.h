#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "chaos/History.h"
#include "chaos/Script.h"

namespace chaos {

/// What all conversations together have come to.
struct Tally {
    std::uint64_t conversations = 0;
    std::uint64_t packets = 0;             ///< sent beside the honest answers
    std::uint64_t mutated = 0;             ///< shots among them that no server may send
    std::uint64_t survived = 0;            ///< shots after which the connection still answered
    std::uint64_t heartbeats[2] = {0, 0};  ///< that came on each port
};

/// One connection of the host, seen from the server: answers as an honest server does, and in between sends
/// what its script says. Nothing blocks.
class Conversation {
public:
    using Clock = std::chrono::steady_clock;

    Conversation(int socket, int port, std::size_t number, std::unique_ptr<Script> script, Tally& tally,
                 History& history);
    ~Conversation();
    Conversation(const Conversation&) = delete;
    Conversation& operator=(const Conversation&) = delete;

    int socket() const { return m_socket; }
    bool wantsToWrite() const { return !m_output.empty(); }
    bool isOver() const { return m_over; }

    /// When `advance` has something to do although the socket is silent.
    Clock::time_point due() const { return m_due; }

    /// Reads, writes and goes on with the script.
    void advance();

private:
    void read();
    void takePackets();
    void answer(std::uint8_t first, const std::string& body);
    void answerSubscribe(const std::string& granted);
    void answerMessage(std::uint8_t first, const std::string& body);
    void noteConnect(const std::string& body);
    void play(Moment moment);
    void playNext();
    void finish(Script::End end);
    void honestAnswer();
    void fire(const Shot& shot);
    void probe();
    void send(const std::string& bytes);
    void flush();

    const int m_socket;
    const int m_port;
    const std::size_t m_number;
    const std::unique_ptr<Script> m_script;
    Tally& m_tally;
    History& m_history;

    Scene m_scene;
    std::string m_input;
    std::string m_output;
    std::string m_pendingAnswer;  ///< follows the shots of the moment
    Moment m_moment = Moment::Accepted;
    bool m_playing = false;
    bool m_waitingForProbe = false;
    bool m_silent = false;  ///< a probe was not answered
    bool m_ending = false;
    bool m_over = false;
    Clock::time_point m_due = Clock::time_point::max();
};

}  // namespace chaos
