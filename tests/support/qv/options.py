"""The programs, and the option tables that their -h prints.

QV_BIN is the folder of the programs. QV_RUNNER precedes each command, for programs of another machine.
"""

from dataclasses import dataclass
import os
from pathlib import Path
import re
import shlex
import subprocess

PROGRAMS = ("qvcan", "qvcandev", "qvbus", "qvcancheck", "qvcancheck-plot")
PATIENCE = 60  # seconds; only a failure waits that long


def path_of(program):
    return str(Path(os.environ["QV_BIN"], program).resolve())


def command(program, *options):
    return [*shlex.split(os.environ.get("QV_RUNNER", "")), path_of(program), *options]


def run(program, *options):
    return subprocess.run(command(program, *options), stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=PATIENCE, check=False)


@dataclass(frozen=True)
class Option:
    short: str  # "" if it has only a long form
    long: str
    argument: str  # "" if it takes none
    optional: bool  # the argument may be omitted

    @property
    def shown(self):
        argument = f"={self.argument}" if self.argument else ""
        return ", ".join(filter(None, [self.short, self.long])) + (f"[{argument}]" if self.optional else argument)


ROW = re.compile(r"^ +(?:(-\w), +)?(--[\w-]+)(?:=([^]\s]+)|\[=(\S+)\])?(?: .*)?$")


def option_in(line):
    """The option that a line of a help text or page describes, or None."""
    row = ROW.match(line)
    return Option(row[1] or "", row[2], row[3] or row[4] or "", bool(row[4])) if row else None


def options_of(program):
    return [option for option in map(option_in, run(program, "-h").stdout.splitlines()) if option]
