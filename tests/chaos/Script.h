#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "chaos/History.h"

namespace chaos {

/// What a server does beside what an honest one would.
class Script {
public:
    enum class End { Close, Reset, GoOn };

    virtual ~Script() = default;

    /// The next shot at `moment`; none: the honest answer follows.
    virtual std::optional<Shot> next(Moment moment, const Scene& scene) = 0;

    /// What follows the last shot at `moment`.
    virtual End endAfter(Moment moment) = 0;

    /// How long the client may take after that.
    virtual int patienceMs() = 0;

    /// True when the connection is to stay for as long as the client wants it.
    virtual bool lasts() const { return false; }
};

/// All of it chosen by `seed`.
std::unique_ptr<Script> RandomScript(std::uint64_t seed);

/// The shots of one recorded conversation.
std::unique_ptr<Script> RecordedScript(std::vector<Sent> sent);

/// Nothing but honest answers, without end.
std::unique_ptr<Script> HonestScript();

}  // namespace chaos
