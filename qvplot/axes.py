"""Scales, units, colours and legends that the panels share."""

import math

from matplotlib.ticker import FuncFormatter, Locator, MaxNLocator, NullLocator

# Okabe and Ito, 2008: told apart by every kind of eye. In grey, brightness and dashes do it.
BLUE, VERMILLION, GREEN, SKY, PURPLE, ORANGE, YELLOW, BLACK, GREY = (
    "#0072B2", "#D55E00", "#009E73", "#56B4E9", "#CC79A7", "#E69F00", "#F0E442", "#000000", "#777777")
LINES = ((BLUE, "-"), (ORANGE, "-"), (BLACK, "--"), (GREEN, "-."), (PURPLE, ":"), (VERMILLION, "--"))
MOST_NAMED = 6  # lines in a legend
UNITS = ((3 * 86400, 86400, "days"), (2 * 3600, 3600, "h"), (600, 60, "min"), (0, 1, "s"))  # above so many seconds, a unit


def line_of(i):
    colour, dashes = LINES[i % len(LINES)]
    return {"color": colour, "linestyle": dashes}


def time_text(seconds, _=None):
    for unit, name in ((1, "s"), (1e-3, "ms"), (1e-6, "µs"), (1e-9, "ns")):
        if seconds >= unit * (1 - 1e-9):
            return f"{seconds / unit:.4g} {name}"
    return "0"


def count_text(n, _=None):
    return f"{n:,.6g}"


class UnitLocator(MaxNLocator):
    """Round numbers of a unit."""

    def __init__(self, unit):
        super().__init__(nbins=8, steps=[1, 2, 3, 5, 6, 10])
        self.unit = unit

    def tick_values(self, vmin, vmax):
        return super().tick_values(vmin / self.unit, vmax / self.unit) * self.unit


class DecadeLocator(Locator):
    """Powers of ten, or numbers between them as well where there are too few; so many of them that they have room."""

    STEPS = ((1,), (1, 3), (1, 2, 5), (1, 1.5, 2, 3, 4, 5, 7), (1, 1.1, 1.2, 1.3, 1.4, 1.6, 1.8, 2, 2.3, 2.6, 3, 3.5, 4, 4.5, 5, 6, 7, 8, 9))
    MOST = 9

    def __call__(self):
        return self.tick_values(*self.axis.get_view_interval())

    def tick_values(self, vmin, vmax):
        low, high = sorted((max(vmin, 1e-12), max(vmax, 1e-12)))
        for steps in self.STEPS:
            ticks = [step * 10.0 ** power for power in range(math.floor(math.log10(low)), math.ceil(math.log10(high)) + 1) for step in steps]
            ticks = [tick for tick in ticks if low <= tick <= high]
            if len(ticks) >= 4:
                break
        return ticks[::-(-len(ticks) // self.MOST)] if ticks else []


def logarithmic(axis, text):
    axis.set_major_locator(DecadeLocator())
    axis.set_major_formatter(FuncFormatter(text))
    axis.set_minor_locator(NullLocator())


def since_the_first_frame(axes, run):
    unit, name = next((unit, name) for least, unit, name in UNITS if run.duration >= least)
    axes.set_xlim(0, max(run.duration, 1e-3))
    axes.xaxis.set_major_locator(UnitLocator(unit))
    axes.xaxis.set_major_formatter(FuncFormatter(lambda x, _: f"{x / unit:g}"))
    axes.set_xlabel(f"since the first frame ({name})")


def note(axes, text):
    """What a panel without content says."""
    axes.text(0.5, 0.5, text, transform=axes.transAxes, ha="center", va="center", color=GREY)


def empty(axes, text):
    note(axes, text)
    axes.set_xticks([])
    axes.set_yticks([])


def legend(axes, further=0, columns=1, place="upper right"):
    handles, labels = axes.get_legend_handles_labels()
    if handles:
        axes.legend(handles, labels, title=f"and {further} more" if further > 0 else None, title_fontsize=7, ncols=columns, loc=place)


def steps(axes, lines):
    for i, line in enumerate(lines):
        # A logarithmic scale has no 0.
        values = [value or float("nan") for value in line.values] if axes.get_yscale() == "log" else line.values
        axes.stairs(values, line.edges, baseline=None, linewidth=1, label=line.label if i < MOST_NAMED else None, **line_of(i))
