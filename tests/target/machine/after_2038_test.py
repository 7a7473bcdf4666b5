"""The clock beyond 2038, where a time_t of 32 bits ends: every mode works, and times are the times of day.

Python itself, candump and pytest are built with such a time_t here. While the clock is in 2040 the tests keep to the monotonic one.
"""

import calendar
from contextlib import contextmanager
import os
from pathlib import Path
import re
import tempfile
import time

import pytest

from qv.frame import answer, Frame, pattern
from qv.pair import command
from qv.watched import Program
from qv.waiting import wait_until

IN_2026 = calendar.timegm((2026, 1, 1, 11, 58, 0))  # far from midnight, as is the next
IN_2040 = calendar.timegm((2040, 1, 1, 13, 58, 0))
TIME_OF_DAY = re.compile(r"(\d\d):(\d\d):(\d\d\.\d{6}) ch0")


def renew_files():
    """Takes the times of 2040 from the tests' files: a stat() of theirs fails here."""
    for folder, _, names in os.walk(tempfile.gettempdir()):
        for path in (folder, *(os.path.join(folder, name) for name in names)):
            os.utime(path)


def set_clock(seconds):
    return int(command(Path(os.environ["QV_BIN"], "set_clock"), seconds))


@contextmanager
def clock_in_2040():
    """Gives what checks that each time of day in a text is one since the clock was set, and that there is one."""
    steady = time.monotonic()
    before = set_clock(IN_2040)

    def assert_now(text):
        seen = [3600 * int(hours) + 60 * int(minutes) + float(seconds) for hours, minutes, seconds in TIME_OF_DAY.findall(text)]
        first, last = IN_2040 % 86400, IN_2040 % 86400 + time.monotonic() - steady
        assert seen, text
        assert first <= min(seen) and max(seen) <= last, text

    try:
        yield assert_now
    finally:
        set_clock(before + int(time.monotonic() - steady))
        renew_files()


def test_this_machine_is_one_of_those(bus):
    """The tests below prove nothing where the clock is read in another way."""
    with clock_in_2040():
        with pytest.raises(OSError):
            time.time()
    assert time.time() < IN_2040


@pytest.mark.parametrize("mode", [[], ["-f"]], ids=["classic", "fd"])
def test_pattern_sender(bus, qvcan, candump, same_frames, mode):
    seen = candump(bus.far)
    with clock_in_2040() as assert_now:
        start = time.monotonic()
        program = qvcan("-vv", *mode, "-p", "-l", 20, "-t", "20m", "-j", 0, "-d", bus.near)
        assert program.exit_status() == 0
        assert time.monotonic() - start >= 19 * 0.02, "the gaps are kept"
        assert_now(program.out)
        same_frames(seen.all_frames(), pattern(1, 20, fd=bool(mode)))


def test_answering_node(bus, answerer, candump, peer, same_frames):
    answered = candump(bus.near)
    questions = [Frame(number, bytes([number] * 12), True) for number in range(1, 21)]
    with clock_in_2040() as assert_now:
        node = answerer(bus.far, "-vv", "-f")
        asking = peer(bus.near)
        for question in questions:
            asking.send(question)
        answered.wait_for(len(questions))
        node.end()
        assert_now(node.out)
        same_frames(answered.all_frames(), [answer(question) for question in questions])


def test_reader(bus, reader, peer):
    with clock_in_2040():
        program = reader(bus.far, "-f")
        start = program.bytes_read()
        peer(bus.near).send(Frame(0x123, b"\x11" * 12, True))
        wait_until(lambda: program.bytes_read() - start == 72, f"a frame to be read by {program}")


def test_device_file_build(tmp_path, start):
    device = tmp_path / "device"
    device.touch()
    qvcandev = Path(os.environ["QV_BIN"], "qvcandev")
    with clock_in_2040() as assert_now:
        sender = start(Program, qvcandev, "-vv", "-p", "-l", 3, "-t", 0, "-j", 0, "-d", device)
        assert sender.exit_status() == 0
        assert_now(sender.out)

        # It prints its own time beside that of the record.
        reader = start(Program, qvcandev, "-vv", "-d", device)
        wait_until(lambda: len(TIME_OF_DAY.findall(reader.out)) == 3, lambda: f"three records: {reader}")
        reader.end()
        assert_now(reader.out)


def test_nodes_run_on_while_the_clock_is_set_past_2038(bus, qvcan, answerer, candump, same_frames):
    seen, answered = candump(bus.far), candump(bus.near)
    before, steady = set_clock(IN_2026), time.monotonic()
    try:
        node = answerer(bus.far, "-f")
        program = qvcan("-f", "-p", "-l", 60, "-t", "20m", "-j", 0, "-d", bus.near)
        seen.wait_for(10)
        with clock_in_2040():
            assert program.exit_status() == 0
            questions = pattern(1, 60, fd=True)
            answered.wait_for(len(questions))
            node.end()
            assert (program.err, node.err) == ("", "")
            same_frames(seen.all_frames(), questions)
            same_frames(answered.all_frames(), [answer(question) for question in questions])
    finally:
        set_clock(before + int(time.monotonic() - steady))
