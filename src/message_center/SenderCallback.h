#pragma once

#include <atomic>
#include <cstddef>
#include <string>

// What every receiver of a sender's callbacks does alike.

namespace Bas {

enum class CallbackKind { Status, Data, Ignored };

/// Logs a callback of the sender `name` and says what it carries.
CallbackKind ReadCallback(const std::string& name, int cmd, int msgType, int code, std::size_t len);

/// Follows the connection that a status callback tells of, and logs it. A code that is neither "connected"
/// nor "disconnected" changes nothing.
void FollowConnection(std::atomic<bool>& connected, const std::string& name, int code,
                      const unsigned char* data, std::size_t len);

/// The `len` bytes at `data`; empty when `data` is null.
std::string TextOf(const unsigned char* data, std::size_t len);

}  // namespace Bas
