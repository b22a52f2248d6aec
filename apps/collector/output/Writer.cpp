#include "collector/output/Writer.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <utility>

namespace collector {
namespace {

constexpr int kGlanceMs = 100;

// What `descriptor` is ready for, of `events` and of what is always told.
short Ready(int descriptor, short events, int waitMs) {
    pollfd watched{descriptor, events, 0};
    return poll(&watched, 1, waitMs) > 0 ? watched.revents : short{0};
}

}  // namespace

Writer::Writer(int descriptor, std::size_t mostBytes)
    : m_descriptor(descriptor), m_mostBytes(mostBytes), m_thread([this] { Run(); }) {}

Writer::~Writer() {
    m_stop = true;
    m_changed.notify_all();
    m_thread.join();
}

bool Writer::Write(std::string text) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_bytes + text.size() > m_mostBytes) return false;
    m_bytes += text.size();
    m_waiting.push_back(std::move(text));
    m_changed.notify_all();
    return true;
}

bool Writer::IsRelieved() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_bytes <= m_mostBytes / 2;
}

int Writer::Error() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_error;
}

std::size_t Writer::Finish(Millis patience) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait_for(lock, std::chrono::milliseconds(patience),
                       [this] { return m_waiting.empty() || m_error != 0; });
    return m_waiting.size();
}

void Writer::Run() {
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_stop && m_error == 0) {
        if (m_waiting.empty())
            AwaitText(lock);
        else
            WriteFirst(lock);
        m_changed.notify_all();
    }
}

// Looks now and then whether there is a reader at all: else its end would show with the next text only.
void Writer::AwaitText(std::unique_lock<std::mutex>& lock) {
    m_changed.wait_for(lock, std::chrono::milliseconds(kGlanceMs),
                       [this] { return m_stop || !m_waiting.empty(); });
    if ((Ready(m_descriptor, 0, 0) & POLLERR) != 0) m_error = EPIPE;
}

// The text stays where it is while it is written: only this thread takes it away.
void Writer::WriteFirst(std::unique_lock<std::mutex>& lock) {
    const std::string& text = m_waiting.front();
    lock.unlock();
    const int error = WriteOut(text);
    lock.lock();
    m_error = error;
    if (error != 0 || m_stop) return;
    m_bytes -= text.size();
    m_waiting.pop_front();
}

// A pipe that is ready takes so much at once; one that is not must not hold this thread when it is to end.
int Writer::WriteOut(const std::string& text) const {
    std::size_t written = 0;
    while (written < text.size() && !m_stop) {
        if (Ready(m_descriptor, POLLOUT, kGlanceMs) == 0) continue;
        const std::size_t size = std::min<std::size_t>(text.size() - written, PIPE_BUF);
        const ssize_t result = write(m_descriptor, text.data() + written, size);
        if (result >= 0)
            written += static_cast<std::size_t>(result);
        else if (errno != EINTR && errno != EAGAIN)
            return errno;
    }
    return 0;
}

}  // namespace collector
