"""What may go wrong with records on qvbus: other kinds, garbage, cut records, calls that fail."""

import os
import signal

import pytest

from qv.program import Result
from qv.record import CAN, CAN_EXT, FD_STANDARD, framed, Record, untimed
from qv.traffic import answer, pattern
from qv.userbus import parse_counts

pytest_plugins = "qv.userbus"

PLAIN = Record(0x123, b"\1\2\3", time=1000000)
OTHER = Record(0x321, b"\x11\x22", kind=CAN, time=1000000)


@pytest.mark.parametrize("verbosity", range(4))
def test_another_kind_of_record_is_shown_at_verbosity_three_alone(verbosity, make_bus, node):
    bus = make_bus(2)
    peer = bus.join(0)
    program = node(bus, 1, "-a", *["-v"] * verbosity)
    peer.send(OTHER, PLAIN)
    assert peer.records(1, 31) == [answer(PLAIN)], "it is not answered, and the record behind it is"
    seen = program.end()
    assert (seen.err, seen.status) == ("", -signal.SIGTERM)
    assert seen.out.count(f"[DEBUG] BZ::readCAN() discard: {OTHER}\n") == seen.out.count(str(OTHER)) == (verbosity == 3)
    assert seen.out.count(f": return: {PLAIN}\n") == (verbosity >= 2)


@pytest.mark.parametrize("verbosity", [2, 3])
@pytest.mark.parametrize("mode, waiting", [([], None), (["-p", "-l", "0", "-t", "1k", "-j", "0"], ",[n=0: ],..,")], ids=["read", "pattern"])
def test_nodes_that_do_not_answer_show_it_at_verbosity_three_alone_too(mode, waiting, verbosity, make_bus, node):
    bus = make_bus(2)
    peer = bus.join(0)
    program = node(bus, 1, *mode, *["-v"] * verbosity)
    if waiting:
        # A sender takes one record each time it wakes, so the second must not come along with the first.
        program.until_out(waiting)
        peer.send(OTHER)
        program.until_out(waiting, 2)
    else:
        peer.send(OTHER)
    peer.send(PLAIN)
    program.until_out(f": return: {PLAIN}\n")
    assert program.out.count(f"[DEBUG] BZ::readCAN() discard: {OTHER}\n") == program.out.count(str(OTHER)) == (verbosity == 3)
    assert program.err == ""


@pytest.mark.parametrize("verbosity", [0, 3])
def test_a_record_of_unknown_kind_reaches_the_node_and_is_shown_at_verbosity_three_alone(verbosity, make_bus, node):
    bus = make_bus(2)
    peer = bus.join(0)
    program = node(bus, 1, "-a", *["-v"] * verbosity)
    peer.send(framed(4711, b"abc"), PLAIN)
    assert peer.take(31) == answer(PLAIN).pack()
    assert bus.counts() == [(2, 1, 0), (1, 2, 0)]
    seen = program.end()
    assert seen.out.count("BZ::readCAN() discard: message of kind 4711, 3 bytes 61 62 63\n") == (verbosity == 3)
    assert "unknown" not in seen.err


@pytest.mark.parametrize("cut", [1, 2, 7, 8, 20, 30])
def test_a_record_written_in_two_pieces_is_joined(cut, make_bus, node):
    bus = make_bus(3)
    peer, other = bus.join(0), bus.join(2)
    node(bus, 1, "-a")
    peer.send(PLAIN.pack()[:cut])
    # A whole record of another node goes between: the first piece has been read when it came over.
    other.send(Record(5, b"\5"))
    assert peer.records(2, 29) == [Record(5, b"\5"), answer(Record(5, b"\5"))]
    peer.send(PLAIN.pack()[cut:])
    assert peer.records(1, 31) == [answer(PLAIN)]
    assert bus.counts() == [(1, 3, 0), (2, 2, 0), (1, 0, 3)], "the other node reads nothing"


@pytest.mark.parametrize("garbage, what", [
    (PLAIN.pack()[:20], "20 bytes outside of any sound record"), (b"xyz", "3 bytes outside of any sound record"),
    (PLAIN.pack()[:-1] + b"\0", "31 bytes outside of any sound record"), (PLAIN.pack()[3:], "28 bytes outside of any sound record"),
], ids=["cut", "noise", "checksum", "tail"])
def test_garbage_between_records_is_reported_by_the_bus_and_handed_to_nobody(garbage, what, make_bus, node):
    bus = make_bus(2)
    peer = bus.join(0)
    program = node(bus, 1, "-a")
    peer.send(PLAIN.pack() + garbage + PLAIN.pack())
    assert peer.records(2, 31) == [answer(PLAIN)] * 2
    bus.program.until_err("\n")
    assert bus.program.err == f"{bus.paths[0]}: trace buffer: passed over {what}\n"
    assert program.end() == Result("", "", -signal.SIGTERM)


