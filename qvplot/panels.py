"""The four panels of a run."""

from matplotlib.ticker import FuncFormatter, MaxNLocator

from qvplot import spreads
from qvplot.axes import (BLACK, count_text, empty, GREEN, GREY, legend, line_of, logarithmic, MOST_NAMED, note, PURPLE,
                         since_the_first_frame, SKY, steps, time_text, VERMILLION, YELLOW)

FINDINGS = {  # kind: its name, colour, edge and hatch, from the bottom up
    "lost": ("lost before this host", BLACK, BLACK, None),
    "overrun": ("lost by this host or the logger", SKY, BLACK, "\\\\\\\\\\\\"),
    "repeated": ("repeated", YELLOW, BLACK, None),
    "reordered": ("reordered", PURPLE, BLACK, None),
    "corrupted": ("corrupted", VERMILLION, BLACK, None),
    "injected": ("corrupted as told", "#FFFFFF", VERMILLION, "//////"),
}
EVENTS = {"bus-off": (BLACK, "-"), "restarted": (BLACK, "--"), "restart": (PURPLE, "--"), "jump": (PURPLE, ":")}
SHARES = (0.5, 0.9, 0.99, 0.999, 0.9999)
HEADROOM = 1.35  # above what is drawn, for the legend
MANY = 50


def rates(axes, run):
    axes.set_title("frames a second")
    steps(axes, run.rates)
    since_the_first_frame(axes, run)
    for kind in dict.fromkeys(mark.kind for mark in run.marks):
        draw_marks(axes, [mark for mark in run.marks if mark.kind == kind])
    highest = max((max(line.values) for line in run.rates), default=0)
    axes.set_ylim(0, highest * HEADROOM or 1)
    axes.yaxis.set_major_formatter(FuncFormatter(count_text))
    if not run.rates:
        note(axes, "no stream" if run.whole else "not told: neither a summary nor intervals (-I)")
    legend(axes, len(run.rates) - MOST_NAMED, columns=2)


def draw_marks(axes, marks):
    """Those of one kind."""
    colour, dashes = EVENTS.get(marks[0].kind, (GREY, ":"))
    name = f"{marks[0].kind} ({len(marks)})"
    for mark in marks:
        if mark.end is None:
            axes.axvline(mark.begin, color=colour, linestyle=dashes, linewidth=0.9, label=name)
        else:
            axes.axvspan(mark.begin, mark.end, color="#CCCCCC", linewidth=0, zorder=0.5, label=name)
        name = None


def found(axes, run):
    axes.set_title("findings")
    slots = next(iter(run.findings.values()))
    below = [0] * len(slots.values)
    for kind, (name, colour, edge, hatch) in FINDINGS.items():
        values = run.findings[kind].values
        if any(values):
            top = [a + b for a, b in zip(below, values)]
            shown = [high if value else float("nan") for high, value in zip(top, values)]  # no edge around nothing
            axes.stairs(shown, slots.edges, baseline=below, fill=True, facecolor=colour, edgecolor=edge, hatch=hatch, linewidth=0.3,
                        label=f"{name} ({sum(values):,})")
            below = top
    since_the_first_frame(axes, run)
    scale(axes, max(below), f"frames in {time_text(slots.edges[1] - slots.edges[0])}")
    if not any(below):
        note(axes, "nothing found" if run.whole else "nothing told")
    legend(axes, columns=2)


def scale(axes, highest, text):
    axes.set_ylabel(text)
    headroom = HEADROOM
    if highest > MANY:
        # Where thousands were lost at once, one that was lost alone is seen as well.
        axes.set_yscale("function", functions=(lambda y: abs(y) ** 0.5, lambda y: y ** 2))
        axes.set_ylabel(f"{text}, square-root scale")
        headroom = HEADROOM ** 2
    axes.set_ylim(0, highest * headroom or 1)
    axes.yaxis.set_major_locator(MaxNLocator(nbins=6, integer=True))
    axes.yaxis.set_major_formatter(FuncFormatter(count_text))


