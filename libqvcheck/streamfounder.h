#pragma once

#include "libqvcheck/interface.h"
#include "libqvcheck/succession.h"

#include <array>
#include <memory>

/// Adds streams to the table, which owns them: demanded ones, and those that consecutive frames founded. Used
/// by one thread.
template<typename Limits>
class StreamFounder {
public:
    using stream_t = Stream<Limits>;

    /// All outlive it.
    StreamFounder(const demands_t& _demands, StreamTable<Limits>& _table, Succession<Limits>& _succession)
        : demands(_demands),
          table(_table),
          succession(_succession) {}

    /// An interface that frames will come from. Its streams refer to its clock.
    void enter(const interface_t<Limits>& in) { clocks[in.index] = &in.clock; }

    /// A new stream without a name yet; null if there is no room. `parent`: the stream whose counters it
    /// repeats, or null.
    stream_t* addUnnamed(const streamKey_t& key, std::uint32_t next, stream_t* parent,
                         const arrivalTime_t& at) {
        stream_t* const s = add(key, next, at);
        if (s == nullptr) {
            return nullptr;
        }
        if (parent != nullptr && parent->named) {
            s->parent = parent;
            parent->child = s;
            parent->steady = false;
        }
        return s;
    }

    /// A new stream with a name or a provisional one; null if there is no room.
    stream_t* addBorn(const streamKey_t& key, std::uint32_t next, stream_t* parent, const arrivalTime_t& at) {
        stream_t* const s = addUnnamed(key, next, parent, at);
        if (s != nullptr) {
            succession.born(*s);
        }
        return s;
    }

    /// The demanded stream, from its first frame on; null if there is no room.
    stream_t* addDemanded(const streamKey_t& key, std::uint32_t start, std::size_t demand,
                          const arrivalTime_t& at) {
        stream_t* const s = add(key, start, at);
        if (s != nullptr) {
            s->demand = static_cast<int>(demand);
            s->startDemanded = true;
            s->fd = key.length > CAN_MAX_DLEN; // needed for its name
            succession.name(*s);
        }
        return s;
    }

    /// The demanded stream that a first sound frame founds; null if none is demanded within `reach`.
    stream_t* addDemandedNear(const streamKey_t& key, std::uint32_t counter, std::uint32_t reach,
                              const arrivalTime_t& at) {
        std::size_t best = demands.ids.size();
        for (std::size_t i = 0; i < demands.ids.size(); ++i) {
            const std::uint32_t start = demands.ids[i] & key.idMask();
            if (fits(demands.ids[i], key) && counter - start < reach && !isBorn(key, i)) {
                best = i;
                reach = counter - start;
            }
        }
        return best < demands.ids.size() ? addDemanded(key, counter - reach, best, at) : nullptr;
    }

    /// Whether the demand already has its stream with this key.
    bool isBorn(const streamKey_t& key, std::size_t demand) const {
        for (stream_t* s = table.first(key); s != nullptr; s = table.after(*s)) {
            if (s->key == key && s->demand == static_cast<int>(demand)) {
                return true;
            }
        }
        return false;
    }

private:
    /// Whether a demanded identifier is that of a stream with this key.
    static bool fits(std::uint32_t id, const streamKey_t& key) {
        const bool extended = (id & CAN_EFF_FLAG) != 0;
        return (id & CAN_RTR_FLAG) == 0 && extended == key.extended &&
               static_cast<std::uint8_t>(id) == key.tag;
    }

    [[gnu::cold]] stream_t* add(const streamKey_t& key, std::uint32_t next, const arrivalTime_t& at) {
        stream_t* const s = table.add(key, next, key.role == SR_REMOTE ? 0 : demands.errorPeriod);
        if (s != nullptr) {
            s->born = at;
            s->clock = clocks[key.interface];
            if (demands.brs) {
                s->form.demandSwitch();
            }
            s->interval =
                demands.intervals ? std::make_unique<typename stream_t::sinceInterval_t>() : nullptr;
        }
        return s;
    }

    const demands_t& demands;
    StreamTable<Limits>& table;
    Succession<Limits>& succession;
    std::array<const StampClock*, 256> clocks = {}; ///< by interface
};
