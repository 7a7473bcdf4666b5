"""The command line of qvcancheck-plot, and its errors: one line each."""

import getopt
import logging
import os
import sys

from qvplot.figures import figures_of
from qvplot.run import BadRun, read

USAGE = """\
usage: qvcancheck-plot <options> file...

Draws what qvcancheck --json has told of a run: frames a second, findings, gaps and
round trips on one page. Several runs stand side by side. A file may be -, standard
input.

where options are

  -h, --help             show this help text and exit
  -o, --output=file      write the picture there, as its name ends: .svg, .png or
                         .pdf. Without it a window shows the picture.

example

  qvcancheck -q --json=run.jsonl run.log; qvcancheck-plot -o run.svg run.jsonl
"""
KINDS = ("svg", "png", "pdf")
MOST_RUNS = 8


class WrongCommandLine(Exception):
    pass


def main(words):
    try:
        options, files = parse(words)
        if "-h" in options:
            print(USAGE, end="")
            return 0
        plot(files, options.get("-o"))
        return 0
    except WrongCommandLine as error:
        return refuse(error, 2)
    except BadRun as error:
        return refuse(error, 1)


def refuse(error, status):
    print(f"[ERROR] {error}", file=sys.stderr)
    return status


def parse(words):
    try:
        pairs, files = getopt.gnu_getopt(words, "ho:", ["help", "output="])
    except getopt.GetoptError as error:
        dashes = "--" if len(error.opt) > 1 else "-"
        raise WrongCommandLine(f"Unknown option '{dashes}{error.opt}'") from None
    options = {{"--help": "-h", "--output": "-o"}.get(name, name): value for name, value in pairs}
    if "-h" not in options:
        check(files, options.get("-o"))
    return options, files


def check(files, output):
    if not files:
        raise WrongCommandLine("No file is given")
    if len(files) > MOST_RUNS:
        raise WrongCommandLine(f"A page holds {MOST_RUNS} runs, not {len(files)}")
    if files.count("-") > 1:
        raise WrongCommandLine("Standard input can be one file only")
    if output is not None and kind_of(output) not in KINDS:
        raise WrongCommandLine(f"-o needs a name that ends in .svg, .png or .pdf, not '{output}'")


def kind_of(output):
    return os.path.splitext(output)[1][1:].lower()


def plot(files, output):
    runs = [figures(read(name)) for name in files]
    page = library()
    page.settle(window=output is None)
    if output is None:
        show(page, runs)
    else:
        keep(page.write(page.draw(runs), kind_of(output)), output)


def figures(run):
    try:
        return figures_of(run)
    except (KeyError, TypeError, ValueError, AttributeError) as error:
        raise BadRun(f"{run.name}: not what qvcancheck tells: {type(error).__name__} {error}") from None


def keep(data, output):
    try:
        with open(output, "wb") as file:
            file.write(data)
    except OSError as error:
        raise BadRun(f"{output}: {error.strerror}") from None


def library():
    logging.getLogger("matplotlib").setLevel(logging.ERROR)  # it speaks of its caches as soon as it is imported
    try:
        from qvplot import page
    except ImportError as error:
        raise BadRun(f"matplotlib is needed, on Debian the package python3-matplotlib: {error}") from None
    return page


def show(page, runs):
    from matplotlib import pyplot
    if pyplot.get_backend().lower() == "agg":
        raise BadRun("There is no display for a window: -o writes a file")
    page.draw(runs, pyplot.figure())
    pyplot.show()
