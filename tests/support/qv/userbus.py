"""A running qvbus, and peers on it that are not our programs. A test file loads the fixtures with `pytest_plugins = "qv.userbus"`."""

import fcntl
import os
from pathlib import Path
import re
import select
import signal
import termios
import time

import pytest

from qv.program import PATIENCE
from qv.record import unpack
from qv.waiting import wait_until


class Peer:
    """A node played by the test itself. Replaces a Terminal in Live.until."""

    def __init__(self, path):
        self.master = os.open(path, os.O_RDWR | os.O_NOCTTY)
        self.seen = bytearray()

    def send(self, *records):
        raw = b"".join(record if isinstance(record, bytes) else record.pack() for record in records)
        assert os.write(self.master, raw) == len(raw)

    def receive(self):
        self.seen += os.read(self.master, 65536)

    def ready(self, seconds=0):
        return bool(select.select([self.master], [], [], seconds)[0])

    def take(self, size):
        """Waits for that many more bytes and returns them."""
        while len(self.seen) < size:
            assert self.ready(PATIENCE), f"waited for {size} bytes, got {len(self.seen)}"
            self.receive()
        taken = bytes(self.seen[:size])
        del self.seen[:size]
        return taken

    def records(self, count, size=36):
        """The next records, which must have that size."""
        return unpack(self.take(count * size))

    def close(self):
        if self.master >= 0:
            os.close(self.master)
        self.master = -1


class Bus:
    def __init__(self, start, prefix, nodes, options):
        self.prefix, self.nodes = prefix, nodes
        self.paths = [f"{prefix}{number}" for number in range(nodes)]
        self.program = start("qvbus", "-n", nodes, "-l", prefix, *options)
        self.started = f"{nodes} nodes: {self.paths[0]} to {self.paths[-1]}\n"
        self.program.until_out(self.started)
        self.peers = []

    def join(self, number):
        self.peers.append(Peer(self.paths[number]))
        return self.peers[-1]

    def await_open(self, program, number):
        """Waits until that program, or a child of it, has opened the node: from then on nothing sent to it is lost."""
        terminal = os.path.realpath(self.paths[number])
        end = time.monotonic() + PATIENCE
        while not any(terminal in opened_by(process) for process in family(program.process.pid)):
            assert program.runs() and time.monotonic() < end, f"waited for {terminal} to be opened: {program}"
            os.sched_yield()

    def settle(self):
        """Waits until the bus waits, and thus has done everything."""
        wait_until(lambda: Path(f"/proc/{self.program.process.pid}/stat").read_text().rpartition(")")[2].split()[0] == "S",
                   "the bus to wait")

    def await_read(self, number):
        """Waits until the bus has read everything written to the node."""
        with open(self.paths[number], "rb", buffering=0) as terminal:
            wait_until(lambda: fcntl.ioctl(terminal, termios.TIOCOUTQ, b"\0" * 4) == b"\0" * 4, "the bus to read")
        self.settle()

    def passed(self, number=None):
        """The lines of -v so far: frames as text, all or those of one node."""
        whole = self.program.out.removeprefix(self.started).rpartition("\n")[0]
        words = [line.split(" ", 1) for line in whole.splitlines()]
        return [word[1] for word in words if word[0] in (self.paths if number is None else self.paths[number:number + 1])]

    def counts(self, number=signal.SIGTERM):
        """Ends it; (sent, received, missed) of each node. Nothing else may be printed at the end, and nothing on standard error."""
        seen = self.program.end(number)
        assert (seen.err, seen.status) == ("", 0)
        return parse_counts(self, seen.out)

    def close(self):
        for peer in self.peers:
            peer.close()


def parse_counts(bus, out):
    """From the last lines of a bus that has ended."""
    counts = []
    for path, line in zip(bus.paths, out.splitlines()[-bus.nodes:]):
        match = re.fullmatch(re.escape(path) + r": (\d+) sent, (\d+) received, (\d+) missed", line)
        assert match, line
        counts.append(tuple(map(int, match.groups())))
    return counts


def family(pid):
    """A process and its descendants, such as a tracer's program."""
    found = [pid]
    for parent in found:
        try:
            with open(f"/proc/{parent}/task/{parent}/children", encoding="ascii") as children:
                found += map(int, children.read().split())
        except OSError:
            pass  # it has just ended
    return found


def opened_by(pid):
    folder = f"/proc/{pid}/fd"
    try:
        return {os.readlink(f"{folder}/{entry}") for entry in os.listdir(folder)}
    except OSError:
        return set()  # a descriptor was closed, or the process ended, in the meantime


@pytest.fixture
def make_bus(start, tmp_path):
    """make_bus(nodes, options...) starts a bus whose nodes are node0, node1, … in the test's folder."""
    made = []

    def make(nodes=2, *options):
        made.append(Bus(start, str(tmp_path / "node"), nodes, options))
        return made[-1]
    yield make
    for bus in made:
        bus.close()


@pytest.fixture
def node(start):
    """node(bus, number, options...) starts qvcandev there and waits until it has opened its terminal."""
    def begin(bus, number, *options):
        program = start("qvcandev", "-d", bus.paths[number], *options)
        bus.await_open(program, number)
        return program
    return begin
