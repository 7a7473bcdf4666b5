#pragma once

#include "libqvcheck/stream.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

/// The streams of a run, in bounded number, found by their key through short lists.
template<typename Limits>
class StreamTable {
public:
    using stream_t = Stream<Limits>;
    static_assert(Limits::streams < UINT8_MAX, "the last index ends a list");

    StreamTable() {
        heads.fill(none);
        alive.reserve(Limits::streams);
    }

    /// The youngest stream that may have this key; `after` returns the next older one. Null at the end.
    /// Streams with other keys may be among them.
    stream_t* first(const streamKey_t& key) const { return at(heads[listOf(key)]); }
    stream_t* after(const stream_t& s) const { return at(s.nextInTable); }

    /// The stream in a slot; null for an empty one.
    stream_t* at(std::uint8_t slot) const { return slot < Limits::streams ? slots[slot].get() : nullptr; }

    /// The stream with this key if it is the only one in its list; null: search the list.
    stream_t* only(const streamKey_t& key) const {
        stream_t* const s = at(heads[listOf(key)]);
        return s != nullptr && s->nextInTable == none && s->key == key ? s : nullptr;
    }

    /// The stream with this key that has the counter, of several the one heard last; null if none has it.
    stream_t* streamThatHas(const streamKey_t& key, std::uint32_t counter) const {
        stream_t* best = nullptr;
        for (stream_t* s = first(key); s != nullptr; s = after(*s)) {
            if (s->key == key && s->has(counter) && (best == nullptr || s->last.number > best->last.number)) {
                best = s;
            }
        }
        return best;
    }

    /// All streams in the order of their birth.
    const std::vector<stream_t*>& all() const { return alive; }

    /// The number of streams ever added, removed ones included.
    std::uint64_t births() const { return born; }

    bool full() const { return alive.size() == Limits::streams; }

    /// A new stream; null if there is no room.
    stream_t* add(const streamKey_t& key, std::uint32_t next, std::uint32_t errorPeriod) {
        for (std::size_t i = 0; i < slots.size(); ++i) {
            if (slots[i] == nullptr) {
                slots[i] = std::make_unique<stream_t>(key, next, errorPeriod);
                stream_t* const s = slots[i].get();
                s->slot = static_cast<std::uint8_t>(i);
                s->nextInTable = heads[listOf(key)];
                heads[listOf(key)] = s->slot;
                alive.push_back(s);
                ++born;
                return s;
            }
        }
        return nullptr;
    }

    void remove(stream_t& s) {
        std::uint8_t* link = &heads[listOf(s.key)];
        while (*link != s.slot) {
            link = &slots[*link]->nextInTable;
        }
        *link = s.nextInTable;
        alive.erase(std::find(alive.begin(), alive.end(), &s));
        slots[s.slot].reset();
    }

private:
    static constexpr std::uint8_t none = UINT8_MAX;

    static std::size_t listOf(const streamKey_t& key) {
        const std::uint32_t k = key.packed();
        return static_cast<std::uint8_t>(k ^ k >> 8 ^ k >> 15 ^ k >> 21);
    }
    std::array<std::uint8_t, 256> heads;
    std::array<std::unique_ptr<stream_t>, Limits::streams> slots;
    std::vector<stream_t*> alive;
    std::uint64_t born = 0;
};
