#pragma once

#include "libqvcheck/booking.h"
#include "libqvcheck/losses.h"
#include "libqvcheck/pairing.h"

#include <algorithm>

/// Decides what a new stream is. One that begins while another with its key is silent may be the same sender:
/// after an outage, after a restart, or repeating frames. It has the other's name until the other speaks (two
/// senders), or has been silent long enough (one). Owns nothing but the number of names. Used by one thread.
template<typename Limits>
class Succession {
public:
    using stream_t = Stream<Limits>;

    /// All outlive it.
    Succession(StreamTable<Limits>& _table, Booking<Limits>& _booking, Losses<Limits>& _losses,
               Pairing<Limits>& _pairing, Reporter& _reporter, const demands_t& _demands)
        : table(_table),
          booking(_booking),
          losses(_losses),
          pairing(_pairing),
          reporter(_reporter),
          demands(_demands) {}

    /// A stream was born: it gets a name, or a provisional one.
    void born(stream_t& n) {
        const stream_t* const s = precursor(n);
        if (s == nullptr) {
            name(n);
        } else {
            n.number = s->number;
        }
    }

    /// The stream is a separate one.
    void name(stream_t& n) {
        n.parent = nullptr;
        n.number = ++names;
        n.named = true;
        reporter.named(n.summary(), n.born.time);
    }

    /// Decides what an unnamed stream is, if possible at `now`. The stream or another one with its key may be
    /// gone afterwards.
    void explain(stream_t& n, std::int64_t now) {
        stream_t* const s = precursor(n);
        if (s == nullptr) {
            name(n);
        } else if (n.frames >= Limits::successorFrames || now >= dueAfter(*s)) {
            succeed(*s, n);
        }
    }

    /// When `explain` will know at the latest if nothing else comes.
    std::int64_t due(const stream_t& n) const {
        const stream_t* const s = precursor(n);
        return s == nullptr ? n.born.time : dueAfter(*s);
    }

    /// Decides at once what is undecided: no more frames will come, or there is no room to wait.
    void explainAll() {
        bool again = true;
        while (again) {
            const auto& all = table.all();
            const auto found =
                std::find_if(all.begin(), all.end(), [](const stream_t* s) { return !s->named; });
            again = found != all.end();
            if (again) {
                explainNow(**found);
            }
        }
    }

    /// The child's frames were its parent's: those the parent has are repeated, the others fill it.
    [[gnu::cold]] void fold(stream_t& child) {
        stream_t& s = *child.parent;
        booking.tellRepeats(child);
        std::uint64_t left = child.unique + child.counts.late;
        const std::uint32_t end = child.window.next();
        std::uint32_t x = ahead(end - child.first, Limits::window) > 0 ? end - Limits::window : child.first;
        const std::uint32_t low = x;
        repeats_t repeats;
        for (; x != end; ++x) {
            if (child.window.arrived(x)) {
                --left;
                foldFrame(s, child, x, repeats);
            }
        }
        tell(s, repeats);
        if (left > 0) { // below the window of both
            booking.tellRepeat(s, low - 1, child.born.time, static_cast<std::uint32_t>(left), nullptr);
            s.counts.repeated += left;
        }
        s.counts.repeated += child.counts.repeated;
        s.counts.corruptedRepeats += child.counts.corruptedRepeats;
        s.counts.stray += child.counts.stray;
        s.own = s.own || child.own;
        s.fd = s.fd || child.fd;
        s.surplus += child.surplus;
        s.wrongFormat += child.wrongFormat;
        s.series.add(child.series);
        s.injection.follow(child.injection);
        s.child = nullptr;
        table.remove(child);
    }

private:
    struct repeats_t {
        std::uint32_t first = 0;
        std::uint32_t count = 0;
        std::int64_t time = 0;
    };

    void foldFrame(stream_t& s, stream_t& child, std::uint32_t x, repeats_t& repeats) {
        if (ahead(x, s.window.next()) < 0 && (!s.window.reaches(x) || ahead(x, s.first) < 0 || s.has(x))) {
            ++(child.window.damaged(x) ? s.counts.corruptedRepeats : s.counts.repeated);
            if (repeats.count > 0 && x != repeats.first + repeats.count) {
                tell(s, repeats);
            }
            if (repeats.count == 0) {
                repeats = {x, 0, child.window.timeOf(x)};
            }
            ++repeats.count;
            return;
        }
        giveUpLeaving(s, x);
        booking.adopt(s, child, x);
    }

    void tell(stream_t& s, repeats_t& repeats) {
        if (repeats.count > 0) {
            booking.tellRepeat(s, repeats.first, repeats.time, repeats.count, nullptr);
            repeats.count = 0;
        }
    }

