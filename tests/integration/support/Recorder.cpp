#include "integration/support/Recorder.h"

#include <algorithm>

#include "support/Eventually.h"

namespace support {

void Recorder::callback(void* user, int msgType, int code, const unsigned char* data, std::size_t len) {
    auto* const self = static_cast<Recorder*>(user);
    const Event event{msgType, code, std::string(reinterpret_cast<const char*>(data), len)};
    {
        const std::lock_guard<std::mutex> lock(self->m_mutex);
        self->m_events.push_back(event);
        self->m_changed.notify_all();
    }
    if (self->then) self->then(event);
}

std::vector<Recorder::Event> Recorder::events() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_events;
}

std::size_t Recorder::count(int msgType, int code) const {
    const std::vector<Event> all = events();
    return static_cast<std::size_t>(std::count_if(all.begin(), all.end(), [&](const Event& event) {
        return event.msgType == msgType && event.code == code;
    }));
}

std::string Recorder::last(int msgType, int code) const {
    std::string data;
    for (const Event& event : events())
        if (event.msgType == msgType && event.code == code) data = event.data;
    return data;
}

std::vector<std::string> Recorder::packets() const {
    std::vector<std::string> packets;
    for (const Event& event : events())
        if (event.msgType == 1) packets.push_back(event.data);
    return packets;
}

bool Recorder::waitFor(int msgType, int code, std::size_t wanted) const {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    std::unique_lock<std::mutex> lock(m_mutex);
    const auto enough = [&] {
        const auto found = std::count_if(m_events.begin(), m_events.end(), [&](const Event& event) {
            return event.msgType == msgType && event.code == code;
        });
        return static_cast<std::size_t>(found) >= wanted;
    };
    return m_changed.wait_until(lock, end, enough);
}

}  // namespace support
