"""The network program without a CAN bus: strace answers its set-up calls, and its socket is standard input.

There, a pair of datagram sockets keeps frames apart as a CAN socket does. Real interfaces are the matter of tests/bus.
"""

import os
import re
import socket

import pytest

from qv.frame import EFF, RTR
from qv.program import Result
from qv.record import EXTENDED, Record
from qv.traffic import answer, can_frame, pattern

READING = "nothing to send, just reading ...\n"
ENABLED = "enabled CAN_RAW_FD_FRAMES\n"
INCOMPLETE = "read: incomplete CAN frame\n"
SETUP = "socket,ioctl,setsockopt,bind"
GRANTED = {"socket": "socket:retval=0", "ioctl": "ioctl:retval=0", "setsockopt": "setsockopt:retval=0", "bind": "bind:retval=0"}


def faults(**changes):
    return list({**GRANTED, **changes}.values())


@pytest.fixture
def bus(strace, start):
    """bus.run and bus.live start qvcan with its socket as standard input; bus.peer is the other end."""
    class Bus:
        def __init__(self):
            self.peer, self.end = socket.socketpair(socket.AF_UNIX, socket.SOCK_DGRAM)
            self.peer.settimeout(60)
            self.stdin = self.end

        def run(self, *options, inject=None, only=SETUP):
            return strace.run("qvcan", *options, only=only, inject=inject or faults(), stdin=self.stdin)

        def live(self, *options, inject=None, only=SETUP):
            program = strace.live("qvcan", *options, only=only, inject=inject or faults(), stdin=self.stdin)
            start.keep(program)
            return program

        def frames(self, count):
            return [self.peer.recv(128) for _ in range(count)]
    made = Bus()
    yield made
    made.peer.close()
    made.end.close()


def setup_calls(strace):
    """The calls of the set-up, without what the system library asks terminals."""
    return [call.removesuffix(" (INJECTED)") for call in strace.calls() if re.match("socket|bind|setsockopt|ioctl.*SIOCGIFINDEX", call)]


@pytest.mark.parametrize("options, fd", [([], False), (["-f"], True), (["-b"], True), (["-f", "-b"], True)])
def test_the_socket_is_set_up_in_this_order(options, fd, bus, strace):
    assert bus.run("-d", "can7", "-p", "-l", 1, *options) == Result(ENABLED if fd else "", "", 0)
    index = r'ioctl\(0, SIOCGIFINDEX, \{ifr_name="can7".*\}\) = 0'
    expected = [r"socket\(AF_CAN, SOCK_RAW, CAN_RAW\) = 0", index, r"setsockopt\(0, SOL_CAN_RAW, CAN_RAW_LOOPBACK, \[0\], 4\) = 0"]
    expected += [r"setsockopt\(0, SOL_CAN_RAW, CAN_RAW_FD_FRAMES, \[1\], 4\) = 0"] if fd else []
    expected += [r"bind\(0, \{sa_family=AF_CAN.*\}, 16\) = 0"]
    calls = setup_calls(strace)
    assert len(calls) == len(expected)
    for call, form in zip(calls, expected):
        assert re.fullmatch(form, call), call


@pytest.mark.parametrize("inject, name, line", [
    ({"socket": "socket:error=EAFNOSUPPORT"}, "can0", "error creating socket: Address family not supported by protocol"),
    ({"socket": "socket:error=EPERM"}, "can0", "error creating socket: Operation not permitted"),
    ({"ioctl": "ioctl:error=ENODEV"}, "can0", "ioctl error can0: No such device"),
    ({"ioctl": "ioctl:error=ENODEV"}, "a23456789012345", "ioctl error a23456789012345: No such device"),
    ({"ioctl": "ioctl:error=ENODEV"}, "", "ioctl error : No such device"),
    ({"bind": "bind:error=ENODEV"}, "lo", "bind error: No such device"),
    ({"bind": "bind:error=ENETDOWN"}, "can0", "bind error: Network is down"),
    ({}, "a234567890123456", 'device name "a234567890123456" too long'),
    ({}, "a2345678901234567", 'device name "a2345678901234567" too long'),
    ({}, "x" * 300, f'device name "{"x" * 300}" too long'),
])
def test_a_fatal_failure_is_one_line_and_nothing_is_retried(inject, name, line, bus, strace):
    assert bus.run("-d", name, "-p", "-l", 1, inject=faults(**inject)) == Result("", line + "\n", 1)
    names = [call.partition("(")[0] for call in setup_calls(strace)]
    assert names == sorted(set(names), key=["socket", "ioctl", "setsockopt", "bind"].index)


UNSUPPORTED = "Operation not supported\n"  # what the pair of sockets itself says to options of CAN


