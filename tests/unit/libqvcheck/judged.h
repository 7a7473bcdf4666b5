#pragma once

#include "libqvcheck/judge.h"
#include "tests/unit/libqvcheck/patternframe.h"

#include <utility>
#include <vector>

#include <gtest/gtest.h>

/// The stream of a run that must have had one.
inline streamSummary_t only(const summary_t& s) {
    EXPECT_EQ(s.streams.size(), 1U);
    return s.streams.empty() ? streamSummary_t{} : s.streams[0];
}

/// A judge that remembers what it was told, and what it said.
class Judged : public FindingSink, public FrameWatcher {
public:
    struct frame_t {
        taken_t taken;
        std::uint16_t stream;
        std::uint32_t counter;
    };

    explicit Judged(demands_t demands = {}, LossBlame* blame = nullptr)
        : judge(std::move(demands), *this, blame) {
        judge.watch(this);
    }

    /// One millisecond behind the last one, unless `time` says when.
    Judged& see(receivedFrame_t f) {
        time += millisecond;
        f.time = time;
        judge.judge(f);
        return *this;
    }
    Judged& see(const patternSender_t& sender, std::uint32_t from, std::uint32_t to) {
        for (std::uint32_t k = from; k < to; ++k) {
            see(sender.seen(sender.frame(k)));
        }
        return *this;
    }
    Judged& seeInjected(const patternSender_t& sender, std::uint32_t from, std::uint32_t to,
                        std::uint32_t period) {
        for (std::uint32_t k = from; k < to; ++k) {
            see(sender.seen(sender.injected(k, period)));
        }
        return *this;
    }
    Judged& pause(std::int64_t ns) {
        time += ns;
        return *this;
    }

    summary_t end() {
        judge.finish();
        return judge.summary();
    }

    std::uint64_t found(findingKind_t kind) const {
        std::uint64_t n = 0;
        for (const finding_t& f : findings) {
            n += f.kind == kind ? f.count : 0;
        }
        return n;
    }
    const finding_t& first(findingKind_t kind) const {
        static const finding_t none{};
        for (const finding_t& f : findings) {
            if (f.kind == kind) {
                return f;
            }
        }
        return none;
    }

    void finding(const finding_t& f) override { findings.push_back(f); }
    void stream(const streamSummary_t& s, std::int64_t) override { streams.push_back(s); }
    void frame(const receivedFrame_t&, taken_t taken, std::uint16_t stream, std::uint32_t counter) override {
        frames.push_back({taken, stream, counter});
    }

    static constexpr std::int64_t millisecond = 1000000;

    Judge judge;
    std::int64_t time = 0;
    std::vector<finding_t> findings;
    std::vector<streamSummary_t> streams;
    std::vector<frame_t> frames;
};
