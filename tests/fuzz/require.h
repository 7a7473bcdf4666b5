#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the fuzzing program with its input if the promise is broken.
inline void require(bool promise, const char* text) {
    if (!promise) {
        std::fprintf(stderr, "broken promise: %s\n", text);
        std::abort();
    }
}
