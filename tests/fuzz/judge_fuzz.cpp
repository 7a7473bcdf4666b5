// Any frames at any time for the judge of the test pattern. Its counts must add up after every step, its
// findings and its intervals must add up to its summary, and it asks for memory only when a stream is born.
// Another judge takes the same frames in batches, and must find the same.
//
// An input: five bytes of demands, then steps: a byte that says what happens to which sender, and what that
// needs.

#include "libqvcheck/basicjudge.h"
#include "tests/fakes/allocations.h"
#include "tests/fuzz/judgeinput.h"
#include "tests/fuzz/judgelistener.h"
#include "tests/fuzz/judgetwin.h"
#include "tests/unit/libqvcheck/patternframe.h"

#include <algorithm>
#include <array>
#include <memory>
#include <utility>

namespace {

template<typename Limits>
class Run {
public:
    explicit Run(Bytes& _bytes)
        : bytes(_bytes),
          demands(makeDemands(bytes)),
          judge(demands, said, nullptr),
          twin(demands) {
        judge.watch(&said);
        for (std::size_t i = 0; i < senders.size(); ++i) {
            senders[i].pattern.start = static_cast<std::uint32_t>(0x10 + 0x100 * i);
        }
    }

    void all() {
        while (!bytes.ended()) {
            step();
            check();
        }
        judge.finish();
        check();
        twin.check(judge.summary(), said);
        checkEnd();
    }

private:
    struct sender_t {
        patternSender_t pattern;
        std::uint32_t number = 0;
        std::uint8_t interface = 0;
        bool remote = false;
    };

    void step() {
        const std::uint8_t what = bytes.next();
        sender_t& s = senders[what % senders.size()];
        switch (what / senders.size() % 16) {
        case 0: return send(s, 1);
        case 1: return send(s, 3);
        case 2: return send(s, bytes.next());
        case 3: s.number += bytes.next() % 8U; return send(s, 1);
        case 4: s.number += bytes.next(); return;
        case 5: s.number -= bytes.next(); return;
        case 6: s.number = static_cast<std::uint32_t>(bytes.number(4)); return;
        case 7: return sendHurt(s);
        case 8: return sendInjected(s);
        case 9: stamp = later(bytes.time()); return;
        case 10: stamp = later(-bytes.time()); return;
        case 11: last.interface = bytes.next() % 4; return give(last);
        case 12: return sendAnything();
        case 13: return settle(later(bytes.time()));
        case 14: return takeInterval();
        default: return change(s);
        }
    }

    void settle(std::int64_t now) {
        judge.settle(now);
        twin.settle(now);
    }

    void change(sender_t& s) {
        const std::uint8_t kind = bytes.next();
        s.pattern.extended = (kind & 1) != 0;
        s.pattern.answer = (kind & 2) != 0;
        s.remote = (kind & 12) == 12;
        s.interface = kind >> 4 & 3;
        constexpr std::uint8_t lengths[] = {8, 64, 5, 4};
        s.pattern.length = lengths[kind >> 6];
        s.pattern.start = static_cast<std::uint32_t>(bytes.number(2));
    }

    receivedFrame_t nextOf(sender_t& s) {
        receivedFrame_t f = s.pattern.frame(s.number++);
        if (s.remote) {
            f.canId |= CAN_RTR_FLAG;
            f.length = 0;
        }
        f.interface = s.interface;
        return f;
    }

    void send(sender_t& s, unsigned int n) {
        for (; n > 0; --n) {
            give(s.pattern.seen(nextOf(s)));
        }
    }

    void sendHurt(sender_t& s) {
        receivedFrame_t f = s.pattern.seen(nextOf(s));
        const std::uint8_t where = bytes.next() % 80;
        const std::uint8_t how = bytes.next();
        if (where < 64) {
            f.data[where % 64] ^= how;
        } else if (where < 72) {
            f.canId ^= std::uint32_t{how} << (where - 64);
        } else {
            f.length = std::min(f.length, how);
        }
        give(f);
    }

    /// As the sender is told to.
    void sendInjected(sender_t& s) {
        const std::uint32_t period = std::max(1U, demands.errorPeriod);
        receivedFrame_t f = nextOf(s);
        const std::uint32_t index = (s.number / period - 1) % s.pattern.walked();
        f.data[index] = static_cast<std::uint8_t>(~f.data[index]);
        give(s.pattern.seen(f));
    }

    void sendAnything() {
        receivedFrame_t f{};
        f.canId = static_cast<std::uint32_t>(bytes.number(4));
        const std::uint8_t kind = bytes.next();
        f.fd = (kind & 1) != 0;
        f.xl = (kind & 6) == 6;
        f.own = (kind & 8) != 0;
        f.flags = (kind & 16) != 0 ? CANFD_BRS : 0;
        f.interface = kind >> 5 & 3;
        f.dropped = (kind & 128) != 0 ? bytes.next() : 0;
        f.length = std::min<std::uint8_t>(bytes.next() % 65, f.fd ? CANFD_MAX_DLEN : CAN_MAX_DLEN);
        for (std::uint8_t i = 0; i < f.length; ++i) {
            f.data[i] = bytes.next();
        }
        give(f);
    }

    std::int64_t later(std::int64_t by) const {
        return static_cast<std::int64_t>(static_cast<std::uint64_t>(stamp) + static_cast<std::uint64_t>(by));
    }

