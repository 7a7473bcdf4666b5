"""The pattern sender: its records decoded and held against their closed form, its numbers, its lines, its pace."""

from collections import Counter
import ctypes
import re
import time

import pytest

from qv.frame import EFF, RTR
from qv.model import number
from qv.program import Result, run
from qv.record import time_of_day, unpack, untimed
from qv.traffic import pattern
from qv.vectors import NUMBERS

DAY = 86400 * 1000000


def sent(device, *options, status=0):
    """What `-p -t 0` puts into the file; nothing is printed."""
    assert run("qvcandev", "-d", device, "-p", "-t", 0, *options) == Result("", "", status)
    return untimed(unpack(device.read_bytes()))


@pytest.mark.parametrize("options, can_id, settings", [
    ([], 1, {}), (["-i", "0x123"], 0x123, {}), (["-i", "0x7FF"], 0x7FF, {}), (["-i", "0"], 0, {}), (["-i", "0x800"], 0x800, {}),
    (["-i", "0x80000000"], EFF, {}), (["-i", "0x9FFFFFFF"], EFF | 0x1FFFFFFF, {}), (["-i", "0x40000123"], RTR | 0x123, {}),
    (["-i", "0xC0000001"], EFF | RTR | 1, {}), (["-f"], 1, {"fd": True}), (["-b"], 1, {"fd": True}), (["-fb", "-i", "9"], 9, {"fd": True}),
    (["-e", "1"], 1, {"error_every": 1}), (["-e", "3"], 1, {"error_every": 3}), (["-e", "0"], 1, {}), (["-e", "12"], 1, {"error_every": 12}),
    (["-e", "-1"], 1, {}), (["-f", "-e", "1"], 1, {"fd": True, "error_every": 1}), (["-c", "300"], 1, {}), (["-y"], 1, {}), (["-v"], 1, {}),
], ids=str)
def test_sends_the_pattern(options, can_id, settings, device):
    count = 20 if "error_every" in settings else 5
    assert sent(device, "-l", count, *options) == pattern(can_id, count, **settings)


def test_the_first_records_are_these(device):
    first, second = sent(device, "-l", 2, "-i", "0x123")
    assert (first.number, first.data.hex(" ")) == (0x123, "00 00 01 23 00 01 02 03")
    assert (second.number, second.data.hex(" ")) == (0x124, "00 00 01 24 01 02 03 04")


@pytest.mark.parametrize("text", [pytest.param(text, id=name) for name, text in NUMBERS.items()] + [
    "0x1F", "0X1f", "0x", "0xg", "0x ", "017", "08", "0779", "12abc", "4294967290", "4294967295", "4294967296", "99999999999", "-4294967295",
    "-4294967296", "-99999999999", "0x80000123", "0xFFFFFFFF", "0x100000000", "-0x10", "+0x10", "0x-5", "18446744073709551616", "-2147483648",
])
def test_identifiers_are_read_as_32_bits_everywhere(text, device):
    assert sent(device, "-l", 2, "-i", text) == pattern(number(text), 2)


@pytest.mark.parametrize("text, can_id", [("99999999999", 0xFFFFFFFF), ("-5", 0xFFFFFFFB), ("0x10", 16), ("010", 8), ("abc", 0)])
def test_identifiers_worked_out_by_hand(text, can_id, device):
    assert sent(device, "-l", 2, "-i", text) == pattern(can_id, 2)


@pytest.mark.parametrize("text, count", [("1", 1), ("3", 3), ("0x10", 16), ("010", 8), (" 4", 4), ("+2", 2), ("3abc", 3), ("-4294967293", 3)])
def test_the_loop_count_is_read_with_base_0(text, count, device):
    assert sent(device, "-l", text) == pattern(1, count)


@pytest.mark.parametrize("options", [
    [], ["-l", "99999999999"], ["-l", "4294967295"], ["-l", "-1"], ["-l", "-4294967296"], ["-l", "5", "-l", "-1"],
], ids=str)
def test_a_count_not_given_or_all_bits_set_is_1024(options, start, terminal):
    program = start("qvcandev", "-d", terminal.path, "-p", "-t", 0, *options)
    program.until(lambda: not program.open, "its end", also=terminal)
    program.until(lambda: len(terminal.seen) >= 36 * 1024, "all bytes", also=terminal)
    assert program.result() == Result("", "", 0)
    assert untimed(unpack(bytes(terminal.seen))) == pattern(1, 1024)


@pytest.mark.parametrize("text", ["0", "abc", "", "-0", "4294967294", "-5", "-2"])
def test_count_0_and_the_highest_counts_go_on(text, start, terminal):
    program = start("qvcandev", "-d", terminal.path, "-p", "-t", 0, "-l", text)
    program.until(lambda: len(terminal.seen) > 36 * 1100, "more than 1024 records", also=terminal)
    assert program.runs()
    records = untimed(unpack(bytes(terminal.seen[:36 * 1100])))
    assert records == pattern(1, 1100)


@pytest.mark.parametrize("ids", [["7", "2", "7"], ["0x10", "3"], ["5", "5"], ["99999999999", "-5", "0"], ["1"] * 12], ids=str)
def test_one_sender_for_each_identifier_and_duplicates_count(ids, device):
    options = [word for text in ids for word in ("-i", text)]
    expected = [record for text in ids for record in pattern(number(text), 2)]
    assert Counter(sent(device, "-l", 2, *options)) == Counter(expected)


