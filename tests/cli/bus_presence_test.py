"""Nodes and buses that are not there: a node that does not read, that joins late, that goes; a bus that is killed."""

import signal

import pytest

from qvcli.program import Result
from qvcli.record import Record, unpack
from qvcli.traffic import answer

pytest_plugins = "qvcli.bus"

PLAIN = Record(0x123, b"\1\2\3", time=1000000)
INCOMPLETE = "[DEBUG] BZ::readCAN() incomplete buffer read\n"


def test_a_node_that_does_not_read_holds_nobody_up_and_what_it_misses_is_counted(make_bus, node):
    bus = make_bus(4)
    sender, sleeper, observer = bus.join(0), bus.join(1), bus.join(3)
    answerer = node(bus, 2, "-a")
    rounds = 1000  # more than a terminal has room for
    records = [Record(number % 0x400, bytes([number % 256] * 8), time=number) for number in range(rounds)]
    for record in records:
        sender.send(record)
        assert sender.records(1) == [answer(record)]
        assert observer.records(2) == [record, answer(record)]
    # It wakes up: what was handed to it is whole and in order, and from then on it misses nothing.
    mark = Record(0x7AA, b"\0" * 8, time=rounds)  # its time tells it, and the answer to it, from the others
    while mark.pack() not in sleeper.seen:
        while sleeper.ready():
            sleeper.receive()
        sender.send(mark)
        observer.records(2)
        sender.records(1)
        while sleeper.ready():
            sleeper.receive()
    handed = unpack(bytes(sleeper.seen[:len(sleeper.seen) // 36 * 36]))
    everything = [one for record in records for one in (record, answer(record))]
    early = [record for record in handed if record.time < rounds]
    rest = iter(everything)
    assert all(record in rest for record in early), "in order, each once"
    assert 0 < len(early) < len(everything)
    assert answerer.end() == Result("", "", -signal.SIGTERM)
    (sent, *_), (_, received, missed), *_ = counts = bus.counts()
    assert received + missed == 2 * sent and missed >= len(everything) - len(early)
    assert [count[2] for count in counts] == [0, missed, 0, 0]


def test_a_node_that_joins_late_gets_nothing_of_what_came_before(make_bus):
    bus = make_bus(3)
    sender, observer = bus.join(0), bus.join(2)
    sender.send(*[PLAIN] * 5)
    # The bus serves the nodes in their order: what the last has got, it has kept from those absent before it.
    assert observer.records(5, 31) == [PLAIN] * 5
    late = bus.join(1)
    sender.send(Record(6, b"\6"))
    assert late.records(1, 29) == observer.records(1, 29) == [Record(6, b"\6")]
    assert bus.counts() == [(6, 0, 0), (0, 1, 0), (0, 6, 0)]


def test_who_takes_the_place_of_a_node_that_did_not_read_starts_with_nothing(make_bus):
    bus = make_bus(3)
    sender, sleeper, observer = bus.join(0), bus.join(1), bus.join(2)
    for _ in range(1000):
        sender.send(PLAIN)
        observer.take(31)
    sleeper.close()
    sender.send(PLAIN)  # when this has come over, the bus has looked at the node and found it gone
    observer.take(31)
    follower = bus.join(1)
    sender.send(Record(6, b"\6"))
    assert follower.records(1, 29) == [Record(6, b"\6")]


@pytest.mark.parametrize("options, devices", [([], 1), (["-a"], 1), (["-i", "1", "-i", "2"], 2)], ids=str)
def test_a_bus_that_is_killed_takes_no_core_of_a_node_that_lives_on(options, devices, make_bus, node):
    """The terminal hangs up under a read. Each look at it is a line at verbosity 2, and 10 ms apart from the next."""
    bus = make_bus(2)
    peer = bus.join(0)
    program = node(bus, 1, "-vv", *options)
    peer.send(PLAIN)
    program.until_out(": return: ")
    if "-a" in options:
        assert peer.records(1, 31) == [answer(PLAIN)]
    bus.program.process.kill()
    program.until_out(INCOMPLETE, 5 * devices)
    before = program.cpu_ticks()
    program.until_out(INCOMPLETE, 105 * devices)
    assert program.cpu_ticks() - before <= 20 * devices
    assert program.runs()
    # A read that was under way says so; those that come later meet the end.
    line = "[ERROR] BZ::readCAN() buffer read: Input/output error\n"
    assert program.err in [line * count for count in range(devices + 1)]
    assert program.end().status == -signal.SIGTERM


def test_a_sender_whose_bus_is_killed_reports_each_frame_and_ends_in_time(make_bus, node):
    bus = make_bus(2)
    observer = bus.join(1)
    program = node(bus, 0, "-p", "-l", "300", "-t", "5m", "-j", "0")
    observer.take(36 * 5)
    bus.program.process.kill()
    line = "write error: Input/output error\n"
    program.until_err(line, 5)
    before = program.cpu_ticks()
    program.until_err(line, 80)
    assert program.cpu_ticks() - before <= 20
    seen = program.result()
    assert (seen.out, seen.status) == ("", 0)
    assert seen.err.count(line) >= 80
    assert set(seen.err.splitlines(keepends=True)) <= {line, "[ERROR] BZ::readCAN() buffer read: Input/output error\n"}
