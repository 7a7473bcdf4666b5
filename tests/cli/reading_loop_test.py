"""Just reading: records from a device file are taken, shown at higher verbosities, and dropped."""

import os
import re
import signal

import pytest

from qv.program import Result
from qv.record import CAN, ERROR, EXTENDED, FD_EXTENDED, FD_STANDARD, framed, Record, REMOTE, SENT

READING = "nothing to send, just reading ...\n"
INCOMPLETE = "[DEBUG] BZ::readCAN() incomplete buffer read\n"
SECOND = 1000000
PLAIN = Record(0x123, bytes.fromhex("0000012300010203"), time=SECOND)
OTHER = Record(0x123, b"\1\2", kind=CAN, time=SECOND)
VECTOR = bytes.fromhex("a75e0148000b0018 00000000000f4240 00000000 00000123 0000012300010203 f3fd8ba7")


def returned(record):
    return f"[DEBUG] BZ::readCAN() t=TIME: return: {record}\n"


def timeless(out):
    """The time of the call is replaced by TIME; the buffer's own lines, at verbosity 3, are left out."""
    lines = [line for line in out.splitlines(keepends=True) if not line.startswith("[DEBUG] BZ::getNextMessage() ")]
    return re.sub(r"t=([01]\d|2[0-3]):[0-5]\d:[0-5]\d\.\d{6}: ", "t=TIME: ", "".join(lines))


def settings_line(value=100000):
    return f"[DEBUG] BZ::parse() timegapUnit={value}*10^0 (prefix=0) timegap={value}\u00b5s\n"


@pytest.fixture
def feed(start, fifo):
    """feed(verbosity, bytes, last line) gives the program all these bytes at once, and its outputs once it has written that line."""
    path, descriptor = fifo

    def run(verbosity, raw, last):
        program = start("qvcandev", "-d", path, *["-v"] * verbosity)
        program.until_out(READING)
        os.write(descriptor, raw)
        program.until_out(last)
        return program
    return run


def test_says_so_once_for_each_device(start, device):
    program = start("qvcandev", "-d", device, "-i", 1, "-i", 5, "-i", 5)
    program.until_out(READING, 3)
    assert program.end() == Result(READING * 3, "", -signal.SIGTERM)


RECORDS = [
    PLAIN, Record(0, b""), Record(0x7FF, b"\xff", time=86399 * SECOND + 999999), Record(1, b"\0", EXTENDED),
    Record(0x1FFFFFFF, bytes(range(8)), EXTENDED, channel=255), Record(0x123, bytes(range(64))), Record(0x123, b"\1\2", FD_STANDARD),
    Record(0x1ABCDEF0, bytes(12), FD_EXTENDED, status=0x40), Record(7, b"", FD_STANDARD, status=0xC0), Record(7, b"\0\0\0\0", frame=REMOTE),
    Record(7, b"", frame=REMOTE), Record(9, b"\1", frame=SENT), Record(9, b"\1", time=25 * 3600 * SECOND),
]


@pytest.mark.parametrize("record", RECORDS, ids=str)
def test_each_record_is_one_line_at_verbosity_two(record, feed):
    program = feed(2, record.pack() + PLAIN.pack(), returned(PLAIN).partition("return: ")[2])
    program.until_out("return: ", 2)
    assert timeless(program.out) == settings_line() + READING + returned(record) + returned(PLAIN)
    assert program.err == ""


def test_a_record_reads_as_in_candumps_log(feed):
    out = timeless(feed(2, PLAIN.pack(), "return: 00:00:01").out)
    assert out.endswith("[DEBUG] BZ::readCAN() t=TIME: return: 00:00:01.000000 ch0 123#0000012300010203\n")


def test_the_documented_bytes_are_that_record(feed):
    assert VECTOR == PLAIN.pack()
    feed(2, VECTOR, "123#0000012300010203\n")


def test_an_error_frame_names_its_state(feed):
    feed(2, Record(5, b"\1", frame=ERROR, status=1).pack(), "ch0 005#01 error=stuff\n")


@pytest.mark.parametrize("verbosity", [0, 1])
def test_below_verbosity_two_records_are_taken_in_silence(verbosity, start, device):
    device.write_bytes((PLAIN.pack() + OTHER.pack()) * 50 + b"end")
    program = start("qvcandev", "-d", device, *["-v"] * verbosity)
    program.until_err("\n")  # what stands behind the records is reported when they are all gone
    assert program.out == READING
    assert program.err == "trace buffer: passed over 3 bytes outside of any sound record\n"


def test_verbosity_three_adds_the_buffers_own_lines(feed):
    out = feed(3, PLAIN.pack(), "123#").out
    assert "[DEBUG] BZ::getNextMessage() read 36, buffered 36\n" in out
    assert timeless(out) == settings_line() + READING + returned(PLAIN)


@pytest.mark.parametrize("verbosity, shown", [(2, False), (3, True)])
def test_another_kind_of_record_is_discarded_and_shown_at_verbosity_three(verbosity, shown, feed):
    out = timeless(feed(verbosity, OTHER.pack() + PLAIN.pack(), "return: 00:00:01").out)
    discard = f"[DEBUG] BZ::readCAN() discard: {OTHER}\n" if shown else ""
    assert out == settings_line() + READING + discard + returned(PLAIN)


