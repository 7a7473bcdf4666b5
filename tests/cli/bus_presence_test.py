"""Nodes and buses that are not there: a node that does not read, that joins late, that goes; a bus that is killed."""

import signal

import pytest

from qv.program import Result
from qv.record import FD_STANDARD, Record, unpack, untimed
from qv.traffic import answer, pattern
from qv.userbus import parse_counts

pytest_plugins = "qv.userbus"

PLAIN = Record(0x123, b"\1\2\3", time=1000000)
INCOMPLETE = "[DEBUG] BZ::readCAN() incomplete buffer read\n"


LONG = Record(0x222, bytes(64), FD_STANDARD)  # 92 bytes
MORE_THAN_A_QUEUE = 12500  # of them: 1.15 MB
NOT_READING = ": is not reading and misses records\n"


def test_a_node_that_pauses_misses_nothing(make_bus):
    bus = make_bus(2)
    sender, sleeper = bus.join(0), bus.join(1)
    records = [Record(number % 0x800, bytes(64), FD_STANDARD, time=number) for number in range(10000)]  # 920 kB
    sender.send(*records)
    assert sleeper.records(10000, 92) == records
    assert bus.counts() == [(10000, 0, 0), (0, 10000, 0)]


def test_nothing_of_a_pattern_at_full_rate_is_lost(make_bus, start):
    bus = make_bus(3)
    reader, other = bus.join(1), bus.join(2)
    count = 25000  # as many as fit into a node's queue, however slow this test is
    sender = start("qvcandev", "-p", "-t", "0", "-l", count, "-d", bus.paths[0])
    expected = iter(pattern(1, count))
    for _ in range(count // 1000):
        records = reader.records(1000)
        assert untimed(records) == [next(expected) for _ in records]
        assert other.records(1000) == records
    assert sender.result() == Result("", "", 0)
    assert bus.counts() == [(count, 0, 0), (0, count, 0), (0, count, 0)]


def test_a_node_that_does_not_read_is_named_at_once_and_holds_nobody_up(make_bus):
    bus = make_bus(3)
    sender, sleeper, observer = bus.join(0), bus.join(1), bus.join(2)
    for _ in range(MORE_THAN_A_QUEUE):
        sender.send(LONG)
        observer.take(92)
    bus.program.until_err("\n")
    assert bus.program.err == bus.paths[1] + NOT_READING
    # It wakes up: what was kept for it is whole and in order, and from then on it misses nothing.
    mark = Record(0x7AA, b"\0" * 64, FD_STANDARD, time=1)
    while mark.pack() not in sleeper.seen:
        while sleeper.ready():
            sleeper.receive()
        sender.send(mark)
        observer.take(92)
        while sleeper.ready():
            sleeper.receive()
    early = [record for record in unpack(bytes(sleeper.seen[:len(sleeper.seen) // 92 * 92])) if record != mark]
    assert early == [LONG] * len(early)
    assert 2**20 - 100000 < len(early) * 92 < 2**20 + 100000
    seen = bus.program.end()
    (sent, *_), (_, received, missed), observed = parse_counts(bus, seen.out)
    assert (received + missed, observed) == (sent, (0, sent, 0))
    assert missed == MORE_THAN_A_QUEUE - len(early)
    assert seen.err == bus.paths[1] + NOT_READING


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
    (sent, *_), (_, received, missed), _ = bus.counts()
    assert (sent, received + missed) == (1002, 1001), "what the first one left unread is counted"


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