def gaps(axes, run):
    axes.set_title("gaps between neighbouring frames (● p50  ▲ p99  ■ max)")
    if not run.gaps:
        empty(axes, "no gaps" if run.whole else "not told: no summary")
        return
    axes.set_xscale("log")
    axes.set_yscale("log")
    shade_told(axes, run.told_gap)
    for i, spread in enumerate(run.gaps):
        edges, counts = spreads.outline(spread)
        name = f"{spread.label}: {time_text(spread.p50)}, {time_text(spread.p99)}, {time_text(spread.longest)}"
        axes.stairs(counts, edges, baseline=0.5, linewidth=1, label=name if i < MOST_NAMED else None, **line_of(i))
        for time, shape in ((spread.p50, "o"), (spread.p99, "^"), (spread.longest, "s")):
            axes.plot(time, spreads.height_at(spread, time), shape, color=line_of(i)["color"], markersize=6, markeredgecolor=BLACK)
    highest = max(count for spread in run.gaps for _, _, count in spread.buckets)
    axes.set_ylim(0.5, 0.5 * (highest * 2) ** HEADROOM)
    logarithmic(axes.xaxis, time_text)
    logarithmic(axes.yaxis, count_text)
    axes.set_ylabel("gaps in a bucket of 3 %")
    legend(axes, len(run.gaps) - MOST_NAMED)


def shade_told(axes, told):
    if told and told[0] == told[1] > 0:
        axes.axvline(told[0], color=GREEN, linewidth=4, alpha=0.4, label=f"told: {time_text(told[0])}")
    elif told and told[1] > 0:
        axes.axvspan(max(told[0], 1e-7), told[1], color=GREEN, alpha=0.2, linewidth=0, label=f"told: {time_text(told[0])} to {time_text(told[1])}")


def answers(axes, run):
    """The round trips, or without any the longest gaps."""
    if not run.round_trips:
        longest_gaps(axes, run)
        return
    axes.set_title("round trip")
    axes.set_xscale("log")
    axes.set_yscale("log")
    for i, spread in enumerate(run.round_trips):
        name = f"{spread.label}: p50 {time_text(spread.p50)}, p99 {time_text(spread.p99)}, max {time_text(spread.longest)}"
        axes.plot(*curve(spread), linewidth=1.2, label=name if i < MOST_NAMED else None, **line_of(i))
    axes.set_xlim(one_in(SHARES[0]), one_in(SHARES[-1]))
    axes.set_xticks([one_in(share) for share in SHARES], [f"{share * 100:.6g} %" for share in SHARES])
    axes.set_xticks([], minor=True)
    axes.set_xlabel("of the answers came within")
    logarithmic(axes.yaxis, time_text)
    legend(axes, len(run.round_trips) - MOST_NAMED, place="lower right")  # the curve climbs


def curve(spread):
    """From the median on; the last time reaches to the right edge and beyond."""
    xs, ys = [], []
    for low, high, time in spreads.shares(spread):
        if high > SHARES[0]:
            xs += [one_in(max(low, SHARES[0])), one_in(min(high, 1 - 1e-9))]
            ys += [time, time]
    return xs, ys


def one_in(share):
    return 1 / (1 - share)


def longest_gaps(axes, run):
    axes.set_title("longest gap")
    if not any(value for line in run.longest_gaps for value in line.values):
        empty(axes, "no gaps" if run.whole else "not told: neither a summary nor intervals (-I)")
        return
    axes.set_yscale("log")
    steps(axes, run.longest_gaps)
    since_the_first_frame(axes, run)
    logarithmic(axes.yaxis, time_text)
    low, high = axes.get_ylim()
    axes.set_ylim(low / 1.2, high * (high / low) ** (HEADROOM - 1) * 1.2)
    legend(axes, len(run.longest_gaps) - MOST_NAMED, columns=2)
