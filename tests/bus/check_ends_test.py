"""How a check on the bus ends, and what it says then."""

import json
import os
from pathlib import Path
import re
import signal
import subprocess
import time

import pytest

from qv.livecheck import Check, streams
from qv.pair import wait_for_listeners
from qv.waiting import PATIENCE, wait_until
from qv.watched import Program


@pytest.fixture
def check(start):
    return lambda *options: start(Check, *options)


@pytest.fixture
def send(bus, qvcan):
    def run(count, *options):
        assert qvcan("-d", bus.near, "-p", "-l", count, "-t", "1m", "-j", 0, *options).exit_status() == 0
    return run


def test_the_number_of_frames_ends_it_and_passes(bus, check, send):
    seen = check("-d", bus.far, "-i", 1, "-l", 100)
    send(100, "-i", 1)
    assert seen.exit_status() == 0, seen
    assert (seen.summary()["ended"], seen.summary()["planned"]) == ("-l", True)


def test_a_frame_too_many_is_seen_before_the_end(bus, check, send):
    seen = check("-d", bus.far, "-i", 1, "-l", 100, "-w", 3)
    send(101, "-i", 1)
    assert seen.exit_status() == 1, seen
    assert seen.summary()["findings"] == {"surplus": 1}


def test_silence_ends_a_check_that_wants_a_number(bus, check, send):
    seen = check("-d", bus.far, "-i", 1, "-l", 100, "--idle", 1)
    send(60, "-i", 1)
    assert seen.exit_status() == 1, seen
    assert seen.summary()["ended"] == "--idle"
    assert streams(seen.summary(), "lost", "intact") == (40, 60)


def test_its_duration_ends_it(bus, check):
    assert check("-d", bus.far, "-T", 1).exit_status() == 3


def test_the_first_finding_ends_it_if_asked(bus, check, qvcan):
    seen = check("-d", bus.far, "--stop", "-f", "-i", 1)
    qvcan("-d", bus.near, "-p", "-l", 0, "-t", "5m", "-j", 0, "-i", 1)
    assert seen.exit_status() == 1, seen
    assert seen.summary()["ended"] == "--stop"


def test_other_findings_do_not_end_it(bus, check, send):
    seen = check("-d", bus.far, "--stop=lost", "-f", "-i", 1)
    send(50, "-i", 1)
    assert seen.runs()
    assert seen.ended() == 1


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP])
def test_a_signal_is_the_end_of_a_check_without_a_plan(bus, check, send, number):
    seen = check("-d", bus.far)
    send(50)
    assert seen.ended(number) == 0, seen
    assert (seen.summary()["ended"], streams(seen.summary(), "intact")) == (number.name, (50,))


@pytest.mark.parametrize("plan", [["-T", 100], ["-i", 1, "-l", 100]], ids=["duration", "number"])
def test_a_signal_before_the_planned_end_is_the_exit_status(bus, check, send, plan):
    seen = check("-d", bus.far, *plan)
    send(50, "-i", 1)
    assert seen.ended(signal.SIGTERM) == 128 + signal.SIGTERM, seen
    assert not seen.summary()["planned"]


def test_everything_that_was_received_before_the_end_is_judged(bus, check, qvcan):
    seen = check("-d", bus.far)
    seen.stop()
    assert qvcan("-d", bus.near, "-p", "-l", 5000, "-t", 0, "-i", 1).exit_status() == 0
    seen.signal(signal.SIGINT)
    seen.go_on()
    assert seen.exit_status() == 0, seen
    assert streams(seen.summary(), "intact") == (5000,)


def test_a_line_on_how_it_stands_does_not_end_it(bus, check, send):
    seen = check("-d", bus.far)
    send(50, "-i", 1)

    def told(number):
        before = len(seen.err)
        seen.signal(number)
        wait_until(lambda: len(seen.err) > before and seen.err.endswith("\n"), lambda: f"a line in {seen}")
        return seen.err[before:].replace("  s1", " s1")
    for number in (signal.SIGQUIT, signal.SIGUSR1):
        wait_until(lambda: "s s1 32  " in told(number), lambda: f"all frames in {seen}")
        assert told(number).endswith("lost 0  repeated 0  reordered 0  corrupted 0  open 0  this host 0\n")
    assert seen.runs()
    assert seen.ended() == 0


def test_an_interface_that_does_not_exist_ends_it_at_once(bus, start):
    seen = start(Program, Path(os.environ["QV_BIN"], "qvcancheck"), "-d", "nowhere0")
    assert seen.exit_status() == 4
    assert seen.out.splitlines()[-1] == "INCOMPLETE: nowhere0: No such device"


