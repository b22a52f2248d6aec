#pragma once

namespace support {

/// The memory of this process that is in the machine's, in KiB.
long ResidentKiB();

/// Sanitizers keep what is freed: what is resident says nothing there.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kResidentTells = false;
#else
inline constexpr bool kResidentTells = true;
#endif

}  // namespace support