    void give(receivedFrame_t f) {
        stamp = later(1000000);
        f.time = stamp;
        last = f;
        const std::size_t count = allocations::count();
        const std::ptrdiff_t live = allocations::live();
        judge.judge(f);
        const bool asked = allocations::count() != count;
        blocks += allocations::live() - live;
        require(blocks <= static_cast<std::ptrdiff_t>(4 + 4 * Limits::streams), "memory is bounded");
        const bool known = std::exchange(seen[f.interface], true);
        require(!asked || isBirth() || !known, "nothing is asked for after a stream's birth");
        dropped += f.dropped;
        ++frames;
        require(judge.arrivals() == frames, "every frame is counted");
        twin.take(f);
    }

    /// There are more streams or pairs than when this was asked before.
    bool isBirth() {
        const std::uint64_t streams = std::exchange(knownStreams, judge.streams().births());
        const std::size_t pairs = std::exchange(knownPairs, judge.summary().pairs.size());
        return streams != knownStreams || pairs != knownPairs;
    }

    void takeInterval() {
        for (const intervalSummary_t& i : judge.interval()) {
            for (const auto member : summed) {
                require(static_cast<std::int64_t>(i.totals.*member) >= 0, "no interval takes anything back");
            }
            intervals.at(i.stream) += i.totals;
            gaps.at(i.stream) += i.gapCount;
            received.at(i.stream) += i.frames;
        }
    }

    void check() {
        const summary_t s = judge.summary();
        require(s.frames == frames && s.dropped == dropped, "every frame is counted");
        require(s.frames == s.pattern + s.foreign + s.tooShort + s.remote + s.errorFrames + s.xl +
                                s.furtherStreams + s.held,
                "a frame is one thing, or held");
        require(said.frames + s.held == s.frames, "every frame is told once, when it is decided");
        totals_t sum{};
        std::uint64_t pattern = 0;
        for (const streamSummary_t& stream : s.streams) {
            checkStream(stream.totals);
            sum += stream.totals;
            pattern += stream.totals.received();
        }
        require(pattern == s.pattern, "the frames of all streams are those of a pattern");
        const totals_t totals = judge.totals();
        for (const auto member : summed) {
            require(totals.*member == sum.*member, "totals are the sum over all streams");
        }
        require(s.streams.size() <= Limits::streams, "streams are bounded");
        checkFindings(s);
        knownStreams = judge.streams().births();
        knownPairs = s.pairs.size();
    }

    static void checkStream(const totals_t& t) {
        require(t.expected == t.intact + t.corrupted + t.lost + t.open,
                "what is expected came, is lost or open");
        require(t.reordered <= t.intact + t.corrupted, "a reordered frame is one that came");
        require(t.injected <= t.corrupted, "an injected error is a damaged frame");
        require(t.overrun <= t.lost, "what this host lost is lost");
    }

    void checkFindings(const summary_t& s) {
        auto wanted = said.found;
        wanted[FK_FOREIGN] += s.foreign + s.tooShort + s.remote + s.xl;
        wanted[FK_OVERRUN] += s.dropped;
        require(s.findings == wanted, "findings add up to the summary");
        require(said.taken[FT_FOREIGN] == s.foreign && said.taken[FT_TOO_SHORT] == s.tooShort &&
                    said.taken[FT_REMOTE] == s.remote && said.taken[FT_ERROR] == s.errorFrames &&
                    said.taken[FT_XL] == s.xl && said.taken[FT_FURTHER] == s.furtherStreams,
                "frames of no stream are told as what they are counted");
    }

    void checkEnd() {
        const summary_t s = judge.summary();
        require(s.held == 0, "nothing is held at the end");
        require(s.streams.size() == said.named, "every stream has its name");
        takeInterval();
        for (const streamSummary_t& stream : s.streams) {
            const totals_t& t = stream.totals;
            require(t.open == 0, "nothing is open at the end");
            for (const auto member : summed) {
                require(!demands.intervals || intervals.at(stream.number).*member == t.*member,
                        "intervals add up to the summary");
            }
            require(!demands.intervals || (gaps.at(stream.number) == stream.gaps->count() &&
                                           received.at(stream.number) == t.received()),
                    "intervals add up to the summary");
        }
        require(judge.elapsed(0, stamp) >= 0 && judge.lastPatternTime() <= s.duration, "time goes on");
    }

    Bytes& bytes;
    const demands_t demands;
    Listener said;
    BasicJudge<Limits> judge;
    JudgeTwin<Limits> twin;
    std::array<sender_t, 4> senders;
    receivedFrame_t last = {};
    std::int64_t stamp = 1000000000;
    std::uint64_t frames = 0;
    std::uint64_t dropped = 0;
    std::ptrdiff_t blocks = 0;
    std::array<bool, 4> seen = {};
    std::uint64_t knownStreams = 0;
    std::size_t knownPairs = 0;
    std::array<totals_t, Limits::streams + 1> intervals = {};
    std::array<std::uint64_t, Limits::streams + 1> gaps = {};
    std::array<std::uint64_t, Limits::streams + 1> received = {};
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 6) {
        return 0;
    }
    Bytes bytes(data + 1, size - 1);
    if (data[0] % 4 == 0) {
        std::make_unique<Run<fewInterfaces_t>>(bytes)->all();
    } else {
        std::make_unique<Run<smallLimits_t>>(bytes)->all();
    }
    return 0;
}