    void giveUpLeaving(stream_t& s, std::uint32_t x) {
        while (s.window.pushesGapOut(x)) {
            losses.giveUpOldest(s);
        }
    }

    std::int64_t dueAfter(const stream_t& s) const {
        return s.lastRecord.time + std::max<std::int64_t>(Limits::silence, 8 * s.meanGap());
    }

    /// The stream whose name `n` has until it gets its own; null if it is a separate one.
    stream_t* precursor(const stream_t& n) const { return n.parent != nullptr ? n.parent : predecessor(n); }

    /// The silent stream that `n` most likely continues; null if every candidate has spoken since.
    stream_t* predecessor(const stream_t& n) const {
        stream_t* best = nullptr;
        std::uint64_t least = UINT64_MAX;
        for (stream_t* s = table.first(n.key); s != nullptr; s = table.after(*s)) {
            const bool earlier = s != &n && s->key == n.key && !s->empty && s->born.number < n.born.number &&
                                 s->lastRecord.number < n.born.number;
            const std::uint64_t cost = earlier ? costOf(*s, n) : UINT64_MAX;
            if (cost < least) {
                least = cost;
                best = s;
            }
        }
        return best;
    }

    /// An outage is more likely than a restart.
    static std::uint64_t costOf(const stream_t& s, const stream_t& n) {
        const std::int64_t d = ahead(n.first, s.window.next());
        return d >= 0 ? static_cast<std::uint64_t>(d)
                      : (std::uint64_t{1} << 32) + static_cast<std::uint64_t>(-d);
    }

    void explainNow(stream_t& n) {
        stream_t* const s = precursor(n);
        if (s == nullptr) {
            name(n);
        } else if (n.parent != nullptr && !n.beganLike(*s) && ahead(n.window.next(), s->window.next()) <= 0) {
            fold(n);
        } else {
            succeed(*s, n);
        }
    }

    [[gnu::cold]] void succeed(stream_t& s, stream_t& n) {
        if (!s.named) {
            explainNow(s); // its own name first; `n` is explained later
            return;
        }
        if (s.child != nullptr && s.child != &n) {
            explainNow(*s.child);
            return;
        }
        booking.tellRepeats(s);
        n.number = s.number;
        n.named = true;
        n.parent = nullptr;
        const std::int64_t d = ahead(n.first, s.window.next());
        const std::int64_t most = Limits::window + (n.born.time - s.born.time) / Limits::nsPerFrame;
        const bool goesOn = d >= 0 && d <= most;
        const std::uint32_t begin = n.first;
        if (goesOn) {
            goOn(s, n, static_cast<std::uint32_t>(d));
        } else {
            beginAnew(s, n, d >= 0 ? FK_JUMP : FK_RESTART);
        }
        pairing.tookOver(n, begin, goesOn);
        table.remove(s);
    }

    void handOver(stream_t& s, const stream_t& n, bool goesOn) {
        losses.giveUpAll(s);
        if (s.pair != nullptr && !goesOn) {
            losses.giveUpAll(*s.pair->answers); // while it is known which of their frames are lost
        }
        pairing.handOver(s, n, goesOn);
    }

    void goOn(stream_t& s, stream_t& n, std::uint32_t d) {
        handOver(s, n, true);
        if (d > 0) {
            s.counts.expected += d;
            losses.lose(s, s.window.next(), d, s.last, n.born);
        }
        n.window.adopt(s.window, s.first);
        n.first = s.first;
        n.startDemanded = s.startDemanded;
        n.born = s.born;
        n.inherit(s, true);
    }

    [[gnu::cold]] void beginAnew(stream_t& s, stream_t& n, findingKind_t kind) {
        handOver(s, n, false);
        finding_t f = streamFinding(n, kind, n.born.time, n.first, 1);
        f.last = s.window.next() - 1;
        f.began = n.key.startsAt(n.first);
        reporter.finding(f);
        ++(kind == FK_JUMP ? n.jumps : n.restarts);
        n.inherit(s, false);
        if (s.demand >= 0) {
            findStart(n, demands.ids[static_cast<std::size_t>(s.demand)]);
        }
    }

    /// A demanded stream that restarted has the same first frame as before.
    void findStart(stream_t& n, std::uint32_t id) {
        const std::uint32_t start = id & n.key.idMask();
        const std::uint32_t absent = n.first - start;
        if (absent >= Limits::near) {
            return;
        }
        n.startDemanded = true;
        n.first = start;
        if (absent > 0) {
            n.counts.expected += absent;
            losses.lose(n, start, absent, n.born, n.born);
        }
    }

    StreamTable<Limits>& table;
    Booking<Limits>& booking;
    Losses<Limits>& losses;
    Pairing<Limits>& pairing;
    Reporter& reporter;
    const demands_t& demands;
    std::uint16_t names = 0;
};
