"""The messages in the pages are those of the programs."""

from pathlib import Path
import re

import pytest

from qv.page import plain, section
from qv.options import PROGRAMS


def messages(program):
    """Each message as the list of its fixed parts; what stands for something else is underlined."""
    lines = [line for line in section(f"{program}.1", "DIAGNOSTICS") if re.match(r" {5}[^ ]", line)]
    assert len(lines) > 5
    return [[plain(part) for part in re.split("(?:_\b.)+", line.strip())] for line in lines]


# The sources, not the programs: a compiler may take texts to pieces.
HOUSE = Path(__file__).resolve().parents[2]
SOURCES = "".join(path.read_text(encoding="utf-8") for files in ("qvtools/*.[ch]*", "qvbus/*.[ch]*", "libqv*/*.[ch]*", "qvplot/*.py")
                  for path in sorted(HOUSE.glob(files)))


def known(part):
    """True when the sources have the pieces of which the text is put together at run time."""
    pieces = re.split(r"\[ERROR\] |BZ::|\(\) |trace buffer: |bytes", part)
    return all(piece.strip("'\": ") in SOURCES for piece in pieces)


@pytest.mark.parametrize("program", PROGRAMS)
def test_every_message_in_the_page_is_one_of_the_programs(program):
    assert [message for message in messages(program) if not all(known(part) for part in message)] == []


# What the programs can say about a run. The help texts and the counters of the dormant modes are no diagnostics.
@pytest.mark.parametrize("program, text", [
    *(("qvcan", text) for text in (
        "error creating socket", "too long", "ioctl error", "cannot disable loopback", "enabled CAN_RAW_FD_FRAMES",
        "cannot enable CAN_RAW_FD_FRAMES", "bind error", "read error", "read: incomplete CAN frame")),
    *(("qvcandev", text) for text in ("error opening", "buffer read", "trace buffer: passed over", "the input ended inside a record")),
    *((program, text) for program in ("qvcan", "qvcandev") for text in (
        "Unknown option", "Unexpected argument", "invalid unit", "Cannot write to standard output", "nothing to send, just reading ...",
        "write error", "write: incomplete CAN frame", "select", "threadCode")),
    *(("qvbus", text) for text in (
        "Unknown option", "Unexpected argument", "The number of nodes is 2 to 64, not", "pseudo-terminal for", "trace buffer: passed over",
        "select", "Cannot write to standard output")),
    *(("qvcancheck-plot", text) for text in (
        "Unknown option", "No file is given", "A page holds", "Standard input can be one file only",
        "-o needs a name that ends in .svg, .png or .pdf, not", "does not begin like the JSON of qvcancheck", "is JSON of version",
        "holds more than one run", "is no JSON", "is too long", "not what qvcancheck tells:", "matplotlib is needed",
        "There is no display for a window: -o writes a file")),
])
def test_the_page_has_the_message(program, text):
    assert any(text in part for message in messages(program) for part in message)
