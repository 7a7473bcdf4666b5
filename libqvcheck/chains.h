#pragma once

#include "libqvcheck/heldverdicts.h"

#include <algorithm>
#include <array>

/// Decides what a chain, held frames that continue each other, is: damage, a repeated block, or the beginning
/// of a stream, which then takes its frames from the held ones. Owns nothing. Used by one thread.
template<typename Limits>
class Chains {
public:
    using stream_t = Stream<Limits>;
    using interface_type = interface_t<Limits>;

    /// All outlive it.
    Chains(const StreamTable<Limits>& _table, Losses<Limits>& _losses, Succession<Limits>& _succession,
           StreamFounder<Limits>& _founder, Joiner<Limits>& _joiner, Acceptor<Limits>& _acceptor,
           HeldVerdicts<Limits>& _verdicts)
        : table(_table),
          losses(_losses),
          succession(_succession),
          founder(_founder),
          joiner(_joiner),
          acceptor(_acceptor),
          verdicts(_verdicts) {}

    /// The newest held frame completes a chain.
    void establish(interface_type& in, heldFrame_t& newest) {
        chain_t chain{};
        heldFrame_t* member = &newest;
        for (auto place = chain.rbegin(); place != chain.rend(); ++place) {
            *place = member;
            member = in.held.before(*member);
        }
        if (explainedByDamage(chain)) {
            for (std::uint32_t i = 0; i + 1 < Limits::chain; ++i) {
                verdicts.decide(in, *chain[i]);
            }
            newest.chain = 1;
            return;
        }
        const stream_t* const repeated = streamThatHasAll(chain);
        if (repeated != nullptr && repeated->lastRecord.number > chain[0]->at.number) {
            for (heldFrame_t* const held : chain) {
                verdicts.decide(in, *held);
            }
            return;
        }
        birth(in, chain);
    }

private:
    using chain_t = std::array<heldFrame_t*, Limits::chain>;

    /// Where the frame belongs if it is damaged.
    place_t<Limits> placeOfDamaged(const heldFrame_t& held) const {
        Reading reading(held.frame, held.role());
        reading.vote();
        return placeOf(table, reading, held.key, &held.at);
    }

    /// Each of them except the newest is a damaged frame of a stream heard since the first one came.
    bool explainedByDamage(const chain_t& chain) const {
        for (std::uint32_t i = 0; i + 1 < Limits::chain; ++i) {
            const place_t<Limits> place = placeOfDamaged(*chain[i]);
            if (place.stream == nullptr || place.distance == 0 ||
                place.stream->last.number < chain[0]->at.number) {
                return false;
            }
        }
        return true;
    }

    stream_t* streamThatHasAll(const chain_t& chain) const {
        stream_t* const s = table.streamThatHas(chain[0]->key, chain[0]->counter);
        for (const heldFrame_t* const held : chain) {
            if (s == nullptr || !s->has(held->counter)) {
                return nullptr;
            }
        }
        return s;
    }

    void birth(interface_type& in, const chain_t& chain) {
        foundBefore(in, *chain[0]);
        if (!chain[0]->waiting) {
            return; // it continues what came before it
        }
        if (table.full()) {
            succession.explainAll();
        }
        stream_t* const parent = streamThatHasAll(chain);
        if (parent != nullptr && parent->child != nullptr) {
            succession.fold(*parent->child);
        }
        if (!found(in, *chain[0], parent)) {
            for (heldFrame_t* const held : chain) {
                verdicts.tellFurther(in, *held);
            }
        }
    }

    /// Sound frames that came before the first one of a chain and lead to it are runs of the sender as well,
    /// unless it begins there.
    void foundBefore(interface_type& in, const heldFrame_t& first) {
        if (first.key.startsAt(first.counter)) {
            return;
        }
        for (auto place = in.held.firstPlace(); &in.held[place] != &first; ++place) {
            const heldFrame_t& held = in.held[place];
            if (held.waiting && held.clean && held.key == first.key &&
                first.counter - held.counter < Limits::window && isAheadOfAll(held)) {
                found(in, held, nullptr);
            }
        }
    }

