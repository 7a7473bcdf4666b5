#pragma once

#include "libqvcheck/acceptor.h"

#include <array>

/// Remote frames carry no payload, so only the identifier says which frame one is. A stream is demanded, or
/// founded by consecutive frames; its frames are searched for in at most half of the identifiers' range. Owns
/// the frames that have not founded a stream yet. Used by one thread.
template<typename Limits>
class RemoteStreams {
public:
    using stream_t = Stream<Limits>;
    using interface_type = interface_t<Limits>;

    /// All outlive it.
    RemoteStreams(const demands_t& _demands, Reporter& _reporter, const StreamTable<Limits>& _table,
                  StreamFounder<Limits>& _founder, Joiner<Limits>& _joiner)
        : demands(_demands),
          reporter(_reporter),
          table(_table),
          founder(_founder),
          joiner(_joiner) {}

    void judge(interface_type& in, const receivedFrame_t& frame, const arrivalTime_t& at) {
        const streamKey_t key = {frame.interface, SR_REMOTE, (frame.canId & CAN_EFF_FLAG) != 0, 0, 0};
        const std::uint32_t id = frame.canId & key.idMask();
        const sighting_t seen = {frame, at, in.clock.steps()};
        if (!accept(in, key, id, seen) && !demanded(in, key, id, seen)) {
            found(in, key, id, seen);
        }
    }

    /// No more frames will come: those that founded nothing belong to no stream.
    void finish() {
        for (founding_t& founding : foundings) {
            release(founding);
        }
    }

    /// Remote frames of no stream.
    std::uint64_t frames() const { return others; }
    std::uint64_t held() const {
        std::uint64_t n = 0;
        for (const founding_t& founding : foundings) {
            n += founding.count;
        }
        return n;
    }

private:
    /// Consecutive frames that may found a stream.
    struct founding_t {
        streamKey_t key = {};
        std::uint32_t count = 0;
        std::uint32_t last = 0; ///< counter of the last one, if the first had its identifier as counter
        std::array<receivedFrame_t, Limits::remoteChain> frames = {};
        std::array<arrivalTime_t, Limits::remoteChain> times = {};
    };

    bool accept(interface_type& in, const streamKey_t& key, std::uint32_t id, const sighting_t& seen) {
        stream_t* best = nullptr;
        std::uint32_t counter = 0;
        std::uint32_t least = UINT32_MAX;
        for (stream_t* s = table.first(key); s != nullptr; s = table.after(*s)) {
            for (const std::uint32_t value : {id, id == 1 ? 0U : id}) { // 1 also stands for 0
                const std::uint32_t place = s->nearest(value, s->idValues());
                const bool mine = s->key == key && ahead(place, s->window.next()) >=
                                                       -static_cast<std::int32_t>(Limits::remoteWindow);
                const std::uint32_t cost = mine ? Acceptor<Limits>::costOf(*s, place) : UINT32_MAX;
                if (cost < least) {
                    best = s;
                    counter = place;
                    least = cost;
                }
            }
        }
        if (best != nullptr) {
            joiner.join(in, *best, counter, seen);
        }
        return best != nullptr;
    }

    bool demanded(interface_type& in, const streamKey_t& key, std::uint32_t id, const sighting_t& seen) {
        for (std::size_t i = 0; i < demands.ids.size(); ++i) {
            const std::uint32_t start = demands.ids[i] & key.idMask();
            const bool fits = (demands.ids[i] & CAN_RTR_FLAG) != 0 &&
                              ((demands.ids[i] & CAN_EFF_FLAG) != 0) == key.extended;
            const std::uint32_t behindStart = id == 1 && start == 0 ? 0 : (id - start) & key.idMask();
            if (fits && behindStart < Limits::near && !founder.isBorn(key, i)) {
                stream_t* const s = founder.addDemanded(key, start, i, seen.at);
                if (s != nullptr) {
                    joiner.join(in, *s, start + behindStart, seen);
                }
                return s != nullptr;
            }
        }
        return false;
    }

    void found(interface_type& in, const streamKey_t& key, std::uint32_t id, const sighting_t& seen) {
        founding_t& founding = foundings[(key.extended ? 1U : 0U) + 2U * (key.interface % interfaces)];
        const bool goesOn = founding.count > 0 && founding.key == key &&
                            (id == patternIdentifier(founding.last + 1, key.extended) ||
                             (founding.count == 1 && founding.last == 1 && id == 1));
        if (!goesOn) {
            release(founding);
            founding.key = key;
        }
        // Two initial frames with identifier 1 have the counters 0 and 1.
        founding.last = goesOn && id != founding.last ? founding.last + 1 : id;
        founding.frames[founding.count] = seen.frame;
        founding.times[founding.count] = seen.at;
        if (++founding.count == Limits::remoteChain) {
            establish(in, founding);
        }
    }

    void establish(interface_type& in, founding_t& founding) {
        const std::uint32_t first = placeOfFirst(founding, founding.last + 1 - founding.count);
        stream_t* const s = founder.addBorn(founding.key, first, nullptr, founding.times[0]);
        if (s == nullptr) {
            release(founding);
            return;
        }
        in.lookBy(s->born.time);
        for (std::uint32_t i = 0; i < founding.count; ++i) {
            joiner.join(in, *s, first + i, {founding.frames[i], founding.times[i], in.clock.steps()});
        }
        founding.count = 0;
    }

    /// Continues from where another stream of the interface fell silent, as far as the identifiers reach.
    std::uint32_t placeOfFirst(const founding_t& founding, std::uint32_t id) const {
        const stream_t* latest = nullptr;
        for (stream_t* s = table.first(founding.key); s != nullptr; s = table.after(*s)) {
            if (s->key == founding.key && (latest == nullptr || s->last.number > latest->last.number)) {
                latest = s;
            }
        }
        const std::uint32_t place = latest != nullptr ? latest->nearest(id, latest->idValues()) : id;
        return latest != nullptr && ahead(place, latest->window.next()) >= 0 ? place : id;
    }

    void release(founding_t& founding) {
        for (std::uint32_t i = 0; i < founding.count; ++i) {
            reporter.frame(founding.frames[i], FT_REMOTE);
        }
        others += founding.count;
        founding.count = 0;
    }

    static constexpr std::size_t interfaces = 8; ///< on which streams may be founded at the same time

    const demands_t& demands;
    Reporter& reporter;
    const StreamTable<Limits>& table;
    StreamFounder<Limits>& founder;
    Joiner<Limits>& joiner;
    std::uint64_t others = 0;
    std::array<founding_t, 2 * interfaces> foundings = {};
};