def test_output_that_nobody_reads_ends_it(bus, qvcan):
    done = subprocess.Popen([Path(os.environ["QV_BIN"], "qvcancheck"), "-d", bus.far], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    wait_for_listeners(bus.far, 1)
    done.stdout.close()
    qvcan("-d", bus.near, "-p", "-l", 0, "-t", "5m", "-i", 1)
    assert done.wait(PATIENCE) == 4
    assert b"Cannot write to standard output" in done.stderr.read()


def test_an_interval_has_a_line_for_each_stream(bus, check, send):
    seen = check("-d", bus.far, "-I", "500m")
    send(1500, "-i", 1)
    assert seen.ended() == 0, seen
    pieces = seen.objects("interval")
    assert len(pieces) >= 2
    assert sum(piece["frames"] for piece in pieces) == 1500
    assert all(piece["lost"] == 0 for piece in pieces)


def test_a_clock_that_is_set_changes_no_verdict(bus, check, qvcan):
    seen = check("-d", bus.far, "-i", 1, "-l", 1000)
    program = qvcan("-d", bus.near, "-p", "-l", 1000, "-t", "1m", "-j", 0, "-i", 1)
    wait_until(lambda: seen.objects("stream"), "the stream")
    for step in (1, -1, 1, -1):
        time.clock_settime(time.CLOCK_REALTIME, time.time() + step)
    assert program.exit_status() == 0
    assert seen.exit_status() == 0, seen


def test_a_bus_that_is_idle_leaves_the_processor_idle(bus, check):
    """Once a second it looks at the counters: 20 wake-ups a second would be seen."""
    seen = check("-d", bus.far)

    def switches():
        status = Path(f"/proc/{seen.process.pid}/status").read_text()
        return int(status.split("\nvoluntary_ctxt_switches:")[1].split()[0])
    before, began = switches(), time.monotonic()
    time.sleep(3)
    assert switches() - before <= 4 * (time.monotonic() - began) + 4


def test_a_bus_that_is_idle_wakes_it_every_250_ms_at_most(bus, start, tmp_path):
    log = tmp_path / "calls"
    check_path = Path(os.environ["QV_BIN"], "qvcancheck")
    assert start(Program, "strace", "-ttt", "-T", "-e", "epoll_wait", "-o", log, check_path, "-d", bus.far, "-T", "3500m").exit_status() == 3
    calls = re.findall(r"([\d.]+) epoll_wait\(.*, -1\) = .*<([\d.]+)>", log.read_text())  # others do not wait
    woken = [float(begun) + float(lasted) for begun, lasted in calls]
    pauses = [after - before for before, after in zip(woken, woken[1:])]
    assert len(pauses) >= 2 and min(pauses) >= 0.25, log.read_text()


def end_at(moment, far, number, again):
    """Starts a check, sends the signal after that time (None: behind its first line), and once more `again` seconds later (None: not), and
    gives its status and its last object."""
    done = subprocess.Popen([Path(os.environ["QV_BIN"], "qvcancheck"), "--json", "-d", far], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    first = b""
    if moment is None:
        first = done.stdout.readline()
    else:
        time.sleep(moment)
    done.send_signal(number)
    if again is not None:
        time.sleep(again)
        done.send_signal(number)
    out, err = done.communicate(timeout=PATIENCE)
    assert err == b"", err
    lines = (first + out).splitlines(keepends=True)
    whole = bool(lines) and lines[-1].endswith(b"\n") and json.loads(lines[-1])
    return done.returncode, whole


@pytest.mark.parametrize("twice", [False, True], ids=["one", "two"])
def test_a_signal_at_any_moment_ends_it_with_its_verdict_or_by_the_signal(bus, qvcan, twice):
    """From before its first instruction to well into the run. By the signal it ends only before it is ready for one. A second one comes at
    once, or up to 5 ms later, while it reads, judges and tells."""
    qvcan("-d", bus.near, "-p", "-l", 0, "-t", "1m", "-i", 1)
    verdicts = 0
    for i, moment in enumerate([ms * 0.001 for ms in range(100)] + [None] * 20):
        number = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)[i % 3]
        status, last = end_at(moment, bus.far, number, i % 20 * 0.00025 if twice else None)
        if status == -number:
            assert not last, f"moment {i}: ended by the signal after {last}"
        else:
            assert last and last["event"] == "summary" and last["status"] == status, f"moment {i}: {status}, {last}"
            assert status in (0, 3), f"moment {i}: {last['verdictLine']}"
            verdicts += 1
    assert verdicts >= 20  # on a busy machine the last ones only
