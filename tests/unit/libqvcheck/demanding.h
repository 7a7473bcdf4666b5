#pragma once

#include "libqvcheck/judge.h"

/// What -i demands.
inline demands_t demandingStream(std::uint32_t id) {
    demands_t demands;
    demands.ids = {id};
    return demands;
}

/// What -e demands.
inline demands_t demandingErrors(std::uint32_t period) {
    demands_t demands;
    demands.errorPeriod = period;
    return demands;
}
