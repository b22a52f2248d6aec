#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace support {

/// Records what a sender's callback is called with. Pass `Recorder::callback` and a pointer to the recorder.
class Recorder {
public:
    struct Event {
        int msgType;
        int code;
        std::string data;
    };

    static void callback(void* user, int msgType, int code, const unsigned char* data, std::size_t len);

    std::vector<Event> events() const;
    std::size_t count(int msgType, int code) const;

    /// The data of the last event of that kind; empty when there was none.
    std::string last(int msgType, int code) const;

    /// The data packets (type 1) received.
    std::vector<std::string> packets() const;

    bool waitFor(int msgType, int code, std::size_t count = 1) const;
    bool waitConnected(std::size_t count = 1) const { return waitFor(0, 1, count); }
    bool waitDisconnected(std::size_t count = 1) const { return waitFor(0, 0, count); }
    bool waitPackets(std::size_t count = 1) const { return waitFor(1, 0, count); }

    /// Called at the end of every callback, on the thread of the callback. Set it before the sender is made.
    std::function<void(const Event&)> then;

private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<Event> m_events;
};

}  // namespace support
