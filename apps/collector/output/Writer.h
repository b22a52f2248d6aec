#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

#include "collector/model/Millis.h"

namespace collector {

/// Writes to a file descriptor on a thread of its own: whoever has something to say never waits for who reads
/// it.
class Writer {
public:
    /// Keeps at most `mostBytes` that are still to be written. `descriptor` outlives this object.
    Writer(int descriptor, std::size_t mostBytes);

    /// What still waits is not written any more.
    ~Writer();
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    /// Never waits. False when there is no room: `text` is dropped.
    bool Write(std::string text);

    /// At least half of the room is free.
    bool IsRelieved() const;

    /// The errno of what could not be written, or of a reader that has gone; 0 as long as all is well.
    int Error() const;

    /// Waits until all is written, at most `patience`. Returns how many texts are left.
    std::size_t Finish(Millis patience);

private:
    void Run();
    void AwaitText(std::unique_lock<std::mutex>& lock);
    void WriteFirst(std::unique_lock<std::mutex>& lock);
    int WriteOut(const std::string& text) const;

    const int m_descriptor;
    const std::size_t m_mostBytes;
    mutable std::mutex m_mutex;  // for the four below
    std::condition_variable m_changed;
    std::deque<std::string> m_waiting;  ///< the first is being written
    std::size_t m_bytes = 0;
    int m_error = 0;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

}  // namespace collector
