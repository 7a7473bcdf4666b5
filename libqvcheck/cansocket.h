#pragma once

#include <cstdint>
#include <string>

/// The name for all CAN interfaces of the host.
inline const char* const anyInterface = "any";

/// Requested receive buffer in bytes. The kernel doubles it: half is meant for its own overhead.
inline constexpr int receiveBufferBytes = 8 * 1024 * 1024;

/// Opens a raw CAN socket that listens to `name` (`anyInterface`: to all interfaces): CAN FD and all error
/// frames, with kernel time stamps, drop counts, and the largest receive buffer available. Returns it,
/// non-blocking and owned by the caller, or -1 with errno set.
int openCanSocket(const std::string& name);

/// Binds `fd` to the interface that has the name now. Queued frames and the drop count are kept. Returns 0,
/// or -1 with errno set.
int bindCanSocket(int fd, const std::string& name);

/// The size of the socket's receive buffer as the kernel counts it, in bytes; 0 if unavailable.
std::uint32_t receiveBufferOf(int fd);

/// How many frames the socket's receive buffer dropped since the socket was opened, modulo 2^32; `fallback`
/// if unavailable.
std::uint32_t droppedBy(int fd, std::uint32_t fallback);
