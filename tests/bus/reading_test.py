"""The reading loop on a live bus: what it takes, what it reports, and how it goes on."""

import time

import pytest

from qv.frame import EFF, Frame
from qv.qvcan import FD_ENABLED, INCOMPLETE, READING, READ_DOWN, READ_GONE
from qv.waiting import wait_until

CLASSIC = Frame(0x123, b"\x11\x22")
QUEUE = 250  # frames; the default receive queue holds 278 of them and drops the rest in silence


def assert_idle(program):
    """It lives, and uses next to no processor time while it is watched."""
    before = program.cpu_ticks()
    time.sleep(0.5)  # nothing may happen: there is no condition to wait for
    assert program.runs(), program
    assert program.cpu_ticks() - before <= 5, f"{program} spins"


def assert_reads(program, sender, *, reported):
    """A classic frame sent now is reported; reported is the number of lines that stderr has then."""
    sender.send(CLASSIC)
    program.wait_for_err_lines(reported)
    assert program.err.endswith(INCOMPLETE)


@pytest.mark.parametrize("options", [["-f"], ["-b"]])
def test_takes_fd_frames_in_silence(bus, reader, cangen, peer, options):
    program = reader(bus.far, *options)
    start = program.bytes_read()

    cangen(bus.near, QUEUE, "-f")

    wait_until(lambda: program.bytes_read() - start == 72 * QUEUE, lambda: f"{QUEUE} frames to be read")
    assert bus.counters(bus.far)[0] == QUEUE
    assert bus.counters(bus.near)[1] == QUEUE
    assert_idle(program)
    assert program.out == FD_ENABLED + READING
    assert program.err == ""


def test_takes_every_kind_of_fd_frame(bus, reader, peer):
    program = reader(bus.far, "-f")
    sender = peer(bus.near)
    start = program.bytes_read()

    frames = [Frame(can_id, bytes(length), True, flags)
              for can_id in (0, 0x7FF, EFF, EFF | 0x1FFFFFFF) for length in (0, 1, 8, 12, 64) for flags in (0, 1, 2, 3)]
    for frame in frames:
        sender.send(frame)

    wait_until(lambda: program.bytes_read() - start == 72 * len(frames), f"{len(frames)} frames to be read")
    assert program.err == ""


@pytest.mark.parametrize("options", [[], ["-f"]])
def test_reports_each_classic_frame_and_goes_on(bus, reader, cangen, peer, options):
    program = reader(bus.far, *options)

    cangen(bus.near, QUEUE)
    program.wait_for_err_lines(QUEUE)

    assert_reads(program, peer(bus.near), reported=QUEUE + 1)
    assert program.err == INCOMPLETE * (QUEUE + 1)
    assert program.runs()


def test_reports_only_the_classic_frames_of_a_mix(bus, reader, peer):
    program = reader(bus.far, "-f")
    sender = peer(bus.near)

    for k in range(60):
        sender.send(Frame(k, bytes(20), True))
        if k % 3 == 0:
            sender.send(CLASSIC)

    program.wait_for_err_lines(20)
    assert_reads(program, sender, reported=21)
    assert program.err == INCOMPLETE * 21


def test_without_fd_mode_no_fd_frame_reaches_it(bus, reader, cangen, peer):
    program = reader(bus.far)
    start = program.bytes_read()

    cangen(bus.near, 100, "-f")

    assert_reads(program, peer(bus.near), reported=1)
    assert program.bytes_read() - start == 16
    assert bus.counters(bus.far)[0] == 101


def test_devices_share_one_descriptor_and_take_each_frame_once(bus, reader, cangen, peer):
    program = reader(bus.far, "-f", "-i", 1, "-i", 2, "-i", 3, devices=3)
    assert program.out == FD_ENABLED + READING * 3

    for batch in range(1, 4):
        cangen(bus.near, QUEUE)
        program.wait_for_err_lines(batch * QUEUE)

    start = program.bytes_read()
    cangen(bus.near, QUEUE, "-f")
    wait_until(lambda: program.bytes_read() - start == 72 * QUEUE, lambda: f"{QUEUE} frames to be read")

    assert_reads(program, peer(bus.near), reported=3 * QUEUE + 1)
    assert program.err == INCOMPLETE * (3 * QUEUE + 1)
    assert_idle(program)


def test_starts_on_an_interface_that_is_down(bus, reader, peer):
    bus.down(bus.far)
    program = reader(bus.far, "-f")
    program.wait_for_err(READ_DOWN)
    assert_idle(program)
    assert program.err == READ_DOWN

    bus.up(bus.far)

    assert_reads(program, peer(bus.near), reported=2)
    assert program.err == READ_DOWN + INCOMPLETE


@pytest.mark.parametrize("devices", [1, 3])
def test_interface_goes_down_and_comes_back(bus, reader, peer, devices):
    identifiers = [word for number in range(1, devices + 1) for word in ("-i", number)]
    program = reader(bus.far, "-f", *identifiers, devices=devices)
    sender = peer(bus.near)

    expected = ""
    for _ in range(3):
        bus.down(bus.far)
        expected += READ_DOWN
        program.wait_for_err(expected)
        assert_idle(program)
        assert program.err == expected

        bus.up(bus.far)
        expected += INCOMPLETE
        assert_reads(program, sender, reported=expected.count("\n"))
        assert program.err == expected


def test_interface_is_deleted(bus, reader):
    program = reader(bus.far, "-f")

    bus.delete()

    program.wait_for_err(READ_GONE)
    assert_idle(program)
    # Going is two events to the kernel, down and gone. A second processor may let the reader see both.
    assert program.err in (READ_GONE, READ_DOWN + READ_GONE)


def test_interface_is_deleted_while_it_is_down(bus, reader):
    program = reader(bus.far, "-f")
    bus.down(bus.far)
    program.wait_for_err(READ_DOWN)

    bus.delete()

    program.wait_for_err(READ_GONE)
    assert_idle(program)
    assert program.err == READ_DOWN + READ_GONE
