"""Made-up output of qvcancheck --json: a run of which every figure is known."""

import json

NS = 1000000000


def bucket_end(ns):
    """The last ns of the bucket for a time: 32 per octave, from 128 ns on."""
    ns = max(ns, 128)
    width = 1 << (ns.bit_length() - 6)
    return ns // width * width + width - 1


def times(spread):
    """A histogram of {ns: count}."""
    counts = {}
    for ns, count in sorted(spread.items()):
        counts[bucket_end(ns)] = counts.get(bucket_end(ns), 0) + count
    total = sum(spread.values())

    def percentile(q):
        below = 0
        for end, count in counts.items():
            below += count
            if below >= q * total:
                return min(end, max(spread)) / NS
        raise AssertionError(q)

    mean = sum(ns * count for ns, count in spread.items()) / total
    return {"count": total, "min": min(spread) / NS, "mean": mean / NS, "p50": percentile(0.5), "p90": percentile(0.9),
            "p99": percentile(0.99), "p99.9": percentile(0.999), "max": max(spread) / NS,
            "buckets": [[end / NS, count] for end, count in counts.items()]}


def start(**changes):
    return {"event": "start", "version": 1, "program": "qvcancheck 0.1.0", "start": "2026-11-21T16:16:40.179105Z", "host": "bench-2",
            "command": ["qvcancheck", "--json=run.jsonl", "run.log"], "inputs": ["run.log"], "pace": None} | changes


def stream(name="s1", **changes):
    return {"name": name, "interface": "can0", "role": "direct", "width": 11, "length": 64, "fd": True, "start": 1, "startKnown": True,
            "ambiguous": False, "demanded": False, "ownHost": False, "first": 1, "last": 30, "expected": 30, "intact": 27, "corrupted": 1,
            "lost": 2, "open": 0, "repeated": 1, "corruptedRepeats": 0, "reordered": 1, "overtaken": 1, "late": 0, "stray": 0,
            "maxExtentFrames": 1, "maxLateTime": 0.01, "orderedByIdentifier": False, "restarts": 0, "jumps": 0, "surplus": 0,
            "wrongFormat": 0, "follows": 0, "injected": None, "causes": {"before this host": 2}, "gap": times({10000000: 24, 12000000: 1}),
            "series": {"slot": 0.1, "frames": [10, 8, 11], "longestGap": [0.011, 0.03, 0.012]}} | changes


def pair(spread, **changes):
    return {"direct": "s1", "answers": "s2", "answered": 30, "unanswered": 0, "early": 0, "slow": 0, "echoedDamage": 0, "unseen": 0,
            "queueHint": False, "roundTrip": times(spread) if spread else None} | changes


def findings_series(slot=0.1, **columns):
    kinds = ("lost", "overrun", "repeated", "reordered", "corrupted", "injected")
    n = max(map(len, columns.values()), default=0)
    return {"slot": slot} | {kind: columns.get(kind, [0] * n) for kind in kinds}


def summary(**changes):
    return {"event": "summary", "version": 1, "program": "qvcancheck 0.1.0", "verdict": "fail", "status": 1,
            "verdictLine": "FAIL: 2 frames lost, 1 frame repeated, 1 frame reordered, 1 frame corrupted", "ended": "end of input",
            "planned": True, "start": "2026-11-21T16:16:40.179105Z", "duration": 0.3, "frames": 29, "pattern": 29, "foreign": 0,
            "foreignIdentifiers": 0, "tooShort": 0, "remote": 0, "errorFrames": 0, "xl": 0, "furtherStreams": 0, "clockSteps": 0,
            "dropped": 0, "input": {"frames": 29, "brokenLines": 0, "firstBroken": None, "passedOverBytes": 0}, "failures": [],
            "streams": [stream()], "pairs": [], "series": findings_series(lost=[0, 2, 0], repeated=[0, 1, 0], reordered=[0, 0, 1],
                                                                          corrupted=[1, 0, 0]),
            "findings": {"lost": 2, "repeated": 1, "reordered": 1, "corrupted": 1}, "allowed": ["foreign"]} | changes


def finding(t, kind, count=1, **more):
    return {"event": "finding", "t": t, "interface": "can0", "stream": "s1", "kind": kind, "count": count, "first": 1, "last": count} | more


def event(t, what, interface="can0", **more):
    return {"event": "event", "t": t, "interface": interface, "what": what} | more


def interval(t, end, frames, stream_name="s1", gap=None):
    return {"event": "interval", "t": t, "end": end, "interface": "can0", "stream": stream_name, "frames": frames, "gap": gap}


def text(*lines):
    return "".join(json.dumps(line) + "\n" for line in lines)