def test_records_of_several_senders_reach_a_file_whole(device):
    ids = [number << 4 for number in range(1, 9)]
    seen = sent(device, "-f", "-l", 10, *[word for one in ids for word in ("-i", str(one))])
    for one in ids:
        assert [record for record in seen if one <= record.number < one + 16] == pattern(one, 10, fd=True)


def test_time_stamps_are_the_local_time_of_day(device):
    def now():
        clock = time.localtime()
        return (clock.tm_hour * 3600 + clock.tm_min * 60 + clock.tm_sec) * 1000000
    before = now()
    run("qvcandev", "-d", device, "-p", "-t", 0, "-l", 5)
    after = now() + 1000000
    stamps = [record.time for record in unpack(device.read_bytes())]
    assert stamps == sorted(stamps)
    assert all((stamp - before) % DAY <= (after - before) % DAY for stamp in stamps)


def dump(raw):
    """The record as the hex dump must show it."""
    lines = [raw[at:at + 16] for at in range(0, len(raw), 16)]
    column = lambda line: "".join(chr(byte) if 0x20 <= byte < 0x7F else "." for byte in line)
    return "raw\n" + "".join(f"{line.hex(' '):<47}  |{column(line)}|\n" for line in lines)


@pytest.mark.parametrize("verbosity", [2, 3])
def test_each_pass_is_told_at_verbosity_two(verbosity, native, device):
    seen = run("qvcandev", "-d", device, "-p", "-l", 2, "-t", 0, "-i", "0x123", "-e", 2, *["-v"] * verbosity)
    expected = "[DEBUG] BZ::parse() timegapUnit=0*10^0 (prefix=0) timegap=0\u00b5s\n"
    for k, record in enumerate(unpack(device.read_bytes())):
        expected += ("[DEBUG] BZ::sendPattern() select([n=4: 3],[n=4: 3],..,18446744073709551615)\n"
                     "[DEBUG] BZ::sendPattern() after select: ret=2 rfds=[n=4: 3] wfds=[n=4: 3]\n"
                     "[DEBUG] BZ::readCAN() incomplete buffer read\n")
        expected += "[DEBUG] BZ::sendPattern() injected error at payload[0]\n" if k == 1 else ""
        expected += f"[DEBUG] BZ::sendCAN() send: {record}\n{dump(record.pack())}[DEBUG] BZ::sendPattern() msg counter: {k}\n"
    out = re.sub(r"\[DEBUG\] BZ::getNextMessage\(\) .*\n", "", seen.out)
    assert (out, seen.err, seen.status) == (expected, "", 0)
    assert ("BZ::getNextMessage" in seen.out) == (verbosity == 3)


@pytest.mark.parametrize("verbosity", [0, 1])
def test_below_verbosity_two_nothing_is_told(verbosity, device):
    assert run("qvcandev", "-d", device, "-p", "-l", 3, "-t", 0, *["-v"] * verbosity) == Result("", "", 0)


def test_incoming_records_are_discarded_and_told(device, start, terminal):
    incoming = pattern(0x456, 1)[0]
    program = start("qvcandev", "-d", terminal.path, "-p", "-t", "1M", "-j", 0, "-vv")
    program.until_out("msg counter: 0\n", 1)
    terminal.send(incoming.pack())
    program.until_out(f"[DEBUG] BZ::sendPattern() discard: {incoming}\n")
    assert f": return: {incoming}\n" in program.out
    assert f"discard: {time_of_day(0)} ch0 456#0000045600010203\n" in program.out


def second_wait(program):
    """Microseconds, from the line before the wait; the first frame is due at once."""
    pattern_of_line = re.compile(r"select\(\[n=\d+: \d+\],\[n=0: \],\.\.,(\d+)\)\n")
    program.until(lambda: pattern_of_line.search(program.out), "the second wait")
    return int(pattern_of_line.search(program.out)[1])


@pytest.mark.parametrize("options, low, high", [
    (["-t", "1k", "-j", "0"], 1.0, 1.0), (["-t", "1000000000"], 1 - 1e-4, 1 + 1e-4), (["-t", "1M", "-j", "0"], 1e3, 1e3),
])
def test_the_next_frame_is_due_after_the_gap(options, low, high, start, terminal):
    """The wait after the first frame, in thousands of seconds; it is short of the gap by the time the frame took."""
    program = start("qvcandev", "-d", terminal.path, "-p", "-vv", *options)
    wait = second_wait(program) / 1e9
    assert low - 0.06 < wait <= high


def test_the_jitter_is_kept_below_the_gap_and_drawn_by_rand(start, terminal):
    libc = ctypes.CDLL(None)
    libc.srand(1)  # what a program has that never seeds
    gap = 10**12
    jitter = gap - 1
    expected = gap - jitter + int((2 * jitter + 1) * (libc.rand() * 2.0**-31))
    program = start("qvcandev", "-d", terminal.path, "-p", "-vv", "-t", "1M", "-j", "5G")
    assert expected - 60 * 10**6 < second_wait(program) <= expected