    bool isAheadOfAll(const heldFrame_t& held) const {
        for (const stream_t* const s : table.all()) {
            if (s->key == held.key && ahead(held.counter, s->window.next()) < 0) {
                return false;
            }
        }
        return true;
    }

    /// Founds a stream with a held frame, a demanded one if possible, and gives it the other held ones.
    /// Returns false if there is no room. `parent`: the stream that has the frame already, or null.
    [[gnu::cold]] bool found(interface_type& in, const heldFrame_t& held, stream_t* parent) {
        const std::uint32_t counter = held.counter;
        stream_t* s = founder.addDemandedNear(held.key, counter, INT32_MAX, held.at);
        if (s == nullptr) {
            s = founder.addUnnamed(held.key, counter, parent, held.at);
        }
        if (s == nullptr) {
            return false;
        }
        findStart(in, *s, counter, held.at.number);
        s->fd = held.frame.fd; // needed for its name
        if (!s->named) {
            succession.born(*s);
            in.lookBy(succession.due(*s));
        }
        rejudge(in, *s, counter);
        return true;
    }

    /// The stream begins at the lowest of its held frames from before the chain.
    void findStart(interface_type& in, stream_t& s, std::uint32_t counter, std::uint64_t begin) {
        s.window.restartAt(counter);
        std::uint32_t lowest = counter;
        for (auto place = in.held.firstPlace(); place != in.held.endPlace(); ++place) {
            const heldFrame_t& held = in.held[place];
            if (held.waiting && held.at.number < begin && held.key.sameClass(s.key)) {
                lowest = std::min(lowest, startOf(held, s, counter), [counter](auto a, auto b) {
                    return counter - a > counter - b; // lower: further below `counter`
                });
            }
        }
        if (!s.startDemanded) {
            s.first = lowest;
        } else if (lowest - s.first >= Limits::near) {
            losses.loseStart(s, lowest, s.born);
            return;
        } else {
            lowest = s.first;
        }
        s.window.restartAt(lowest);
    }

    /// The counter of a held frame that belongs to the start of the stream, else the stream's first one.
    std::uint32_t startOf(const heldFrame_t& held, const stream_t& s, std::uint32_t counter) const {
        if (s.key.startsAt(counter)) {
            return counter;
        }
        const place_t<Limits> place = placeOfDamaged(held);
        const bool below = place.stream == &s && counter - place.counter <= Limits::near;
        return below ? place.counter : counter;
    }

    /// Places the held frames of the class in the new stream.
    void rejudge(interface_type& in, stream_t& born, std::uint32_t counter) {
        const streamKey_t key = born.key;
        for (auto place = in.held.firstPlace(); place != in.held.endPlace(); ++place) {
            heldFrame_t& held = in.held[place];
            if (held.waiting && held.key.sameClass(key)) {
                rejudge(in, held, born, counter);
            }
        }
    }

    void rejudge(interface_type& in, heldFrame_t& held, const stream_t& born, std::uint32_t counter) {
        const sighting_t seen = {held.frame, held.at, held.clockSteps};
        Reading reading(held.frame, held.role());
        reading.vote();
        if (reading.clean() && acceptor.accept(in, held.key, held.counter, seen)) {
            in.held.decided(held);
            return;
        }
        const place_t<Limits> place = placeOf(table, reading, held.key, &held.at);
        const bool start = place.stream == &born && ahead(place.counter, counter) < 0 &&
                           ahead(place.counter, born.first) >= 0;
        if (place.stream != nullptr && place.distance > 0 && place.stream->key.length == held.key.length &&
            (start || !reading.clean())) {
            in.held.decided(held);
            joiner.joinDamaged(in, place, reading, seen);
        }
    }

    const StreamTable<Limits>& table;
    Losses<Limits>& losses;
    Succession<Limits>& succession;
    StreamFounder<Limits>& founder;
    Joiner<Limits>& joiner;
    Acceptor<Limits>& acceptor;
    HeldVerdicts<Limits>& verdicts;
};