def test_a_record_cut_in_pieces_is_read_when_it_is_whole(start, fifo):
    path, descriptor = fifo
    program = start("qvcandev", "-d", path, "-vv")
    program.until_out(READING)
    raw = PLAIN.pack()
    for index, cut in enumerate((1, 7, 8, 20, 35)):
        os.write(descriptor, raw[(0, 1, 7, 8, 20)[index]:cut])
        program.until_out(INCOMPLETE, index + 1)
    os.write(descriptor, raw[35:])
    program.until_out("return: ")
    assert timeless(program.out) == settings_line() + READING + INCOMPLETE * 5 + returned(PLAIN)
    assert program.err == ""


def broken(raw, index):
    return raw[:index] + bytes([raw[index] ^ 1]) + raw[index + 1:]


@pytest.mark.parametrize("garbage, what", [
    (b"xyz", "3 bytes outside of any sound record"), (b"\xa7", "1 byte outside of any sound record"),
    (broken(PLAIN.pack(), 35), "36 bytes outside of any sound record"), (broken(PLAIN.pack(), 7), "36 bytes outside of any sound record"),
    (b"\xa7\x5e" * 20, "40 bytes outside of any sound record"), (framed(4711, b"abc"), None),
    (framed(11, b"short"), "1 record with an invalid body"), (b"", None),
])
def test_what_is_passed_over_is_one_line_on_standard_error_and_costs_no_record(garbage, what, start, fifo):
    path, descriptor = fifo
    program = start("qvcandev", "-d", path, "-vv")
    program.until_out(READING)
    os.write(descriptor, garbage + PLAIN.pack())
    program.until_out("return: ")
    os.write(descriptor, PLAIN.pack())
    program.until_out("return: ", 2)
    assert program.end().err == (f"trace buffer: passed over {what}\n" if what else "")
    assert timeless(program.out).replace(INCOMPLETE, "") == settings_line() + READING + returned(PLAIN) * 2


def test_all_records_of_a_regular_file_are_read_in_order(start, device):
    records = [Record(number % 0x800, bytes([number % 256] * (number % 65)), time=number) for number in range(1000)]
    device.write_bytes(b"".join(record.pack() for record in records))
    program = start("qvcandev", "-d", device, "-vv")
    program.until_out(INCOMPLETE)
    program.until_out("return: ", 1000)
    lines = [line for line in timeless(program.out).splitlines(keepends=True) if "return: " in line]
    assert lines == [returned(record) for record in records]
    assert program.err == ""


def test_what_a_file_gains_at_its_end_is_read(start, device):
    program = start("qvcandev", "-d", device, "-vv")
    program.until_out(INCOMPLETE, 2)
    with open(device, "ab") as more:
        more.write(PLAIN.pack())
    program.until_out("return: ")


def test_a_record_cut_off_by_the_files_end_is_said_once(start, device):
    device.write_bytes(PLAIN.pack() + PLAIN.pack()[:20])
    program = start("qvcandev", "-d", device, "-vv")
    program.until_out(INCOMPLETE, 5)
    assert program.err == "trace buffer: the input ended inside a record, after 20 bytes\n"


@pytest.mark.parametrize("options", [[], ["-a"], ["-i", "1", "-i", "2"]])
def test_the_end_of_a_file_takes_no_core(options, start, device):
    """Processor time, which other programs do not lengthen: 50 passes of each device last half a second."""
    program = start("qvcandev", "-d", device, "-vv", *options)
    program.until_out(INCOMPLETE)
    before = program.cpu_ticks()
    program.until_out(INCOMPLETE, 101)
    assert program.cpu_ticks() - before <= 20
    assert program.runs()


def test_each_further_look_at_the_end_comes_after_at_most_one_pause_of_80_ms(strace, start, device):
    program = strace.live("qvcandev", "-d", device, "-vv", only="read,clock_nanosleep")
    start.keep(program)
    program.until_out(INCOMPLETE, 6)
    calls = strace.calls()
    ends = [index for index, call in enumerate(calls) if call.startswith("read(3") and call.endswith(' = 0') and '"", ' in call]
    naps = [call for call in calls[ends[-4]:ends[-1]] if call.startswith("clock_nanosleep")]
    # A machine that took longer than the pause between two looks needs none.
    assert 1 <= len(naps) <= 3, naps
    assert all(0 < int(re.search(r"tv_sec=0, tv_nsec=(\d+)}", nap)[1]) <= 80_000_000 for nap in naps)


def test_a_terminal_that_hangs_up_takes_no_core(start, terminal):
    program = start("qvcandev", "-d", terminal.path, "-vv")
    terminal.send(PLAIN.pack())
    program.until_out("return: ")
    terminal.hang_up()
    program.until_out(INCOMPLETE)
    before = program.cpu_ticks()
    program.until_out(INCOMPLETE, 51)
    assert program.cpu_ticks() - before <= 10
    assert program.err in ("", "[ERROR] BZ::readCAN() buffer read: Input/output error\n")  # a read may be under way at that moment
    assert program.runs()
