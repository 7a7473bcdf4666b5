"""Calls that fail in the middle of a run: injected with strace, reported in one line each, and the run goes on."""

import pytest

from qv.program import Result
from qv.record import Record, unpack, untimed
from qv.traffic import pattern

INCOMPLETE = "write: incomplete CAN frame\n"
FULL_QUEUE = "write error: No buffer space available\n"
SENDER = ["-p", "-l", "6", "-t", "0"]


def faulty(strace, device, inject, *options):
    """(what it printed, the numbers of the frames that arrived) of six frames with these faults of its writes to the device."""
    seen = strace.run("qvcandev", "-d", device, *SENDER, *options, only="write,openat", inject=[inject], path=device)
    arrived = untimed(unpack(device.read_bytes()))
    frames = pattern(1, 6)
    assert len(strace.calls("write")) == 6, "one call for each frame, none tried again"
    assert all(record in frames for record in arrived)
    return seen, [frames.index(record) for record in arrived]


@pytest.mark.parametrize("when, lost", [
    ("1", [0]), ("3", [2]), ("6", [5]), ("2+2", [1, 3, 5]), ("4+", [3, 4, 5]), ("1+", [0, 1, 2, 3, 4, 5]),
])
def test_each_refused_frame_is_one_line_and_counts_as_sent(when, lost, strace, device):
    seen, arrived = faulty(strace, device, f"write:error=ENOBUFS:when={when}")
    assert seen == Result("", FULL_QUEUE * len(lost), 0)
    assert arrived == [k for k in range(6) if k not in lost]


@pytest.mark.parametrize("error, text", [
    ("EINTR", "Interrupted system call"), ("EAGAIN", "Resource temporarily unavailable"), ("EIO", "Input/output error"),
    ("ENODEV", "No such device"), ("ENETDOWN", "Network is down"), ("EPIPE", "Broken pipe"), ("ENOSPC", "No space left on device"),
])
def test_the_systems_reason_is_printed(error, text, strace, device):
    seen, arrived = faulty(strace, device, f"write:error={error}:when=2")
    assert seen == Result("", f"write error: {text}\n", 0)
    assert arrived == [0, 2, 3, 4, 5]


@pytest.mark.parametrize("written", [0, 1, 10, 35])
def test_a_short_write_is_an_incomplete_frame(written, strace, device):
    seen, arrived = faulty(strace, device, f"write:retval={written}:when=2")
    assert seen == Result("", INCOMPLETE, 0)
    assert arrived == [0, 2, 3, 4, 5]


def test_failed_frames_are_told_and_counted_at_verbosity_two(strace, device):
    seen, _ = faulty(strace, device, "write:error=ENOBUFS:when=1+", "-vv")
    assert seen.err == FULL_QUEUE * 6
    assert [f"msg counter: {k}\n" in seen.out for k in range(7)] == [True] * 6 + [False]


def test_each_frame_is_one_call(strace, device):
    strace.run("qvcandev", "-d", device, *SENDER, "-f", only="write", path=device)
    assert [call.rpartition(" = ")[2] for call in strace.calls("write")] == ["92"] * 6


def test_a_failed_read_is_one_line_and_the_loop_goes_on(strace, start, device):
    record = Record(5, b"\1")
    device.write_bytes(record.pack())
    program = strace.live("qvcandev", "-d", device, "-vv", only="read", inject=["read:error=EIO:when=1"], path=device)
    start.keep(program)
    program.until_out(f": return: {record}\n")
    assert program.err == "[ERROR] BZ::readCAN() buffer read: Input/output error\n"


def test_every_failed_read_is_reported_after_a_nap(strace, start, device):
    program = strace.live("qvcandev", "-d", device, only="read,clock_nanosleep", inject=["read:error=EIO:when=1+"], path=device)
    start.keep(program)
    line = "[ERROR] BZ::readCAN() buffer read: Input/output error\n"
    program.until_err(line, 10)
    before = program.cpu_ticks()
    program.until_err(line, 60)
    assert program.cpu_ticks() - before <= 50  # the tracer's own included
    assert program.err == line * program.err.count("\n")


def test_a_wait_that_fails_ends_the_sender_with_one_line(strace, device):
    seen = strace.run("qvcandev", "-d", device, *SENDER, only="pselect6", inject=["pselect6:error=EBADF:when=5"])
    assert seen.err == "[ERROR] BZ::sendPattern() select: Bad file descriptor\n"
    assert (seen.out, seen.status) == ("", 0)
    assert 0 < len(unpack(device.read_bytes())) < 6


def test_a_wait_that_a_signal_interrupts_goes_on(strace, device):
    seen = strace.run("qvcandev", "-d", device, *SENDER, only="pselect6", inject=["pselect6:error=EINTR:when=2+3"])
    assert seen == Result("", "", 0)
    assert untimed(unpack(device.read_bytes())) == pattern(1, 6)


def test_a_thread_that_cannot_be_made_is_one_line_and_status_one(strace, device):
    seen = strace.run("qvcandev", "-d", device, *SENDER, only="clone,clone3", inject=["clone,clone3:error=EAGAIN"])
    assert seen == Result("", "[ERROR] Cannot create a thread: Resource temporarily unavailable\n", 1)
    assert device.read_bytes() == b""


def test_a_full_device_reports_each_frame(start):
    """No tracer: /dev/full refuses every write. It also gives zeros to read, which are no records."""
    program = start("qvcandev", "-d", "/dev/full", *SENDER)
    seen = program.result()
    lines = seen.err.splitlines(keepends=True)
    assert [line for line in lines if not line.startswith("trace buffer: passed over ")] == ["write error: No space left on device\n"] * 6
    assert (seen.out, seen.status) == ("", 0)
