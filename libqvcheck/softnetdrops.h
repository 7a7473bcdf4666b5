#pragma once

#include <cstdint>
#include <string_view>

/// Frames that the host's kernel dropped between its drivers and its protocols since boot, on all interfaces
/// and processors, from the text of /proc/net/softnet_stat: one line of hexadecimal columns per processor,
/// the second of which is this count.
std::uint64_t softnetDrops(std::string_view text);

/// The same for the running kernel; 0 if unavailable.
std::uint64_t softnetDrops();
