#!/usr/bin/python3
"""Which length of the transmit queue loses no frame, as tables. To be run where the bus tests run, with QV_BIN:

    tests/target/arm-machine tests/target/transmit_queue.py

A socket polls writable as long as its send buffer is less than half full. When the queue of the interface is full before that, the write
fails with ENOBUFS and the frame is gone. So there is a length from which on a run loses nothing, and it follows from the
sizes of buffers, not from speed: on a bus that stands still, it is the number of frames that wait when the sender stops. Exit
status 1 says that QUEUE, which the README tells users to set, is not enough.
"""

import json
import os
from pathlib import Path
import sys
import time

sys.path.insert(0, str(Path(__file__).parent.parent / "support"))

from qv.pair import command, Pair
from qv.watched import Program
from qv.qvcan import FD_ENABLED, WRITE_FULL

QUEUE = 1000
LENGTHS = [10, 50, 100, 125, 130, 150, 200, QUEUE]
SENDERS = {  # options, frames of each identifier
    "classic": ([], 2000),
    "FD, 64 bytes": (["-f"], 600),
    "classic, 4 identifiers": (["-i", "1", "-i", "2", "-i", "3", "-i", "4"], 500),
}


class Sender(Program):
    def __init__(self, bus, options, count):
        super().__init__(Path(os.environ["QV_BIN"], "qvcan"), "-p", "-t", 0, "-j", 0, "-l", count, "-d", bus.near, *options)

    def lost(self):
        """By its own report, and it may report nothing else."""
        number = self.err.count(WRITE_FULL)
        assert self.err == WRITE_FULL * number, self
        assert self.out in ("", FD_ENABLED), self
        return number


def shape(bus, rate, queue):
    """As Pair.shape. The rate is not changed afterwards: tc would give the queue inside tbf's own limit."""
    name = bus.near
    command("ip", "link", "set", name, "txqueuelen", queue)
    command("tc", "qdisc", "add", "dev", name, "root", "handle", "1:", "tbf", "rate", rate, "burst", 1000, "limit", 64000)
    command("tc", "qdisc", "add", "dev", name, "parent", "1:1", "handle", "10:", "pfifo")


def with_sender(job, options, count, *, rate, queue):
    """job(bus, sender) on a bus of its own."""
    bus = Pair()
    try:
        shape(bus, rate, queue)
        sender = Sender(bus, options, count)
        try:
            return job(bus, sender)
        finally:
            sender.close()
    finally:
        bus.delete()


def waiting_frames(bus, sender):
    """How many wait in the queue when the sender has stopped; nothing leaves it meanwhile, but for a few."""
    before = -1
    while True:
        time.sleep(1)
        now = json.loads(command("tc", "-s", "-j", "qdisc", "show", "dev", bus.near, "handle", "10:"))[0]["qlen"]
        if now == before > 0:
            assert sender.lost() == 0, "the queue is full"
            return now
        before = now


def lost_frames(_, sender):
    assert sender.exit_status(300) == 0, sender
    return sender.lost()


def main():
    for name in ("classic", "FD, 64 bytes"):
        number = with_sender(waiting_frames, SENDERS[name][0], 100000, rate="8bit", queue=QUEUE)
        print(f"frames that wait when the sender stops, {name}: {number}", flush=True)

    print("\nframes lost at 500 kbit/s of " + ", ".join(f"{count * max(1, len(options) // 2)}" for options, count in SENDERS.values()))
    print(f"{'txqueuelen':>10}  " + "  ".join(f"{name:>22}" for name in SENDERS))
    for queue in LENGTHS:
        row = [with_sender(lost_frames, options, count, rate="500kbit", queue=queue) for options, count in SENDERS.values()]
        print(f"{queue:>10}  " + "  ".join(f"{number:>22}" for number in row), flush=True)
    return 1 if any(row) else 0


sys.exit(main())
