"""The commands of qvcancheck's page, run on recordings of a sender."""

import gzip
import os
from pathlib import Path
import re
import shlex
import subprocess

import pytest

from qv.checklog import clean_log
from qv.options import PATIENCE, run
from qv.page import displays, PAGES


def commands():
    return [line for line in displays("qvcancheck.1") if "qvcancheck" in line and " -d can" not in line and not line.startswith("qvcan ")]


def on_the_bus():
    """The checks of a bus in all pages, and those of what a sender prints."""
    lines = [line for page in PAGES if page != "qvcancheck-plot.1" for line in displays(page)]
    checks = [re.search(r"qvcancheck (-d can\d.*|.*-)$", line) for line in lines if not line.startswith(("candump", "zcat"))]
    return sorted({check[0] for check in checks if check})


@pytest.fixture
def recordings(tmp_path):
    """run.log and weekend.log: a clean run of what the page demands, a loss in the other. candump gives the first one."""
    log = clean_log(100000, fd=True, period=100)
    (tmp_path / "run.log").write_text(log, encoding="ascii")
    (tmp_path / "run.log.gz").write_bytes(gzip.compress(log.encode(), 1))
    lines = log.splitlines(keepends=True)
    (tmp_path / "weekend.log").write_text("".join(lines[:500] + lines[501:1000]), encoding="ascii")
    candump = tmp_path / "candump"
    candump.write_text('#!/bin/sh\n[ "$*" = "-d -L can0" ] && exec head -n 2000 run.log\n', encoding="ascii")
    candump.chmod(0o755)
    return tmp_path


# What the last line of each command says.
SAID = {
    "candump -d -L can0 | qvcancheck -": "FAIL: 20 frames corrupted",
    "qvcancheck -f -i 1 -l 100000 -e 100 run.log": "PASS: 100,000 frames, none lost, repeated or reordered; 1,000 corrupted as told",
    'qvcancheck -q weekend.log || echo "look at it"': "look at it",
    "zcat run.log.gz | qvcancheck -": "FAIL: 1,000 frames corrupted",
    "qvcancheck --json run.log | tail -n 1 | jq '.streams[] | [.name, .lost]'": "]",
}


def test_the_page_has_these_commands():
    assert commands() == list(SAID)


@pytest.mark.parametrize("line", SAID)
def test_a_command_does_what_the_page_says(line, recordings):
    path = f"{recordings}:{Path(os.environ['QV_BIN']).resolve()}:{os.environ['PATH']}"
    done = subprocess.run(["sh", "-c", line], cwd=recordings, env={**os.environ, "PATH": path}, capture_output=True, text=True, timeout=PATIENCE,
                          check=False)
    assert (done.stderr, done.stdout.splitlines()[-1]) == ("", SAID[line])


@pytest.mark.parametrize("line", on_the_bus())
def test_a_check_on_the_bus_is_understood(line):
    program, *words = shlex.split(line)
    done = run(program, "-q", *words, *(["-d", "nosuch0"] if "-d" in words else []))
    assert done.stderr == ""
    without = "No such device|not supported by protocol" if "-d" in words else "NO PATTERN: 0 frames|FAIL: 1 stream absent"
    assert re.search(without, done.stdout) and done.returncode in (1, 3, 4)
