"""A plugin of pytest: what a bus needs on a machine with two processors, where the kernel does two things at a time.

Each processor hands on the frames that it has sent; a sender that moves to the other one may overtake itself. One of them shall do it
for all. And an interface whose carrier has come back sends nothing, without an error, until another thread of the kernel has seen to it.
"""

import functools
import json
from pathlib import Path

from qvbus.pair import command, Pair
from qvbus.waiting import wait_until


def one_processor_hands_on(bus):
    for name in (bus.near, bus.far):
        Path("/sys/class/net", name, "queues/rx-0/rps_cpus").write_text("1")


def wait_for_carrier(bus):
    def ready():
        ends = [json.loads(command("ip", "-j", "link", "show", name))[0] for name in (bus.near, bus.far)]
        return any("UP" not in end["flags"] for end in ends) or all(end["operstate"] == "UP" for end in ends)

    wait_until(ready, "both ends to be ready to send")


def followed_by(method, *steps):
    @functools.wraps(method)
    def both(bus, *arguments, **options):
        method(bus, *arguments, **options)
        for step in steps:
            step(bus)
    return both


Pair.__init__ = followed_by(Pair.__init__, one_processor_hands_on, wait_for_carrier)
Pair.up = followed_by(Pair.up, wait_for_carrier)
Pair.set_mtu = followed_by(Pair.set_mtu, wait_for_carrier)
