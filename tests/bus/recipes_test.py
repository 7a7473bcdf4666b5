"""The recipes for a bus run on one as they are written."""

import json
import os
import re
import signal

import pytest

from qv.netem import Netem
from qv.pair import Pair, wait_for_listeners
from qv.qvcan import Answerer
from qv.recipes import on_the_bus, path, recipes
from qv.watched import Program

# Runs the command behind its own options, in the folder where the test is.
SYSTEMD_RUN = """#!/bin/bash
while [[ $1 == --* ]]; do
    [[ $1 =~ ^--(unit=[a-z-]+|property=StateDirectory=qv|working-directory=/var/lib/qv)$ ]] || exit 99
    shift
done
exec "$@"
"""


@pytest.fixture
def bus():
    """The page's interfaces."""
    pair = Pair("can0", "can1")
    yield pair
    pair.delete()


@pytest.fixture
def follow(start, tmp_path):
    """follow(heading) starts the recipe in a folder of its own. A single command takes the shell's place, and gets its signals."""
    (tmp_path / "systemd-run").write_text(SYSTEMD_RUN, encoding="ascii")
    (tmp_path / "systemd-run").chmod(0o755)

    def run(heading):
        followed.add(heading)
        return start(Program, "env", "-C", tmp_path, f"PATH={path(tmp_path)}", "bash", "-c", recipes()[heading])
    return run


followed = set()


def send(qvcan, count=300):
    wait_for_listeners("can1", 1)
    assert qvcan("-d", "can0", "-p", "-i", 1, "-l", count, "-t", "1m").exit_status() == 0


def test_the_line_for_both_directions_passes_where_a_node_answers(bus, start, follow):
    """A machine that pauses for a second makes answers late, which is no fault of the line."""
    start(Answerer, "can1", "-f")
    seen = follow("What canfdtest does, in one line")
    status = seen.exit_status()
    passes = r"PASS: 1,\d{3} frames, none lost, repeated, reordered or corrupted"
    late = r"FAIL: \d{1,3} answers? missing"
    assert re.fullmatch(late if status else passes, seen.out.splitlines()[-1]), seen


def test_the_line_for_both_directions_fails_where_nobody_answers(bus, follow):
    seen = follow("What canfdtest does, in one line")
    assert (seen.exit_status(), seen.out.splitlines()[-1]) == (1, "FAIL: 1,000 answers missing")


def test_the_step_of_ci_passes_and_shows_the_check(bus, follow):
    seen = follow("A step of CI")
    assert (seen.exit_status(), seen.err) == (0, "")
    assert "\nstart " in seen.out
    assert seen.out.splitlines()[-1] == "PASS: 1,000 frames, none lost, repeated, reordered or corrupted"


def test_the_step_of_ci_fails_where_frames_are_repeated(bus, follow):
    Netem("can0", "duplicate", "5%")
    seen = follow("A step of CI")
    assert seen.exit_status() == 1
    assert re.fullmatch(r"FAIL: \d+ frames repeated", seen.out.splitlines()[-1]), seen


def test_a_check_that_timeout_ends_has_the_verdict_as_its_status(bus, follow, qvcan):
    """Its time ends with an alarm, which comes at once here."""
    seen = follow("With a time limit")
    send(qvcan)
    seen.signal(signal.SIGALRM)
    assert (seen.exit_status(), seen.out) == (0, "PASS: 300 frames, none lost, repeated, reordered or corrupted\n")


def test_a_weekend_that_is_stopped_is_judged_and_leaves_its_files(bus, follow, qvcan, tmp_path):
    """In place of systemd-run its options are looked at, and the command is run."""
    seen = follow("A weekend, under systemd")
    send(qvcan)
    seen.signal(signal.SIGTERM)
    assert seen.exit_status() == 128 + signal.SIGTERM
    assert seen.out.splitlines()[-1] == "PASS: 300 frames, none lost, repeated, reordered or corrupted"
    summary = json.loads((tmp_path / "run.jsonl").read_text(encoding="utf-8").splitlines()[-1])
    assert (summary["verdict"], summary["ended"], summary["planned"]) == ("pass", "SIGTERM", False)
    assert (tmp_path / "run.log").exists()


def test_every_recipe_for_a_bus_was_run():
    assert followed == on_the_bus()