@pytest.mark.parametrize("granted, lines, out", [
    ("2", f"cannot disable loopback: {UNSUPPORTED}", ENABLED),
    ("1", f"cannot enable CAN_RAW_FD_FRAMES: {UNSUPPORTED}", ""),
    ("3", f"cannot disable loopback: {UNSUPPORTED}cannot enable CAN_RAW_FD_FRAMES: {UNSUPPORTED}", ""),
])
def test_options_that_fail_are_reported_and_the_run_goes_on(granted, lines, out, bus):
    inject = faults(setsockopt=f"setsockopt:retval=0:when={granted}")
    assert bus.run("-f", "-p", "-l", 2, "-t", 0, inject=inject) == Result(out, lines, 0)
    assert bus.frames(2) == [can_frame(record, fd=True) for record in pattern(1, 2, fd=True)]


def test_the_default_interface_is_can0(bus):
    assert bus.run(inject=faults(ioctl="ioctl:error=ENODEV")) == Result("", "ioctl error can0: No such device\n", 1)


@pytest.mark.parametrize("options, can_id, fd, brs, every", [
    ([], 1, False, False, 0), (["-i", "0x123"], 0x123, False, False, 0), (["-f"], 1, True, False, 0), (["-b"], 1, True, True, 0),
    (["-i", "0x80000001"], EFF | 1, False, False, 0), (["-i", "0x40000001"], RTR | 1, False, False, 0),
    (["-i", "0xC0000001", "-b"], EFF | RTR | 1, True, True, 0),
    (["-e", "2"], 1, False, False, 2), (["-i", "-5"], 0xFFFFFFFB, False, False, 0), (["-c", "300", "-y"], 1, False, False, 0),
], ids=str)
def test_pattern_frames_cross_the_socket_whole(options, can_id, fd, brs, every, bus):
    assert bus.run("-p", "-l", 5, "-t", 0, *options) == Result(ENABLED if fd else "", "", 0)
    assert bus.frames(5) == [can_frame(record, fd=fd, brs=brs) for record in pattern(can_id, 5, fd=fd, error_every=every)]


def test_reading_takes_fd_frames_in_silence_and_reports_others(bus):
    program = bus.live("-vvv")
    program.until_out(READING)
    for raw in (can_frame(Record(1, bytes(8))), can_frame(Record(1, bytes(64)), fd=True), b"", bytes(71), bytes(72), b"x"):
        bus.peer.send(raw)
    program.until_err(INCOMPLETE, 4)
    assert program.err == INCOMPLETE * 4
    assert program.out == "[DEBUG] BZ::parse() timegapUnit=100000*10^0 (prefix=0) timegap=100000\u00b5s\n" + READING


@pytest.fixture
def unreadable(bus, tmp_path):
    """The bus with a socket that cannot be read: a folder in its place."""
    folder = os.open(tmp_path, os.O_RDONLY)
    bus.stdin = folder
    yield bus
    os.close(folder)


def test_a_failed_read_is_reported_and_the_loop_goes_on(unreadable):
    program = unreadable.live()
    program.until_err("read error: Is a directory\n", 3)
    assert program.out == READING


def test_a_failed_read_ends_the_answer_mode_with_one_line(unreadable):
    assert unreadable.run("-a") == Result("", "read error: Is a directory\n", 0)


@pytest.mark.parametrize("record", [Record(0x123, b"\1\2\3"), Record(0x7FF, b""), Record(1, bytes(64), EXTENDED), Record(5, bytes(12))], ids=str)
@pytest.mark.parametrize("option, brs", [("-f", False), ("-b", True)])
def test_answers_cross_the_socket(record, option, brs, bus):
    program = bus.live("-a", option)
    program.until_out(ENABLED)
    bus.peer.send(can_frame(record, fd=True))
    assert bus.frames(1) == [can_frame(answer(record), fd=True, brs=brs)]


def test_a_classic_frame_ends_the_answer_mode_with_one_line(bus):
    program = bus.live("-a")
    bus.peer.send(can_frame(Record(1, b"")))
    assert program.result() == Result("", INCOMPLETE, 0)


def test_frames_that_cannot_be_written_count_as_sent(bus):
    bus.peer.close()
    lines = "write error: Connection refused\n" + "write error: Transport endpoint is not connected\n" * 2
    assert bus.run("-p", "-l", 3, "-t", 0) == Result("", lines, 0)


def test_each_device_sends_on_the_one_socket(bus, strace):
    assert bus.run("-p", "-l", 3, "-t", 0, "-i", 0x10, "-i", 0x20, "-i", 0x20) == Result("", "", 0)
    expected = [can_frame(record) for can_id in (0x10, 0x20, 0x20) for record in pattern(can_id, 3)]
    assert sorted(bus.frames(9)) == sorted(expected)
    assert len(strace.calls("socket")) == 1
