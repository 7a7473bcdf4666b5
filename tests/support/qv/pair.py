"""The bus: a pair of vxcan interfaces. What is sent on one end arrives at every reader of the other."""

import json
from pathlib import Path
import socket
import subprocess

from qv.waiting import wait_until


def command(*words, stdin=""):
    done = subprocess.run([str(word) for word in words], capture_output=True, text=True, input=stdin)
    if done.returncode != 0:
        raise AssertionError(f"{' '.join(map(str, words))}: {done.stderr.strip()}")
    return done.stdout


def ip(*lines):
    """Several ip commands in one process: where starting one is slow, set-up would take longer than the test."""
    command("ip", "-batch", "-", stdin="".join(line + "\n" for line in lines))


class Pair:
    def __init__(self, near="vxcan0", far="vxcan1", *, mtu=72, queue=1000):
        self.near, self.far = near, far
        ip(f"link add {near} type vxcan peer name {far}",
           *[f"link set {name} mtu {mtu} txqueuelen {queue}" for name in (near, far)],
           *[f"link set {name} up" for name in (near, far)])
        self._one_processor_hands_on()
        self._wait_for_carrier()

    def other(self, name):
        return self.far if name == self.near else self.near

    def up(self, name):
        ip(f"link set {name} up")
        self._wait_for_carrier()

    def down(self, name):
        ip(f"link set {name} down")

    def set_mtu(self, mtu):
        """72 is an FD bus, 16 a classic one. Leaves both ends up."""
        for step in ("down", f"mtu {mtu}", "up"):
            ip(*[f"link set {name} {step}" for name in (self.near, self.far)])
        self._wait_for_carrier()

    def delete(self):
        ip(f"link del {self.near}")

    def exists(self):
        return self.near in (name for _, name in socket.if_nameindex())

    def shape(self, name, queue):
        """Makes the end send like a 500 kbit/s bus, with room for that many queued frames: 3900 classic or 868 FD frames
        a second."""
        ip(f"link set {name} txqueuelen {queue}")
        command("tc", "qdisc", "add", "dev", name, "root", "handle", "1:", "tbf", "rate", "500kbit", "burst", 1000, "limit", 64000)
        # tbf limits its queue in bytes; the limit of a pfifo inside it comes from txqueuelen, as for the queue of a real interface.
        command("tc", "qdisc", "add", "dev", name, "parent", "1:1", "handle", "10:", "pfifo")

    def counters(self, name):
        """The kernel's own: (frames received, frames sent)."""
        stats = json.loads(command("ip", "-j", "-s", "link", "show", name))[0]["stats64"]
        return stats["rx"]["packets"], stats["tx"]["packets"]

    def _one_processor_hands_on(self):
        """Each processor passes on the frames that were sent on it: a sender that migrates may overtake itself."""
        for name in (self.near, self.far):
            steering = Path("/sys/class/net", name, "queues/rx-0/rps_cpus")
            if steering.exists():  # a single-processor kernel has none
                steering.write_text("1")

    def _wait_for_carrier(self):
        """An interface that has just come up drops what it sends, without an error, until another kernel thread has processed the
        change."""
        def ready():
            ends = [json.loads(command("ip", "-j", "link", "show", name))[0] for name in (self.near, self.far)]
            return any("UP" not in end["flags"] for end in ends) or all(end["operstate"] == "UP" for end in ends)

        wait_until(ready, "both ends to be ready to send")


def listeners(name):
    """How many raw sockets listen to all frames of the interface."""
    lines = Path("/proc/net/can/rcvlist_all").read_text().splitlines()
    return sum(1 for line in lines if line.split()[:1] == [name])


def wait_for_listeners(name, count):
    wait_until(lambda: listeners(name) == count, lambda: f"{count} sockets on {name}; there are {listeners(name)}")
