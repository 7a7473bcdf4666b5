"""All that the page says of a run: figures of its JSON, sorted into what is drawn. No drawing is done here."""

from dataclasses import dataclass
import shlex

from qvplot import slots, spreads
from qvplot.run import number, text

MARKED = ("restart", "jump")  # findings that are marked as events are
ENDS = {"link up": "link down", "interface made again": "interface deleted"}  # what ends, and what had begun
MOST_TOLD = 4  # streams whose counts are said in words
COUNTS = ("expected", "intact", "corrupted", "lost", "repeated", "reordered", "late")


@dataclass
class Mark:
    """Something that happened; `end` is None but for what lasts."""
    kind: str
    begin: float
    end: float | None = None


@dataclass
class Figures:
    whole: bool  # the run has a summary
    verdict: str
    heading: str
    counts: list
    command: str
    origin: str
    duration: float
    rates: list
    longest_gaps: list
    findings: dict
    marks: list
    gaps: list
    told_gap: tuple | None
    round_trips: list


def figures_of(run):
    """Raises KeyError, TypeError, ValueError or AttributeError when a line is JSON, and yet not what qvcancheck tells."""
    summary, start = run.summary, run.start
    return Figures(
        whole=summary is not None,
        verdict=text(summary["verdict"]) if summary else "",
        heading=text(summary["verdictLine"]) if summary else "CUT OFF: there is no summary, and so the picture ends with what was told",
        counts=counts(summary) if summary else [],
        command=text(shlex.join(start["command"])),
        origin=", ".join([text(start["host"] or "unknown host"), date(start["start"]), text(start["program"]), text(run.name)]),
        duration=slots.duration(run),
        rates=slots.frame_rates(run),
        longest_gaps=slots.longest_gaps(run),
        findings=slots.findings(run),
        marks=marks(run),
        gaps=spreads.gaps(run),
        told_gap=told_gap(start["pace"]),
        round_trips=spreads.round_trips(run),
    )


def date(stamp):
    return text(stamp).replace("T", " ").replace("Z", " UTC") if stamp else "no date"


def counts(summary):
    streams = summary["streams"]
    texts = [f"{number(summary['frames']):,} frames in {number(summary['duration']):.3f} s, {number(summary['pattern']):,} of a pattern, "
             f"{number(summary['foreign']):,} of others; ended: {text(summary['ended'])}"]
    texts += [counts_of(stream) for stream in streams[:MOST_TOLD]]
    return texts + [f"and {len(streams) - MOST_TOLD} more streams"] * (len(streams) > MOST_TOLD)


def counts_of(stream):
    told = {name: f"{number(stream[name]):,} {name}" for name in COUNTS}
    injected = stream["injected"]
    if injected:
        told["corrupted"] += f" ({number(injected['found']):,} as {'told' if injected['told'] else 'if injected'})"
    return f"{slots.label(stream)}: {', '.join(told.values())}"


def told_gap(pace):
    """(shortest, longest) gap that the sender was told to keep; None: the check was told none."""
    if pace is None:
        return None
    gap, jitter = number(pace["gap"]), number(pace["jitter"])
    return max(gap - jitter, 0), gap + jitter


def marks(run):
    """What happened beside the frames, in the order of time. What does not end lasts to the end of the run."""
    found = [Mark(text(line["kind"]), number(line["t"])) for line in run.findings if line["kind"] in MARKED]
    lasting = {}
    for event in run.events:
        what, time, interface = event["what"], number(event["t"]), text(event["interface"])
        if what in ENDS:
            begun = lasting.pop((ENDS[what], interface), None)
            if begun:
                begun.end = time
            continue
        mark = Mark(text(error_class(event["text"]) if what == "error frame" else what), time)
        if what in ENDS.values():
            mark.end = max(slots.duration(run), time)
            lasting[what, interface] = mark
        found.append(mark)
    return sorted(found, key=lambda mark: mark.begin)


def error_class(words):
    """What an error frame is called that tells of a controller that left or joined the bus; others have one name."""
    classes = [word.split(":")[0] for word in words.split("; ")]
    return next((name for name in ("bus-off", "restarted") if name in classes), "error frame")
