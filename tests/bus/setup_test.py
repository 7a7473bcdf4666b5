"""Opening the interface: what is reported, and the exit status."""

import pytest

from qv.frame import Frame
from qv.pair import ip
from qv.qvcan import FD_ENABLED, INCOMPLETE, READING, WRITE_REFUSED


@pytest.mark.parametrize("name, error", [
    ("nosuch0", "ioctl error nosuch0: No such device"),
    ("", "ioctl error : No such device"),
    ("lo", "bind error: No such device"),
    ("fifteen-letters", "ioctl error fifteen-letters: No such device"),
    ("sixteen--letters", 'device name "sixteen--letters" too long'),
    ("x" * 300, f'device name "{"x" * 300}" too long'),
], ids=["missing", "empty", "loopback", "15-characters", "16-characters", "300-characters"])
@pytest.mark.parametrize("mode", [[], ["-p"], ["-a"]], ids=["reading", "pattern", "answer"])
def test_an_interface_that_cannot_be_opened_ends_the_run(qvcan, name, error, mode):
    program = qvcan("-d", name, *mode)
    assert program.exit_status() == 1
    assert (program.out, program.err) == ("", error + "\n")


def test_fd_is_enabled_before_binding(qvcan):
    program = qvcan("-f", "-d", "lo")
    assert program.exit_status() == 1
    assert (program.out, program.err) == (FD_ENABLED, "bind error: No such device\n")


def test_a_name_of_15_characters_is_opened(bus, reader):
    bus.down(bus.far)
    ip(f"link set {bus.far} name fifteen-letters")
    program = reader("fifteen-letters")
    program.wait_for_err("read error: Network is down\n")
    assert program.out == READING


def test_the_default_interface_is_can0(qvcan):
    program = qvcan()
    assert program.exit_status() == 1
    assert (program.out, program.err) == ("", "ioctl error can0: No such device\n")


def test_fd_mode_on_an_interface_for_classic_frames_still_reads(bus, reader, peer):
    bus.set_mtu(16)
    program = reader(bus.far, "-f")

    peer(bus.near).send(Frame(0x123, b"\x01"))

    program.wait_for_err(INCOMPLETE)
    assert (program.out, program.err) == (FD_ENABLED + READING, INCOMPLETE)


def test_fd_frames_on_an_interface_for_classic_frames_are_refused_one_by_one(bus, qvcan, candump):
    bus.set_mtu(16)
    seen = candump(bus.far)

    program = qvcan("-f", "-p", "-l", 3, "-t", 0, "-d", bus.near)

    assert program.exit_status() == 0
    assert (program.out, program.err) == (FD_ENABLED, WRITE_REFUSED * 3)
    assert seen.all_frames() == []


def test_help_needs_no_interface(qvcan):
    program = qvcan("-h")
    assert program.exit_status() == 0
    assert program.out.startswith("usage: ")
    assert program.err == ""
