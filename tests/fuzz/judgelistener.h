#pragma once

#include "libqvcheck/judge.h"
#include "tests/fuzz/require.h"

#include <array>
#include <cstdint>

/// What the judge says, kept without memory of its own.
class Listener : public FindingSink, public FrameWatcher {
public:
    void finding(const finding_t& f) override {
        require(f.kind < FK_NUM && f.count > 0, "a finding is one");
        require(f.stream <= named, "a finding's stream has a name");
        std::uint64_t overrun = 0;
        for (std::size_t cause = 0; cause < f.causes.size(); ++cause) {
            overrun += isOverrun(static_cast<lossCause_t>(cause)) ? f.causes[cause] : 0;
        }
        found[f.kind] += f.count - overrun;
        found[FK_OVERRUN] += overrun;
    }
    void stream(const streamSummary_t& s, std::int64_t) override {
        require(s.number == ++named, "streams are numbered as they come");
    }
    void frame(const receivedFrame_t&, taken_t t, std::uint16_t s, std::uint32_t) override {
        require(s <= named, "a frame's stream has a name");
        ++taken[t];
        ++frames;
    }

    std::uint16_t named = 0;
    std::array<std::uint64_t, FK_NUM> found = {};
    std::array<std::uint64_t, FT_XL + 1> taken = {};
    std::uint64_t frames = 0;
};

/// A number of these is compared as one.
inline constexpr std::uint64_t totals_t::*summed[] = {
    &totals_t::expected, &totals_t::intact,    &totals_t::corrupted, &totals_t::lost,
    &totals_t::repeated, &totals_t::reordered, &totals_t::overtaken, &totals_t::corruptedRepeats,
    &totals_t::late,     &totals_t::stray,     &totals_t::injected,  &totals_t::overrun,
};
