"""A run of qvcancheck, as the file of its --json tells it: one object a line, docs/check.schema.json."""

from dataclasses import dataclass, field
import json
import sys

VERSION = 1  # of the JSON
LONGEST_LINE = 1 << 24  # 64 streams and their histograms take 3 MB


class BadRun(Exception):
    """Why a file is no run that can be drawn. The text names the file."""


@dataclass
class Run:
    name: str
    start: dict
    findings: list = field(default_factory=list)
    events: list = field(default_factory=list)
    intervals: list = field(default_factory=list)
    summary: dict | None = None  # None: the run, or its file, was cut off


def number(value):
    """A number as qvcancheck writes it: not below 0, and of no more than 64 bits. A bool is none."""
    if isinstance(value, bool) or not isinstance(value, (int, float)) or not 0 <= value < 1 << 64:
        raise ValueError(f"{value!r:.40} is no such number")
    return value


def text(value):
    """A text of one line."""
    if not isinstance(value, str):
        raise ValueError(f"{value!r:.40} is no text")
    return "".join(c if c.isprintable() else "?" for c in value[:1000])


def read(name):
    """The run in a file; `-` is standard input. Raises BadRun."""
    try:
        if name == "-":
            return parse("standard input", sys.stdin.buffer)
        with open(name, "rb") as file:
            return parse(name, file)
    except OSError as error:
        raise BadRun(f"{name}: {error.strerror}") from None


def parse(name, file):
    lines = parsed_lines(name, file)
    first = next(lines, None)
    if not isinstance(first, dict) or first.get("event") != "start":
        raise BadRun(f"{name}: does not begin like the JSON of qvcancheck")
    if first.get("version") != VERSION:
        raise BadRun(f"{name}: is JSON of version {first.get('version')}, and not of version {VERSION}")
    run = Run(name, first)
    kinds = {"finding": run.findings, "event": run.events, "interval": run.intervals}
    for line in lines:
        kind = line.get("event") if isinstance(line, dict) else None
        if kind == "start":
            raise BadRun(f"{name}: holds more than one run")
        if kind == "summary":
            run.summary = line
        elif isinstance(kind, str) and kind in kinds:
            kinds[kind].append(line)
    return run


def parsed_lines(name, file):
    """The value of each line. A last line without its end is one that was not finished."""
    n = 0
    while line := file.readline(LONGEST_LINE):
        n += 1
        if not line.endswith(b"\n"):
            if len(line) == LONGEST_LINE:
                raise BadRun(f"{name}: line {n} is too long")
            return
        try:
            yield json.loads(line)
        except (ValueError, RecursionError):
            raise BadRun(f"{name}: line {n} is no JSON") from None
