#pragma once

#include "libqvcheck/stream.h"

#include <array>
#include <cstdint>

/// A frame that its neighbours have to explain.
struct heldFrame_t {
    receivedFrame_t frame;
    streamKey_t key;
    arrivalTime_t at;
    std::uint64_t clockSteps;
    std::uint64_t order;   ///< frames of the interface up to it
    std::uint32_t counter; ///< according to its counter bytes
    std::uint32_t chain;   ///< length of the chain that ended here on arrival; 0: cannot be in one
    std::uint64_t before;  ///< place of the chain's previous frame; valid if `chain` is 2 or more
    bool clean;
    bool waiting; ///< false: decided, only its place remains

    streamRole_t role() const { return key.role; }
};

/// The undecided frames of one interface in the order of arrival.
template<typename Limits>
class HeldFrames {
public:
    static constexpr std::uint32_t size = Limits::heldCapacity;

    bool empty() const { return first == end; }
    bool full() const { return end - first == size; }
    std::uint32_t waiting() const { return undecided; }

    /// Places in the order of arrival, the end excluded. Some hold frames that are already decided. Deciding
    /// a frame moves nothing.
    std::uint64_t firstPlace() const { return first; }
    std::uint64_t endPlace() const { return end; }
    heldFrame_t& operator[](std::uint64_t place) { return ring[place % size]; }

    /// The oldest waiting frame; there must be one.
    heldFrame_t& oldest() { return (*this)[first]; }

    /// There must be room. Links the frame to the longest chain of waiting frames that it continues.
    heldFrame_t& add(const heldFrame_t& held, bool mayChain) {
        heldFrame_t& added = (*this)[end];
        added = held;
        added.waiting = true;
        added.chain = mayChain ? 1 : 0;
        if (mayChain) {
            link(added);
        }
        ++end;
        ++undecided;
        return added;
    }

    /// The previous frame of the chain if it still waits, else null.
    heldFrame_t* before(const heldFrame_t& held) {
        if (held.chain < 2 || held.before < first) {
            return nullptr;
        }
        heldFrame_t& earlier = (*this)[held.before];
        return earlier.waiting ? &earlier : nullptr;
    }

    /// The frame's contents remain until the next `add`.
    void decided(heldFrame_t& held) {
        held.waiting = false;
        --undecided;
        while (first != end && !oldest().waiting) {
            ++first;
        }
    }

private:
    void link(heldFrame_t& added) {
        for (std::uint64_t place = first; place != end; ++place) {
            const heldFrame_t& earlier = (*this)[place];
            if (earlier.waiting && earlier.chain >= added.chain && earlier.key == added.key &&
                added.counter - earlier.counter - 1 < Limits::step && chainOf(earlier) >= added.chain) {
                added.chain = chainOf(earlier) + 1;
                added.before = place;
            }
        }
    }

    /// The number of its frames that still wait.
    std::uint32_t chainOf(const heldFrame_t& last) {
        std::uint32_t n = 1;
        for (const heldFrame_t* held = before(last); held != nullptr; held = before(*held)) {
            ++n;
        }
        return n;
    }

    std::uint64_t first = 0;
    std::uint64_t end = 0;
    std::uint32_t undecided = 0;
    std::array<heldFrame_t, size> ring;
};
