#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

// The message-center library: long-lived connections to groups of servers, and senders on them.
//
// What every implementation promises, and the rest of the library leans on:
//
//  1. `start` returns at once: true when there is at least one usable address and the network thread runs,
//     false with one log line otherwise. Nothing but the network thread ever waits for the network, name
//     look-ups included, and nothing that one center waits for delays another. An address that swallows
//     packets holds up the next one for at most 5 s, a server that leaves a subscription unanswered for 10 s.
//  2. `stop` returns within 1 s whatever the connection is doing; senders survive it and come alive again
//     with the next `start`.
//  3. `send` is safe from any thread, never blocks, and is false when not connected, closed, or when 4 MiB or
//     4096 messages of the sender's lane (promise 7) are unacknowledged. When a connection is lost, it
//     accepts until the sender has been told so and that callback has returned: what is handed over meanwhile
//     is kept for the next connection. Accepted messages are sent again after a reconnect (the server keeps
//     the session for 10 minutes), so a server can see one twice.
//  4. A message that can never go (larger than the server's limit, a head that is not UTF-8 or over 64 KiB)
//     is logged and dropped, and `send` returns true: one bad message must not stop those behind it.
//  5. `closeSender` returns only after a callback of that sender that is running has ended (unless called
//     from inside it), and none comes after it; so does one that finds the command closed already. No lock of
//     the center is held during a callback. A closed sender's object stays valid until its center goes: its
//     `send` is false, and the next `createSender` of the command gives the same object again. A pointer from
//     before is then the new owner's sender as well.
//  6. Nothing that a server sends ends, holds or grows the process. A packet of more than 64 KiB ends the
//     connection at its length field.
//  7. Heartbeats (command 2), commands (4) and everything else have a lane each, in that order: the first two
//     never wait behind the others, and as many bytes of the others are on their way as the link carries well
//     within 3 s. Within a lane the order is kept. A heartbeat that could not leave for 3 s is dropped, and
//     so are those of before a reconnect while their sender is open; status 1 is told (again) then, so that
//     the next one can be a full one.

namespace QoPlayer {

/// One server address.
struct MsgCenterAddr {
    std::string ip = "0.0.0.0";  ///< host name or literal address
    std::int32_t port = -1;      ///< 1 to 65535; anything else is unusable
    std::int32_t reserved = 0;   ///< always 0
};

/// What a center is started with. The caller fills it, and may refill or destroy it as soon as `start` has
/// returned.
struct MsgCenterConfig {
    MsgCenterConfig();
    ~MsgCenterConfig();  ///< releases the array that `addrs` points to
    MsgCenterConfig(const MsgCenterConfig&) = delete;
    MsgCenterConfig& operator=(const MsgCenterConfig&) = delete;

    /// The servers: an array made by array-new, owned from the moment it is stored here; may be null.
    MsgCenterAddr* addrs = nullptr;
    std::uint32_t addrCount = 0;  ///< entries in `addrs`

    // The six pass-through values: Bas::HeartBaseConfig tells what they mean.
    std::int32_t intValue1 = 0;
    std::int32_t intValue2 = 0;
    std::int64_t int64Value1 = 0;
    std::int64_t int64Value2 = 0;
    std::string textValue1;
    std::string textValue2;

    std::string accessToken;      ///< secret: never logged
    std::int64_t expireTime = 0;  ///< of `accessToken`, seconds since 1970-01-01 UTC; 0 = never
};

/// What a sender calls for everything that arrives for it. `user` is the pointer given to `createSender`;
/// `data` holds exactly `len` bytes, is not terminated and is valid during the call only.
///
/// | `msgType` | meaning               | `code`                      | `data`                |
/// |-----------|-----------------------|-----------------------------|-----------------------|
/// | 0         | status of the link    | 1 connected, 0 disconnected | text for a person     |
/// | 1         | data from the server  | 0                           | the payload           |
/// | 2, 3      | other notices         | -                           | -                     |
///
/// Called on the center's network thread, one call at a time per center; a callback that blocks delays that
/// center.
using MsgSenderCallback = void (*)(void* user, int msgType, int code, const unsigned char* data,
                                   std::size_t len);

constexpr int kStatusMessage = 0;
constexpr int kDataMessage = 1;
constexpr int kDisconnectedCode = 0;
constexpr int kConnectedCode = 1;

/// One logical channel on a center, identified there by its command number. Made and owned by its center.
class MsgSender {
public:
    struct Impl;
    explicit MsgSender(std::unique_ptr<Impl> impl);
    ~MsgSender();
    MsgSender(const MsgSender&) = delete;
    MsgSender& operator=(const MsgSender&) = delete;

    /// Hands one message over; true when it was accepted (promises 3 and 4). `head` travels beside the body
    /// and may be null. Both are only read during the call. Any thread; never blocks. False after
    /// `closeSender` of the command (promise 5).
    bool send(const std::uint8_t* data, std::size_t len, const std::uint8_t* head, int headLen);

private:
    std::unique_ptr<Impl> m_impl;
};

/// One set of long connections to one group of servers. Idle until started; can be stopped and started any
/// number of times. `start` and `stop` must not run at the same time; everything else may be called from any
/// thread at any time.
class MsgCenter {
public:
    struct Impl;
    MsgCenter();
    explicit MsgCenter(std::unique_ptr<Impl> impl);  ///< for the implementation itself: its tests
    ~MsgCenter();  ///< stops the center as `stop` does and releases its senders
    MsgCenter(const MsgCenter&) = delete;
    MsgCenter& operator=(const MsgCenter&) = delete;

    /// Connects to the servers of `config` in the background (promise 1). On a started center it returns
    /// false and changes nothing. Does not block.
    bool start(const MsgCenterConfig& config);

    /// Closes the connection; each sender that was told of it is told of its end. Blocks for at most 1 s
    /// (promise 2). Not to be called from a callback.
    void stop();

    /// Opens the sender of command `cmd`, whether the center is started or not. Null when `cb` is null or the
    /// command already has an open sender. The center owns the result, which lives as long as the center
    /// (promise 5). When the connection is up, the new sender is told so (status 1) from the network thread.
    /// Does not block.
    MsgSender* createSender(int cmd, MsgSenderCallback cb, void* user);

    /// Closes the sender of `cmd` (promise 5), whoever opened it; nothing when none is open. Blocks while a
    /// callback of that sender runs.
    void closeSender(int cmd);

private:
    friend class MsgCenterWatch;

    std::unique_ptr<Impl> m_impl;
};

/// Sets the process-wide receiver of the message-center library's own log lines, null for none. `text2` is
/// the line, which begins with its severity ("info: ", "warning: ", "error: "), because a receiver may leave
/// `level` alone; `text1` names its origin; both are terminated by a zero byte. Called on any thread of the
/// library; set it before the first center is made.
void SetLogPtr(void (*sink)(int level, const char* text1, const char* text2));

}  // namespace QoPlayer
