#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "base/Sync.h"
#include "host/pipeline/StreamFeed.h"
#include "support/Eventually.h"

namespace host {

struct FeedTally {
    int captured = 0;
    int lost = 0;
    int encoded = 0;
    int sent = 0;
    std::int64_t bytesEncoded = 0;
    std::int64_t bytesSent = 0;
};

struct FeedRecord {
    FeedTally video;
    FeedTally audio;
    std::vector<std::string> steps;  ///< everything but the frames, in order
    std::int64_t requestedMs = 0;
    std::string requestedUrl;
    std::int64_t answeredMs = 0;
    std::int64_t firstSentMs = 0;
    std::int64_t endedMs = 0;
    StreamFacts facts;
    EndCode code = EndCode::Stopped;
    std::string reason;
};

/// Remembers what a pipeline reports.
class RecordingFeed : public StreamFeed {
public:
    FeedRecord Read() const {
        qolive::MutexLock lock(m_mutex);
        return m_record;
    }

    /// False when `reached` does not come true in time.
    bool WaitFor(const std::function<bool(const FeedRecord&)>& reached,
                 std::chrono::milliseconds limit = support::kPatience) const {
        return support::Eventually([&] { return reached(Read()); }, limit);
    }
    bool WaitForEnd() const {
        return WaitFor([](const FeedRecord& record) { return record.endedMs != 0; });
    }
    bool WaitForPictures(int count) const {
        return WaitFor([count](const FeedRecord& record) { return record.video.sent >= count; });
    }

    void OnPublishRequested(std::int64_t nowMs, const StreamFacts& facts) override {
        qolive::MutexLock lock(m_mutex);
        m_record.steps.emplace_back("requested");
        m_record.requestedMs = nowMs;
        m_record.requestedUrl = facts.url;
    }
    void OnPublishAnswered(std::int64_t nowMs, const StreamFacts& facts) override {
        qolive::MutexLock lock(m_mutex);
        m_record.steps.emplace_back("answered");
        m_record.answeredMs = nowMs;
        m_record.facts = facts;
    }
    void OnFirstPacketSent(std::int64_t nowMs) override {
        qolive::MutexLock lock(m_mutex);
        m_record.steps.emplace_back("first packet");
        m_record.firstSentMs = nowMs;
    }
    void OnCaptured(MediaKind kind) override {
        qolive::MutexLock lock(m_mutex);
        ++Tally(kind).captured;
    }
    void OnLost(MediaKind kind) override {
        qolive::MutexLock lock(m_mutex);
        ++Tally(kind).lost;
    }
    void OnEncoded(MediaKind kind, std::size_t bytes) override {
        qolive::MutexLock lock(m_mutex);
        ++Tally(kind).encoded;
        Tally(kind).bytesEncoded += static_cast<std::int64_t>(bytes);
    }
    void OnSent(MediaKind kind, std::size_t bytes) override {
        qolive::MutexLock lock(m_mutex);
        ++Tally(kind).sent;
        Tally(kind).bytesSent += static_cast<std::int64_t>(bytes);
    }
    void OnEnded(std::int64_t nowMs, EndCode code, const std::string& reason) override {
        qolive::MutexLock lock(m_mutex);
        m_record.steps.emplace_back("ended");
        m_record.endedMs = nowMs;
        m_record.code = code;
        m_record.reason = reason;
    }

private:
    FeedTally& Tally(MediaKind kind) QOLIVE_REQUIRES(m_mutex) {
        return kind == MediaKind::Video ? m_record.video : m_record.audio;
    }

    mutable qolive::Mutex m_mutex;
    FeedRecord m_record QOLIVE_GUARDED_BY(m_mutex);
};

}  // namespace host
