#pragma once

#include <cstddef>
#include <string>

/// What a reader of trace records skipped and has not reported yet.
struct passedOver_t {
    std::size_t bytes = 0;   ///< in no sound record
    std::size_t unknown = 0; ///< records of an unregistered kind
    std::size_t invalid = 0; ///< records whose body is invalid for their kind
    std::size_t cutOff = 0;  ///< bytes of a record cut off by the end of input

    bool any() const { return bytes + unknown + invalid + cutOff > 0; }

    /// One line without a line end.
    std::string text() const;
};
