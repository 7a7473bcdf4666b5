#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// What happened when, in bounded memory: at most 600 slots of equal length, which starts at 100 ms and
/// doubles, merging neighbours, whenever they are full. `Slot` has `merge(const Slot&)`.
template<typename Slot>
class Series {
public:
    static constexpr std::size_t mostSlots = 600;
    static constexpr std::int64_t shortestSlot = 100000000;

    /// The slot for a time in ns since the first frame of the run; a time below 0 counts as 0.
    Slot& at(std::int64_t time) {
        if (static_cast<std::uint64_t>(time) - begin >= static_cast<std::uint64_t>(length)) {
            moveTo(time < 0 ? 0 : time);
        }
        return slots[current];
    }

    std::int64_t slotLength() const { return length; }
    /// Slots up to the last one used.
    std::size_t size() const { return used; }
    const Slot& operator[](std::size_t index) const { return slots[index]; }

    /// Adds all slots of a series of the same run.
    void add(const Series& other) {
        for (std::size_t i = 0; i < other.used; ++i) {
            at(static_cast<std::int64_t>(i) * other.length).merge(other.slots[i]);
        }
    }

private:
    [[gnu::noinline]] void moveTo(std::int64_t time) {
        while (time / length >= static_cast<std::int64_t>(mostSlots)) {
            halve();
        }
        current = static_cast<std::size_t>(time / length);
        begin = static_cast<std::uint64_t>(current) * static_cast<std::uint64_t>(length);
        used = current < used ? used : current + 1;
    }

    void halve() {
        for (std::size_t i = 0; i < mostSlots / 2; ++i) {
            Slot merged = slots[2 * i];
            merged.merge(slots[2 * i + 1]);
            slots[i] = merged;
        }
        for (std::size_t i = mostSlots / 2; i < mostSlots; ++i) {
            slots[i] = {};
        }
        used = (used + 1) / 2;
        length *= 2;
    }

    std::int64_t length = shortestSlot;
    std::uint64_t begin = INT64_MAX; ///< of the slot used last
    std::size_t current = 0;
    std::size_t used = 0;
    std::array<Slot, mostSlots> slots = {};
};
