#pragma once

#include <string>
#include <vector>

// Hosts as people write them, and their addresses as literals in the usual notation, an IPv6 scope included
// (fe80::1%2).

namespace qolive {

/// Whether `host` can be a name or a literal address at all: not empty, not over 255 bytes, no zero byte.
bool IsPossibleHost(const std::string& host);

/// `host` in its usual notation if it is a literal IPv4 or IPv6 address, else empty. An IPv6 address may be
/// written without colons as well, the way Windows does in names of shares: 2001-db8--1.ipv6-literal.net,
/// with "s" for the "%" before a scope. Never blocks.
std::string AsLiteralAddress(const std::string& host);

/// True when `literal`, in its usual notation, never leaves this machine.
bool IsLoopbackAddress(const std::string& literal);

/// The addresses that the system finds for a name, best first and at most 16; none when there are none.
/// Blocks as long as the system's resolver likes.
std::vector<std::string> ResolveHost(const std::string& name);

}  // namespace qolive
