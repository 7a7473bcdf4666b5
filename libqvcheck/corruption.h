#pragma once

#include "libqvcheck/reporter.h"
#include "libqvcheck/sighting.h"
#include "libqvcheck/streamfinding.h"

/// What damage means for a stream: injected as demanded, the echo of a frame that was itself damaged, or a
/// finding. Owns nothing; the counts are in the stream. Used by one thread.
template<typename Limits>
class Corruption {
public:
    using stream_t = Stream<Limits>;

    /// The reporter outlives it.
    explicit Corruption(Reporter& _reporter) : reporter(_reporter) {}

    /// The first frame with this counter is damaged. Returns whether the sender was to damage it.
    bool injected(stream_t& s, std::uint32_t counter, const sighting_t& seen) {
        const evidence_t evidence = seen.damaged->evidence(counter, s.key.tag, s.key.extended, s.key.length);
        s.hurtOf(counter) = {counter, evidence.differing, evidence.bytes[0]};
        if (s.injection.damaged(counter, evidence)) {
            reporter.injected(seen.at.time);
            return true;
        }
        if (isEcho(s, counter, evidence)) {
            ++s.pair->counts.echoedDamage;
            return false;
        }
        tell(s, counter, seen);
        return false;
    }

    /// Whether the first frame with this counter was damaged in the same way.
    static bool isCopy(const stream_t& s, std::uint32_t counter, const sighting_t& seen) {
        return s.hurtOf(counter).sameAs(
            counter, seen.damaged->evidence(counter, s.key.tag, s.key.extended, s.key.length));
    }

    /// The first frame with this counter is intact although the sender was to corrupt it.
    void uninjected(stream_t& s, std::uint32_t counter, std::int64_t time) {
        s.injection.missed();
        reporter.finding(streamFinding(s, FK_UNINJECTED, time, counter, 1));
    }

    /// Reports a damaged frame that nothing excuses.
    void tell(const stream_t& s, std::uint32_t counter, const sighting_t& seen) {
        finding_t f = streamFinding(s, FK_CORRUPTED, seen.at.time, counter, 1);
        f.evidence = seen.damaged->evidence(counter, s.key.tag, s.key.extended, s.key.length);
        f.frame = &seen.frame;
        reporter.finding(f);
    }

private:
    /// Whether this answers a frame that was damaged in the same way.
    static bool isEcho(const stream_t& s, std::uint32_t counter, const evidence_t& evidence) {
        if (s.pair == nullptr || s.key.role != SR_ANSWER) {
            return false;
        }
        return s.pair->direct->hurtOf(counter).sameAs(counter, evidence);
    }

    Reporter& reporter;
};
