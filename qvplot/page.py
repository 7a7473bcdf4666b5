"""The page: for each run a heading and four panels, runs side by side."""

import io
import textwrap
import warnings

import matplotlib
from matplotlib.figure import Figure

from qvplot import panels
from qvplot.axes import BLACK, GREEN, VERMILLION

VERDICTS = {"pass": GREEN, "fail": VERMILLION}
METADATA = {"svg": {"Date": None}, "pdf": {"CreationDate": None}, "png": {"Software": None}}
LINE = 0.145  # inches of the heading
COMMON = {"frames a second": "y", "gaps": "xy", "round trip": "y", "longest gap": "y"}  # scales that all runs share, by title
SETTINGS = {
    "font.size": 8, "axes.titlesize": 9, "axes.titleweight": "bold", "axes.titlelocation": "left", "axes.grid": True, "grid.color": "#DDDDDD",
    "axes.axisbelow": True, "axes.spines.top": False, "axes.spines.right": False, "legend.fontsize": 7, "legend.framealpha": 0.9,
    "hatch.linewidth": 0.6, "text.parse_math": False, "svg.hashsalt": "qvcancheck-plot",
}


def settle(window):
    """The same picture whatever the user's own settings are, and no warning of the library's on standard error."""
    matplotlib.rcdefaults()
    matplotlib.rcParams.update(SETTINGS)
    if not window:
        matplotlib.use("Agg")
    warnings.simplefilter("ignore")


def draw(runs, figure=None):
    """The page of these Figures of runs."""
    figure = figure or Figure()
    width, height = (11.7, 8.3) if len(runs) == 1 else (6 * len(runs), 14)
    figure.set_size_inches(width, height)
    figure.set_facecolor("white")
    figure.set_layout_engine("constrained", w_pad=0.12, h_pad=0.08)
    headings = [heading(run, width / len(runs)) for run in runs]
    share = max(map(lines_of, headings)) * LINE / height
    drawn = []
    for run, words, cells in zip(runs, headings, places(figure, len(runs), share)):
        write_heading(figure.add_subplot(cells[0]), words)
        drawn.append([figure.add_subplot(cell) for cell in cells[1:]])
        for panel, axes in zip((panels.rates, panels.found, panels.gaps, panels.answers), drawn[-1]):
            panel(axes, run)
    for row in zip(*drawn):
        share_scales(row)
    return figure


def places(figure, n, share):
    """The cells of each run, the heading first: two by two, or, of several runs, one below the other."""
    if n == 1:
        grid = figure.add_gridspec(3, 2, height_ratios=[share, *[(1 - share) / 2] * 2])
        return [[grid[0, :], grid[1, 0], grid[1, 1], grid[2, 0], grid[2, 1]]]
    grid = figure.add_gridspec(5, n, height_ratios=[share, *[(1 - share) / 4] * 4])
    return [[grid[row, column] for row in range(5)] for column in range(n)]


def share_scales(row):
    """What is compared has one scale. A panel without content has no ticks and no part in it."""
    filled = [axes for axes in row if len(axes.get_yticks())]
    for title, which in COMMON.items():
        same = [axes for axes in filled if axes.get_title(loc="left").startswith(title)]
        for name in which if len(same) > 1 else "":
            limits = [getattr(axes, f"get_{name}lim")() for axes in same]
            for axes in same:
                getattr(axes, f"set_{name}lim")(min(low for low, _ in limits), max(high for _, high in limits))


def heading(run, width):
    """[(text, its looks)]: the verdict, the counts, the command line, where and when."""
    told = [(run.heading, {"fontsize": 13, "fontweight": "bold", "color": VERDICTS.get(run.verdict, BLACK)})]
    told += [(text, {}) for text in run.counts]
    told += [(run.command, {"family": "monospace"}), (run.origin, {})]
    return [(textwrap.fill(text, int(width * (8 if "fontsize" in looks else 15))), looks) for text, looks in told]


def lines_of(words):
    """The height of a heading, in its lines of usual size."""
    return sum((text.count("\n") + 1) * (1.7 if "fontsize" in looks else 1) for text, looks in words)


def write_heading(axes, words):
    axes.axis("off")
    below = 0
    for text, looks in words:
        axes.annotate(text, (0, 1), (0, -below * LINE * 72), xycoords="axes fraction", textcoords="offset points", va="top",
                      annotation_clip=False, **looks)
        below += lines_of([(text, looks)])


def write(figure, kind):
    """The bytes of a picture: svg, png or pdf. The same runs give the same bytes."""
    out = io.BytesIO()
    figure.savefig(out, format=kind, dpi=150, metadata=METADATA[kind])
    return out.getvalue()
