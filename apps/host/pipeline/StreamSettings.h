#pragma once

#include <chrono>
#include <string>

#include "host/pipeline/StreamFeed.h"

namespace host {

struct StreamSettings {
    int width = 640;      ///< even, 16 to 3840
    int height = 360;     ///< even, 16 to 2160
    int fps = 30;         ///< 1 to 120
    int videoKbps = 800;  ///< 16 to 100 000, in thousands of bits per second
    int audioKbps = 64;   ///< 16 to 320

    std::string publishUrl;  ///< udp://HOST:PORT (MPEG-TS) or rtmp://HOST[:PORT]/APP/KEY
    std::string inputFile;   ///< played in a loop; empty: a moving test picture and a tone

    /// Processor time burnt for each picture before it is encoded, in percent of the time between two
    /// pictures (0 to 10 000). Above 100 the encoder cannot keep up, and frames are lost.
    int loadPercent = 0;

    /// How long the publish address may take to answer, and how long one write may be stuck.
    std::chrono::milliseconds answerTimeout{5000};
};

/// What is wrong with the numbers of `settings`, for the user to read; empty when nothing is.
std::string WhyUnusable(const StreamSettings& settings);

/// The facts that the settings alone give.
StreamFacts FactsOf(const StreamSettings& settings);

}  // namespace host
