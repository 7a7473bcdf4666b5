// Every short sequence of a few frames, against the definitions applied to all pairs of frames.

#include "libqvcheck/basicjudge.h"
#include "libqvcheck/limits.h"
#include "tests/unit/libqvcheck/nosink.h"
#include "tests/unit/libqvcheck/patternframe.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

struct smallLimits_t : limits_t {
    static constexpr std::uint32_t window = 8;
    static constexpr std::uint32_t near = 6;
    static constexpr std::uint32_t chain = 8; // no sequence is long enough to be a stream that went back
    static constexpr std::uint32_t heldCapacity = 8;
    static constexpr std::uint32_t streams = 2;
};

struct reference_t {
    totals_t totals = {};
    std::uint64_t maxExtent = 0;
};

using sequence_t = std::vector<std::uint32_t>;

bool cameBefore(const sequence_t& sequence, std::size_t end, std::uint32_t frame) {
    for (std::size_t i = 0; i < end; ++i) {
        if (sequence[i] == frame) {
            return true;
        }
    }
    return false;
}

/// RFC 4737: first arrivals since the earliest one with a higher number; 0 when there is none.
std::uint64_t extentOf(const sequence_t& sequence, std::size_t at) {
    std::uint64_t extent = 0;
    for (std::size_t i = 0; i < at; ++i) {
        const bool first = !cameBefore(sequence, i, sequence[i]);
        extent += first && (extent > 0 || sequence[i] > sequence[at]) ? 1U : 0U;
    }
    return extent;
}

/// `hurt`: index of the damaged frame; beyond the end for none.
reference_t refer(const sequence_t& sequence, std::size_t hurt) {
    reference_t r;
    std::uint32_t highest = 0;
    for (std::size_t i = 0; i < sequence.size(); ++i) {
        highest = std::max(highest, sequence[i]);
        if (cameBefore(sequence, i, sequence[i])) {
            ++(i == hurt ? r.totals.corruptedRepeats : r.totals.repeated);
            continue;
        }
        ++(i == hurt ? r.totals.corrupted : r.totals.intact);
        const std::uint64_t extent = extentOf(sequence, i);
        r.totals.reordered += extent > 0 ? 1U : 0U;
        r.maxExtent = std::max(r.maxExtent, extent);
    }
    r.totals.expected = highest + 1;
    r.totals.lost = r.totals.expected - r.totals.intact - r.totals.corrupted;
    return r;
}

class Case {
public:
    Case(const sequence_t& _sequence, std::size_t _hurt) : sequence(_sequence), hurt(_hurt) {}

    std::string difference() {
        NoSink sink;
        demands_t demands;
        demands.ids = {0x10};
        BasicJudge<smallLimits_t> judge(demands, sink, nullptr);
        const patternSender_t sender = {0x10};
        for (std::size_t i = 0; i < sequence.size(); ++i) {
            receivedFrame_t frame = sender.frame(sequence[i], static_cast<std::int64_t>(i) * 1000000);
            frame.data[6] ^= i == hurt ? 0x20 : 0;
            judge.judge(frame);
            const totals_t t = judge.totals();
            identities = identities && t.expected == t.intact + t.corrupted + t.lost + t.open;
        }
        judge.finish();
        return compare(judge.summary());
    }

private:
    std::string compare(const summary_t& s) const {
        if (s.streams.size() != 1 || !identities) {
            return "no stream, or counts that do not add up";
        }
        const reference_t r = refer(sequence, hurt);
        const totals_t& t = s.streams[0].totals;
        std::string text;
        const auto check = [&text](const char* what, std::uint64_t got, std::uint64_t wanted) {
            if (got != wanted) {
                text += std::string(" ") + what + " " + std::to_string(got) + " instead of " +
                        std::to_string(wanted);
            }
        };
        check("expected", t.expected, r.totals.expected);
        check("intact", t.intact, r.totals.intact);
        check("corrupted", t.corrupted, r.totals.corrupted);
        check("lost", t.lost, r.totals.lost);
        check("repeated", t.repeated, r.totals.repeated);
        check("corrupted repeats", t.corruptedRepeats, r.totals.corruptedRepeats);
        check("reordered", t.reordered, r.totals.reordered);
        check("extent", s.streams[0].maxExtent, r.maxExtent);
        return text;
    }

    const sequence_t& sequence;
    std::size_t hurt;
    bool identities = true;
};

/// Calls `look` with every sequence of 1 to `most` frames out of 0 to 4.
template<typename Look>
void everySequence(std::size_t most, Look look) {
    sequence_t sequence;
    const auto extend = [&](const auto& self) -> void {
        if (!sequence.empty()) {
            look(sequence);
        }
        for (std::uint32_t frame = 0; sequence.size() < most && frame < 5; ++frame) {
            sequence.push_back(frame);
            self(self);
            sequence.pop_back();
        }
    };
    extend(extend);
}

std::string shown(const sequence_t& sequence) {
    std::string text;
    for (const std::uint32_t frame : sequence) {
        text += std::to_string(frame) + " ";
    }
    return text;
}

constexpr std::size_t longest = QV_SIMULATED_RUNS >= 300 ? 7 : 5;

TEST(SmallCases, AreCountedAsTheDefinitionsSay) {
    std::size_t cases = 0;
    everySequence(longest, [&](const sequence_t& sequence) {
        ++cases;
        const std::string difference = Case(sequence, sequence.size()).difference();
        ASSERT_TRUE(difference.empty()) << shown(sequence) << difference;
    });
    EXPECT_EQ(cases, longest == 7 ? 97655U : 3905U);
}

TEST(SmallCases, WithOneDamagedFrameAreCountedAsTheDefinitionsSay) {
    everySequence(5, [](const sequence_t& sequence) {
        for (std::size_t hurt = 1; hurt < sequence.size(); ++hurt) { // the first founds the stream
            const std::string difference = Case(sequence, hurt).difference();
            ASSERT_TRUE(difference.empty()) << shown(sequence) << "with " << hurt << " damaged" << difference;
        }
    });
}

} // namespace
