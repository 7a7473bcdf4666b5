"""How times are spread: the histograms of a run."""

from dataclasses import dataclass

from qvplot.run import number, text
from qvplot.slots import ascending, label

NS = 1e-9


@dataclass
class Spread:
    """A histogram: buckets (begin, end, count) without empty ones, and what the run says of all its times."""
    label: str
    buckets: list
    p50: float
    p99: float
    longest: float


def gaps(run):
    streams = run.summary["streams"] if run.summary else []
    return [spread(label(stream), stream["gap"]) for stream in streams if stream["gap"]]


def round_trips(run):
    pairs = run.summary["pairs"] if run.summary else []
    return [spread(pair_label(pair), pair["roundTrip"]) for pair in pairs if pair["roundTrip"]]


def pair_label(pair):
    unanswered = number(pair["unanswered"])
    return text(f"{pair['direct']}, answered as {pair['answers']}") + (f", {unanswered:,} unanswered" if unanswered else "")


def spread(name, times):
    buckets = [(bucket_begin(number(end)), end, number(count)) for end, count in times["buckets"]]
    ascending([0, *(end for _, end, _ in buckets)])
    if not buckets or not all(count for _, _, count in buckets):
        raise ValueError("a histogram of nothing")
    return Spread(name, buckets, number(times["p50"]), number(times["p99"]), number(times["max"]))


def bucket_begin(end):
    """There are 32 buckets an octave, and `end` is the last ns of one."""
    ns = round(end / NS)
    return (ns + 1 - (1 << max(ns.bit_length() - 6, 0))) * NS


def shares(of):
    """[(from, to, seconds)]: that share of the times is not longer. The last one ends at 1."""
    total = sum(count for _, _, count in of.buckets)
    found = []
    below = 0
    for _, end, count in of.buckets:
        found.append((below / total, (below + count) / total, min(end, of.longest)))
        below += count
    return found


def outline(of):
    """(edges, counts) with the empty buckets in between."""
    edges, counts = [of.buckets[0][0]], []
    for begin, end, count in of.buckets:
        if begin > edges[-1] + 1.5 * NS:
            edges.append(begin)
            counts.append(0)
        edges.append(end)
        counts.append(count)
    return edges, counts


def height_at(of, time):
    """The count of the bucket that a time falls into."""
    return next((count for _, end, count in of.buckets if time <= end), of.buckets[-1][2])
