#pragma once

#include <cstdint>
#include <string_view>

/// Frames that the host's kernel dropped between its drivers and its protocols since it was started, on all
/// interfaces and processors, as the text of /proc/net/softnet_stat tells: a line of hexadecimal columns for
/// each processor, the second of which is this one.
std::uint64_t softnetDrops(std::string_view text);

/// The same of the running kernel; 0 when it does not tell.
std::uint64_t softnetDrops();
