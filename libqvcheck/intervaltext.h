#pragma once

#include "libqvcheck/summary.h"

#include <string>

/// The line of an interval, without its line end.
std::string intervalText(const intervalSummary_t& piece);
