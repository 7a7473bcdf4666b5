"""Answer mode on a device file: every record comes back modified, in order, and the node never ends by itself."""

import re

import pytest

from qv.program import Result
from qv.record import CAN, EXTENDED, FD_EXTENDED, FD_STANDARD, framed, Record, REMOTE, SENT, unpack
from qv.traffic import answer

SECOND = 1000000
PLAIN = Record(0x123, b"\1\2\3", time=SECOND)


@pytest.fixture
def node(start, terminal):
    """node(options...) answers on the terminal; node.ask(records) gives what it sent once that many records came back."""
    class Node:
        def __call__(self, *options):
            self.program = start("qvcandev", "-d", terminal.path, "-a", *options)
            return self

        def ask(self, raw, answers):
            terminal.send(raw)
            size = sum(len(record.pack()) for record in answers)
            self.program.until(lambda: len(terminal.seen) >= size, f"{size} bytes of answers", also=terminal)
            seen = unpack(bytes(terminal.seen))
            terminal.seen.clear()
            return seen
    return Node()


ASKED = [
    PLAIN, Record(0x7FF, b""), Record(0, b"\xff"), Record(1, b"\0", EXTENDED), Record(0x1FFFFFFF, bytes(8), EXTENDED),
    Record(0x10, bytes(range(12)), FD_STANDARD), Record(0x10, bytes(range(64)), FD_EXTENDED, status=0x40), Record(0x10, bytes(range(64))),
    Record(0x10, bytes(range(32)), time=5 * SECOND), Record(5, b"\1\2", channel=9), Record(5, b"\0\0", frame=REMOTE), Record(5, b"", frame=REMOTE),
]


@pytest.mark.parametrize("record", ASKED, ids=str)
def test_answers_with_identifier_and_leading_bytes_complemented(record, node):
    expected = [answer(record)]
    assert node().ask(record.pack(), expected) == expected


@pytest.mark.parametrize("record, number, data", [
    (Record(0x123, b"\1\2\3"), 0x6DC, "fe fd fc"), (Record(1, b"", EXTENDED), 0x1FFFFFFE, ""), (Record(0x7FF, b""), 0, ""),
    (Record(0, b""), 0x7FF, ""), (Record(5, bytes(12)), 0x7FA, "ff " * 9 + "00 00 00"), (Record(5, bytes(64)), 0x7FA, "ff " * 15 + "00 " * 49),
], ids=str)
def test_answers_worked_out_by_hand(record, number, data, node):
    seen, = node().ask(record.pack(), [record])
    assert (seen.number, seen.data) == (number, bytes.fromhex(data))


def test_answers_many_in_order(node):
    records = [Record(number, bytes([number % 256] * (number % 9)), time=number) for number in range(100)]
    expected = [answer(record) for record in records]
    assert node().ask(b"".join(record.pack() for record in records), expected) == expected


def test_never_answers_its_own_frames_nor_other_kinds(node):
    own, other = Record(1, b"\1", frame=SENT), Record(2, b"\2", kind=CAN)
    running = node("-vvv")
    assert running.ask(own.pack() + other.pack() + PLAIN.pack(), [PLAIN]) == [answer(PLAIN)]
    out = running.program.out
    assert f"rcvd {own}\n[DEBUG] BZ::sendAnswers() ignore TX message\n" in out
    assert f"[DEBUG] BZ::readCAN() discard: {other}\n" in out
    assert f"rcvd {other}\n" not in out


@pytest.mark.parametrize("garbage, line", [(b"xyz", "trace buffer: passed over 3 bytes outside of any sound record\n"), (framed(4711, b""), "")])
def test_garbage_is_one_line_an_unknown_kind_none_and_the_node_goes_on(garbage, line, node):
    running = node()
    assert running.ask(garbage + PLAIN.pack(), [PLAIN]) == [answer(PLAIN)]
    assert running.ask(PLAIN.pack(), [PLAIN]) == [answer(PLAIN)]
    assert running.program.runs()
    assert running.program.err == line


def test_tells_what_it_does_at_verbosity_two(node):
    running = node("-vv")
    running.ask(PLAIN.pack(), [PLAIN])
    reply = answer(PLAIN)
    lines = running.program.out.splitlines()
    assert re.fullmatch(rf"\[DEBUG\] BZ::readCAN\(\) t=\d\d:\d\d:\d\d\.\d{{6}}: return: {re.escape(str(PLAIN))}", lines[1])
    assert lines[2:5] == [f"rcvd {PLAIN}", f"[DEBUG] BZ::sendCAN() send: {reply}", "raw"]
    assert reply.pack() == bytes.fromhex("".join(line.partition("  |")[0] for line in lines[5:7]))
    assert str(PLAIN) == "00:00:01.000000 ch0 123#010203" and str(reply) == "00:00:01.000000 ch0 6DC#FEFDFC"


@pytest.mark.parametrize("options", [[], ["-v"], ["-p"], ["-p", "-l", "1", "-t", "0"], ["-s", "in", "-r", "out"]], ids=str)
def test_answers_whatever_else_is_asked_for_and_in_silence(options, node):
    running = node(*options)
    assert running.ask(PLAIN.pack(), [PLAIN]) == [answer(PLAIN)]
    assert running.program.end() == Result("", "", -15)


def test_several_nodes_on_one_descriptor_answer_each_record_once(node):
    running = node("-i", 1, "-i", 2, "-i", 3)
    for round_number in range(20):
        record = Record(round_number, b"\5")
        assert running.ask(record.pack(), [record]) == [answer(record)]


def test_answers_to_a_full_device_are_reported_and_the_node_goes_on(strace, start, terminal):
    """The second of three answers is refused by the system."""
    program = strace.live("qvcandev", "-d", terminal.path, "-a", only="write", inject=["write:error=ENOSPC:when=2"], path=terminal.path)
    start.keep(program)
    terminal.send(PLAIN.pack() * 3)
    program.until(lambda: len(terminal.seen) >= 2 * len(PLAIN.pack()), "two answers", also=terminal)
    program.until_err("\n")
    assert unpack(bytes(terminal.seen)) == [answer(PLAIN)] * 2
    assert program.err == "write error: No space left on device\n"
    assert program.runs()
