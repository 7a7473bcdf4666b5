"""qvcancheck on a node of qvbus: as on any bus, with the kernel's SocketCAN left out; and its live line on a terminal."""

import dataclasses
import fcntl
import json
import os
import re
import signal
import struct
import termios
import time

import pytest

from qv.program import environment, run
from qv.traffic import pattern
from qv.waiting import wait_until

pytest_plugins = "qv.userbus"

NODE = 1


@pytest.fixture
def bus(make_bus):
    return make_bus(2)


@pytest.fixture
def check(start, bus):
    """check(options..., popen=settings) listens to a node of the bus when it returns."""
    def begin(*options, **popen):
        program = start("qvcancheck", "-d", bus.paths[NODE], *options, **popen)
        bus.await_open(program, NODE)
        return program
    return begin


@pytest.fixture
def send(bus):
    def begin(first, count, *options):
        done = run("qvcandev", "-d", bus.paths[0], "-p", "-i", first, "-l", count, "-t", "1m", "-j", "0", *options)
        assert (done.err, done.status) == ("", 0)
    return begin


@pytest.mark.parametrize("kind, name", [([], "classic 8"), (["-f"], "FD 64")], ids=["classic", "fd"])
def test_the_pattern_at_a_node_passes_with_all_that_was_demanded(check, send, bus, kind, name):
    seen = check("-i", "1", "-l", "200", "-e", "20", "-w", "200m", *kind)
    send("1", "200", "-e", "20", *kind)
    done = seen.result()
    assert (done.err, done.status) == ("", 0), done.out
    assert f" {bus.paths[NODE]} s1 stream: {name}" in re.sub(" +", " ", done.out)
    assert done.out.splitlines()[-1].startswith("PASS")


def test_a_sender_at_a_node_that_injects_nothing_of_what_was_demanded_fails(check, send):
    seen = check("-i", "1", "-l", "200", "-e", "20", "-w", "200m", "--json")
    send("1", "200")
    done = seen.result()
    assert done.status == 1
    assert json.loads(done.out.splitlines()[-1])["findings"] == {"uninjected": 10}


def test_a_bus_that_ends_ends_the_check_with_its_verdict(check, send, bus):
    seen = check("--json")
    send("1", "100")
    seen.until_out('"stream"')
    bus.await_read(0)
    assert bus.program.end().status == 0
    done = seen.result()
    summary = json.loads(done.out.splitlines()[-1])
    assert (summary["status"], summary["streams"][0]["intact"]) == (done.status, 100)


def test_all_records_that_one_read_brings_are_judged_at_once(start, fifo):
    """So the number of frames ends it, though nothing more comes."""
    path, writer = fifo
    count = 65536 // len(pattern(1, 1)[0].pack())  # what the pipe holds, and one read takes
    os.write(writer, b"".join(record.pack() for record in pattern(1, count)))
    done = start("qvcancheck", "-d", path, "--json", "-i", "1", "-l", str(count), "-w", "100m").result()
    summary = json.loads(done.out.splitlines()[-1])
    assert (done.status, summary["ended"], summary["streams"][0]["intact"]) == (0, "-l", count)


def test_a_further_signal_ends_a_check_without_its_verdict_after_a_second_only(start, fifo):
    """Its output has no room, so the verdict waits."""
    reader, writer = os.pipe()
    with open(reader, "rb") as report, open(writer, "wb", buffering=0) as full:
        seen = start("qvcancheck", "-d", fifo[0], stdout=full)
        report.readline()
        os.set_blocking(writer, False)
        while full.write(bytes(65536)):
            pass
        os.set_blocking(writer, True)
        began = time.monotonic()
        wait_until(lambda: not seen.runs() or seen.process.send_signal(signal.SIGINT), "its end")
        assert seen.process.returncode == -signal.SIGINT
        assert time.monotonic() - began >= 1


def test_a_frame_that_proves_foreign_with_nothing_behind_it_ends_a_check_that_stops_there(start, fifo):
    """Its run bytes are those of the pattern, so it is held."""
    path, writer = fifo
    os.write(writer, dataclasses.replace(pattern(1, 1)[0], number=0x456).pack())
    done = start("qvcancheck", "-d", path, "--json", "--stop=foreign", "-w", "100m", "-T", "5").result()
    summary = json.loads(done.out.splitlines()[-1])
    assert (summary["ended"], summary["foreign"]) == ("--stop", 1)


