"""Figures over time: what a series, the intervals, or the findings themselves say of one slot of time after another."""

from dataclasses import dataclass

from qvplot.run import number, text

SLOT = 0.1  # seconds; the shortest slot of a series
MOST_SLOTS = 600  # of a series
MOST_DRAWN = 100
FINDINGS = ("lost", "overrun", "repeated", "reordered", "corrupted", "injected")
OWN_CAUSES = ("this host", "input")  # what the names of causes begin with whose frames count as overrun


@dataclass
class Steps:
    """A figure that is constant between neighbouring edges: there is one edge more than there are values."""
    label: str
    edges: list
    values: list


def duration(run):
    """Seconds; of a run that was cut off up to what it told last."""
    if run.summary:
        return number(run.summary["duration"])
    told = [number(line["t"]) for line in (*run.findings, *run.events)] + [number(line["end"]) for line in run.intervals]
    return max(told, default=0)


def frame_rates(run):
    """Frames a second of each stream."""
    if not run.summary:
        return [per_second(steps) for steps in of_intervals(run, lambda piece: number(piece["frames"]))]
    return [per_second(without_a_short_end(steps)) for steps in of_streams(run, "frames", sum)]


def longest_gaps(run):
    """The longest time between two frames of a stream, in each slot."""
    if not run.summary:
        return of_intervals(run, lambda piece: number(piece["gap"]["max"]) if piece["gap"] else 0)
    return of_streams(run, "longestGap", max)


def findings(run):
    """{kind: frames in each slot}, injected errors included."""
    series = run.summary["series"] if run.summary else counted(run)
    series = series or {"slot": SLOT} | dict.fromkeys(FINDINGS, [])
    return {kind: drawn(run, kind, series, kind, sum) for kind in FINDINGS}


def label(stream):
    answers = {"answer": ", answers", "remote": ", remote"}.get(stream["role"], "")
    return text(f"{stream['name']} on {stream['interface']}{answers}")


def of_streams(run, column, together):
    return [drawn(run, label(stream), stream["series"], column, together) for stream in run.summary["streams"] if stream["series"]]


def drawn(run, name, series, column, together):
    """A column of a series up to the end of the run, in no more slots than are drawn; behind its last slot there was nothing."""
    slot, values, last = number(series["slot"]), [number(value) for value in series[column]], duration(run)
    if slot < SLOT / 2:
        raise ValueError("a slot is too short")
    n = max(-(-len(values) // MOST_DRAWN), 1)
    edges = [*(i * slot for i in range(0, len(values), n)), len(values) * slot]
    values = [together(values[i:i + n]) for i in range(0, len(values), n)]
    if not values or last > edges[-1]:
        return Steps(name, [*edges, last if last > edges[-1] else slot], [*values, 0])
    if last > edges[-2]:
        edges[-1] = last
    return Steps(name, edges, values)


def without_a_short_end(steps):
    """The last slot has often only just begun, and its rate would say little: with the one before it, it says more."""
    edges, values = steps.edges, steps.values
    if len(values) < 2 or edges[-1] - edges[-2] > (edges[-2] - edges[-3]) / 2:
        return steps
    return Steps(steps.label, [*edges[:-2], edges[-1]], [*values[:-2], values[-2] + values[-1]])


def per_second(steps):
    return Steps(steps.label, steps.edges, [value / (end - begin) for value, begin, end in zip(steps.values, steps.edges, steps.edges[1:])])


def of_intervals(run, figure):
    """A figure of what -I told of each stream."""
    pieces = {}
    for piece in run.intervals:
        pieces.setdefault(text(f"{piece['stream']} on {piece['interface']}"), []).append(piece)
    return [Steps(name, ascending([number(told[0]["t"]), *(number(piece["end"]) for piece in told)]), [figure(piece) for piece in told])
            for name, told in pieces.items()]


def ascending(values):
    if any(second <= first for first, second in zip(values, values[1:])):
        raise ValueError("values that do not ascend")
    return values


def counted(run):
    """The series of a run that told only its findings; injected errors are none."""
    slot = SLOT
    while duration(run) / slot >= MOST_SLOTS:
        slot *= 2
    series = {kind: [0] * (int(duration(run) / slot) + 1) for kind in FINDINGS}
    for line in run.findings:
        index, kind, count = int(number(line["t"]) / slot), line["kind"], number(line["count"])
        own = sum(number(n) for cause, n in line["causes"].items() if cause.startswith(OWN_CAUSES)) if kind == "lost" else 0
        series["overrun"][index] += own
        if kind in FINDINGS:
            series[kind][index] += count - own
    return {"slot": slot} | series
