#pragma once

#include "libqvcheck/receivedframe.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// The names of the interfaces of a run, in the order in which they were seen. At most 255; further names
/// share the last index.
class InterfaceTable {
public:
    /// The index of `name`, which is added if it is new.
    std::uint8_t indexOf(std::string_view name);

    const std::string& name(std::uint8_t index) const { return names[index]; }
    std::size_t size() const { return names.size(); }

private:
    std::vector<std::string> names;
};

/// Where frames come from.
class FrameSource {
public:
    FrameSource() = default;
    virtual ~FrameSource() = default;
    FrameSource(const FrameSource&) = delete;
    FrameSource& operator=(const FrameSource&) = delete;

    /// Reads at most `n` (1 or more) frames and returns their number. 0: end of a recording, or nothing
    /// available now.
    virtual std::size_t read(receivedFrame_t* frames, std::size_t n) = 0;
};