def test_half_a_record_of_a_node_that_goes_is_reported_and_costs_the_next_node_nothing(make_bus, node):
    bus = make_bus(4)
    leaver, other, watcher = bus.join(0), bus.join(2), bus.join(3)
    node(bus, 1, "-a")
    leaver.send(PLAIN.pack()[:20])
    leaver.close()
    # When this has come to all, the bus has looked at each node and found that one gone.
    other.send(Record(5, b"\5"))
    assert watcher.records(2, 29) == [Record(5, b"\5"), answer(Record(5, b"\5"))]
    follower = bus.join(0)
    follower.send(PLAIN)
    assert follower.records(1, 31) == [answer(PLAIN)]
    assert watcher.records(2, 31) == [PLAIN, answer(PLAIN)]
    seen = bus.program.end()
    assert seen.err.startswith(f"{bus.paths[0]}: trace buffer: ") and "20 bytes" in seen.err and seen.err.count("\n") == 1


def test_garbage_behind_the_last_record_is_reported_at_once(make_bus):
    bus = make_bus(2)
    peer, other = bus.join(0), bus.join(1)
    peer.send(PLAIN.pack() + b"xyz")
    assert other.records(1, 31) == [PLAIN]
    line = f"{bus.paths[0]}: trace buffer: passed over 3 bytes outside of any sound record\n"
    bus.program.until_err(line)
    assert bus.program.end().err == line


TORN = Record(1, bytes(64), FD_STANDARD).pack()[:20]


def test_a_sound_record_behind_a_torn_one_is_handed_on_when_its_node_leaves(make_bus):
    bus = make_bus(2)
    leaver, other = bus.join(0), bus.join(1)
    leaver.send(TORN + PLAIN.pack())
    leaver.close()
    assert other.records(1, 31) == [PLAIN]
    seen = bus.program.end()
    assert parse_counts(bus, seen.out) == [(1, 0, 0), (0, 1, 0)]
    assert seen.err == f"{bus.paths[0]}: trace buffer: passed over 20 bytes outside of any sound record\n"


def test_a_sound_record_behind_a_torn_one_is_handed_on_when_the_bus_ends(make_bus):
    bus = make_bus(2)
    peer = bus.join(0)
    bus.join(1)
    peer.send(TORN + PLAIN.pack())
    assert parse_counts(bus, bus.program.end().out) == [(1, 0, 0), (0, 0, 1)], "nobody reads it there"


def test_a_record_with_an_invalid_body_is_counted_and_judged_by_the_node_that_gets_it(make_bus, node):
    bus = make_bus(2)
    peer = bus.join(0)
    program = node(bus, 1, "-a")
    peer.send(framed(CAN_EXT, b"abc"), PLAIN)
    assert peer.records(1, 31) == [answer(PLAIN)]
    program.until_err("\n")
    assert program.err == "trace buffer: passed over 1 record with an invalid body\n"
    assert bus.counts() == [(2, 1, 0), (1, 2, 0)]


SENDER = ["-p", "-l", "6", "-t", "0"]


@pytest.mark.parametrize("inject, line, lost", [
    ("write:retval=10:when=3", "write: incomplete CAN frame", [2]), ("write:retval=0:when=2", "write: incomplete CAN frame", [1]),
    ("write:error=EIO:when=3", "write error: Input/output error", [2]),
    ("write:error=EAGAIN:when=2+2", "write error: Resource temporarily unavailable", [1, 3, 5]),
])
@pytest.mark.parametrize("side", ["sender", "answerer"])
def test_a_short_or_failing_write_costs_its_frame_alone(side, inject, line, lost, make_bus, node, start, strace):
    bus = make_bus(3)
    observer = bus.join(2)

    def launch(number, faulty, *options):
        if not faulty:
            return start("qvcandev", "-d", bus.paths[number], *options)
        traced = strace.live("qvcandev", "-d", bus.paths[number], *options, only="write", inject=[inject],
                             path=os.path.realpath(bus.paths[number]))
        start.keep(traced)
        return traced
    answerer = launch(1, side == "answerer", "-a")
    bus.await_open(answerer, 1)
    sender = launch(0, side == "sender", *SENDER)
    arriving = [record for k, record in enumerate(pattern(1, 6)) if side == "answerer" or k not in lost]
    answered = [answer(record) for k, record in enumerate(arriving) if side == "sender" or k not in lost]
    seen = untimed(observer.records(len(arriving) + len(answered)))
    assert [record for record in seen if record in arriving] == arriving
    assert [record for record in seen if record in answered] == answered
    assert sender.result() == Result("", (line + "\n") * len(lost) if side == "sender" else "", 0)
    answerer.until_err(line + "\n", len(lost) if side == "answerer" else 0)
    assert (answerer.out, answerer.err) == ("", (line + "\n") * len(lost) if side == "answerer" else "")
    assert answerer.runs()


def test_a_failing_read_of_a_node_costs_no_record(make_bus, start, strace):
    bus = make_bus(2)
    peer = bus.join(0)
    program = strace.live("qvcandev", "-d", bus.paths[1], "-a", only="read", inject=["read:error=EIO:when=2+3"],
                          path=os.path.realpath(bus.paths[1]))
    start.keep(program)
    bus.await_open(program, 1)
    for _ in range(10):
        peer.send(PLAIN)
        assert peer.records(1, 31) == [answer(PLAIN)]
    line = "[ERROR] BZ::readCAN() buffer read: Input/output error\n"
    program.until_err(line, 3)
    assert program.err == line * program.err.count("\n")
    assert program.runs()