@pytest.fixture
def intervals(start, fifo):
    """intervals(options...) judges 100 frames and ends with the second of two intervals."""
    path, writer = fifo
    os.write(writer, b"".join(record.pack() for record in pattern(1, 100)))
    return lambda *options: start("qvcancheck", "-d", path, "-I", "300m", "-T", "600m", *options).result()


def test_the_last_interval_ends_with_the_check(intervals):
    pieces = [each for each in map(json.loads, intervals("--json").out.splitlines()) if each["event"] == "interval"]
    assert len(pieces) in (1, 2), "one where the machine stood still"
    assert all(float(piece["end"]) - float(piece["t"]) > 0.1 for piece in pieces)
    assert sum(piece["frames"] for piece in pieces) == 100


def test_quiet_has_no_interval_lines_but_in_the_json(intervals, tmp_path):
    done = intervals("-q", f"--json={tmp_path}/json")
    assert done.out == "PASS: 100 frames, none lost, repeated, reordered or corrupted\n"
    assert '"event":"interval"' in (tmp_path / "json").read_text(encoding="ascii")


def test_a_silence_longer_than_allowed_is_told_while_it_lasts(check, send):
    seen = check("--max-gap", "300m")
    send("1", "100")
    seen.until_out(" gap")
    done = seen.end(signal.SIGINT)
    assert done.status == 1
    assert len(re.findall(r"\bs1 +gap", done.out)) == 1, "one silence is one finding"


def test_a_silence_within_the_allowed_one_is_no_finding(check, send):
    seen = check("--max-gap", "1k")
    send("1", "100")
    seen.until_out("stream:")
    assert seen.end(signal.SIGINT).status == 0


@pytest.fixture
def live(check, terminal):
    """live(columns, NO_COLOR value) starts a check whose standard error is a terminal of that width. Frames that are
    corrupted otherwise than every 7th are counts that are not zero."""
    def begin(columns, refusal=None):
        fcntl.ioctl(terminal.slave, termios.TIOCSWINSZ, struct.pack("4H", 24, columns, 0, 0))
        return check("--allow", "all", "-i", "1", "-e", "7", stderr=terminal.slave, env=environment(NO_COLOR=refusal))
    return begin


def lines_of(terminal):
    """The live lines so far, each as written. The line before may have been erased for another output."""
    return [line.removeprefix("\033[K").removesuffix("\033[K") for line in terminal.seen.decode().split("\r")[:-1]]


def shown(terminal, program, text):
    """Waits for a live line with the text, and gives it."""
    program.until(lambda: any(text in line for line in lines_of(terminal)), f"{text!r} in {lines_of(terminal)[-1:]}", also=terminal)
    return next(line for line in reversed(lines_of(terminal)) if text in line)


def test_a_terminal_gets_a_line_on_how_it_stands(live, send, terminal):
    seen = live(200)
    send("1", "100")
    line = shown(terminal, seen, "s1 64  0/s")
    assert re.fullmatch(r" +\d+\.\d s  s1 64  0/s  lost 0  repeated 0  reordered 0  corrupted 0  open 0  this host 0", line)


@pytest.mark.parametrize("columns", [20, 40])
def test_the_live_line_is_cut_to_the_width_of_the_terminal(live, send, terminal, columns):
    seen = live(columns)
    send("1", "100")
    shown(terminal, seen, "s1 64")
    widths = [len(line) for line in lines_of(terminal)]  # the first may have no stream to tell of
    assert max(widths) == widths[-1] == columns


def test_counts_that_are_not_zero_are_in_colour(live, send, terminal):
    seen = live(200)
    send("1", "100", "-e", "10")
    assert "lost 0 " in shown(terminal, seen, "corrupted \033[1;31m10\033[0m ")


def test_no_color_takes_the_colours_away(live, send, terminal):
    seen = live(200, "1")
    send("1", "100", "-e", "10")
    shown(terminal, seen, "corrupted 10 ")
    assert "\033[1" not in terminal.seen.decode()


def test_a_verdict_is_written_over_the_live_line(live, send, terminal):
    seen = live(200)
    send("1", "100")
    shown(terminal, seen, "s1 64")
    done = seen.end(signal.SIGINT)
    assert done.out.splitlines()[-1].startswith("PASS")
    os.set_blocking(terminal.master, False)
    terminal.receive()
    assert terminal.seen.endswith(b"\r\033[K"), "the line is gone from the terminal"


def test_what_is_no_terminal_gets_no_live_line(check, send):
    seen = check("-T", "1")
    send("1", "100")
    assert seen.result().err == ""
