"""The manual pages as mandoc renders them. QV_MAN is the folder of the pages."""

import os
from pathlib import Path
import re
import subprocess

PAGES = ("qvcan.1", "qvcandev.1", "qvbus.1", "qvcancheck.1", "qvcancheck-plot.1", "qvpattern.5", "qvtrace.5", "qv.7")


def path_of(page):
    return Path(os.environ["QV_MAN"], page)


def render(page):
    """Keeps the overstrikes of emphasis: b\bb is bold, _\bu is underlined."""
    return subprocess.run(["mandoc", "-T", "utf8", "-O", "width=400", path_of(page)], capture_output=True, text=True, check=True).stdout


def plain(text):
    return re.sub(".\b", "", text)


def section(page, name):
    """The lines of a section, overstrikes included."""
    lines = render(page).splitlines()
    heads = [i for i, line in enumerate(lines) if line and not line.startswith(" ")] + [len(lines)]
    begin = next(i for i in heads if plain(lines[i]) == name)
    return lines[begin + 1:heads[heads.index(begin) + 1]]


def displays(page):
    """The literal lines: those indented by six more columns than their surroundings."""
    lines = []
    surroundings = 0
    for line in plain(render(page)).splitlines():
        indent = len(line) - len(line.lstrip())
        if line and indent in (5, 13):  # text, and text in a list
            surroundings = indent
        elif line and surroundings and indent >= surroundings + 6:
            lines.append(line[surroundings + 6:])
    return lines
