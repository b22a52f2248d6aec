#pragma once

#include <atomic>
#include <mutex>
#include <thread>

// How the library calls a function that its host has set: at any time, from any thread, and never again once
// the host has taken it away.

/// One call of a function of the host's, counted in `calls` from before it begins until it has ended.
struct SinkCall {
    void (*sink)(void* user, int number, const char* text);
    void* user;
    int number;
    std::atomic<int>* calls;
};

/// Makes the call with `text` on this thread or, where a thread of the library must not enter the host's
/// code, on another one. Returns when the call has ended, or once the host's sinks have been left for good.
/// While it is inside, IsInLogSink is true for the thread that makes the call.
void DeliverLine(const SinkCall& call, const char* text);

/// To be called when the process ends: from here on nothing goes to a function of the host any more, whose
/// runtime may be gone, and nobody waits for a line that is on its way. Does not wait.
void LeaveHostSink();

/// Whether LeaveHostSink was called.
bool HasLeftHostSink();

/// Whether the calling thread is inside a log sink, or another function that the host has set, right now. (Of
/// the sink of a log that has taken the place of ours nothing is known.)
bool IsInLogSink();

/// Holds a function that the host may set and replace. To be a static object: it is trivially destructible,
/// so that threads which outlive the static objects of the process can still use it.
template <class Function>
class HostSink {
public:
    struct Registration {
        Function function;
        void* user;
        std::atomic<int> calls;
    };

    /// `usual` is in force while the host has set none.
    constexpr explicit HostSink(Function usual) : m_usual{usual, nullptr, {0}} {}

    /// Puts `function` in force; null for the usual one. When it returns, no thread is inside the previous
    /// one and none enters it, so it blocks while a call of that one runs.
    void set(Function function, void* user) {
        const std::lock_guard<std::mutex> lock(m_change);
        Registration* const previous = m_current.load();
        Registration* next = &m_usual;
        if (function) {
            next = previous == &m_hosts[0] ? &m_hosts[1] : &m_hosts[0];
            next->function = function;
            next->user = user;
        }
        m_current.store(next);
        while (previous != next && previous->calls.load() != 0)
            std::this_thread::yield();
    }

    /// What is in force, with one call counted in.
    Registration* enter() {
        for (;;) {
            Registration* const registration = m_current.load();
            registration->calls.fetch_add(1);
            if (registration == m_current.load()) return registration;
            registration->calls.fetch_sub(1);
        }
    }

private:
    // A registration is used again but never freed: a thread may count itself into one that has just been
    // replaced, before it looks again and leaves it alone.
    Registration m_usual;
    Registration m_hosts[2]{};
    std::atomic<Registration*> m_current{&m_usual};
    std::mutex m_change;
};
