"""qvcancheck on the gaps of a sender, and the manual's commands as they are written."""

import os
from pathlib import Path
import re
import shlex
import signal
import time

import pytest

from qv.frame import Frame
from qv.livecheck import Check, streams
from qv.pair import Pair, wait_for_listeners
from qv.traffic import can_frame, pattern
from qv.watched import Program

MANUAL = Path(__file__).resolve().parents[2] / "man" / "qvcancheck.1.in"
ENOUGH = 150  # frames; from 100 gaps on their mean is judged


@pytest.fixture
def gaps_told(bus, start, qvcan):
    """gaps_told(sent gap, demanded gap) gives the check that has ended."""
    def run(sent, demanded):
        seen = start(Check, "-d", bus.far, "-i", 1, "-l", ENOUGH, "-t", demanded)
        assert qvcan("-d", bus.near, "-p", "-i", 1, "-l", ENOUGH, "-t", sent, "-j", 0).exit_status() == 0
        seen.exit_status()
        assert streams(seen.summary(), "lost", "intact") == (0, ENOUGH)
        return seen
    return run


@pytest.mark.parametrize("sent, demanded", [("30m", "20m"), ("10m", "20m")], ids=["slow", "fast"])
def test_a_sender_that_is_too_slow_or_too_fast_is_a_finding(gaps_told, sent, demanded):
    seen = gaps_told(sent, demanded)
    assert [one["kind"] for one in seen.objects("finding")] == ["pace"]
    assert seen.exit_status() == 1


def test_a_sender_with_the_demanded_gap_passes(gaps_told):
    seen = gaps_told("30m", "30m")
    assert seen.objects("finding") == []
    assert seen.exit_status() == 0


LATE = 8


@pytest.mark.parametrize("demand, expected", [
    (["--max-gap", 1], [("gap", LATE - 1)]), (["--max-gap", 60], []),
    (["-t", "500m", "-j", "499m"], [("pace", LATE)]), (["-t", "5000m", "-j", "4999m"], []), (["-t", "500m"], []), (["-t", 0, "-j", 0], []),
], ids=["max_gap", "wide_max_gap", "jitter", "wide_jitter", "mean_only", "no_gap"])
def test_one_frame_that_is_late_is_one_finding_at_its_place(bus, start, peer, demand, expected):
    """A silence is told while it lasts, so by the frame before it; a gap by the frame that ends it."""
    seen = start(Check, "-d", bus.far, "-i", 1, "-l", 12, "-w", "100m", *demand)
    node = peer(bus.near)
    for record in pattern(1, 12):
        time.sleep(2 if record.number == LATE else 0.1)
        node.send(Frame.unpack(can_frame(record)))
    assert seen.exit_status() == len(expected), seen
    told = seen.objects("finding")
    assert [(one["kind"], one["first"]) for one in told] == expected
    assert all(one["span"] > 1 for one in told)


def live_commands():
    """What the manual's examples say to run on an interface, as typed."""
    examples = MANUAL.read_text().split(".Sh EXAMPLES")[1]
    typed = [re.sub(r"\\([-(])", r"\1", line.removeprefix(".Dl ")) for line in examples.splitlines() if line.startswith(".Dl ")]
    return [line for line in typed if re.search(r"\bcan\d\b", line)]


def test_the_manual_has_commands_for_the_bus():
    assert len(live_commands()) >= 4


@pytest.fixture
def bus():
    """The manual's interfaces."""
    pair = Pair("can0", "can1")
    yield pair
    pair.delete()


@pytest.mark.parametrize("line", live_commands())
def test_a_command_of_the_manual_judges_what_it_says(bus, start, qvcan, tmp_path, line):
    """timeout hands the signal on: once to a single command, and once to each of a pipeline."""
    far = re.search(r"\bcan\d\b", line)[0]
    sender = ["-f", "-t", "2m", "-j", 0] + (["-e", 100] if "-e 100" in line else [])
    foreground, alone = ([], "") if "|" in line else (["--foreground"], "exec ")
    words = f"cd {shlex.quote(str(tmp_path))} && PATH={shlex.quote(os.environ['QV_BIN'])}:$PATH && {alone}{line}"
    seen = start(Program, "timeout", *foreground, "--preserve-status", "-s", "INT", "300", "bash", "-c", words)
    wait_for_listeners(far, 1)
    assert qvcan("-d", bus.other(far), "-p", "-i", 1, "-l", 300, *sender).exit_status() == 0
    seen.wait_for_out("stream: FD 64, standard, start 001")
    seen.signal(signal.SIGINT)
    seen.exit_status()
    # The plan of 100,000 frames was cut short.
    assert seen.out.splitlines()[-1].startswith("FAIL" if "-l 100000" in line else "PASS"), seen
    assert "[ERROR]" not in seen.err
