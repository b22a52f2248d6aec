#pragma once

#include <chrono>
#include <string>

/// Sends one ICMP echo request to a literal address and waits for its answer until the deadline. False, with
/// `rttMs` left as it was, when there is none or the request cannot be sent (then at once). One
/// implementation per system.
bool SendEcho(const std::string& literal, std::chrono::steady_clock::time_point deadline, int& rttMs);
