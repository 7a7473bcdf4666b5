"""tc impairs an interface and counts what it did."""

import json

from qv.pair import command
from qv.waiting import wait_until


class Netem:
    """Impairs what the interface sends. Its queue has room for every frame of a test: it drops only what it was set to drop."""

    def __init__(self, name, *words):
        self.name = name
        command("tc", "qdisc", "add", "dev", name, "root", "netem", *words, "limit", 100000)

    def figures(self):
        return next(one for one in json.loads(command("tc", "-s", "-j", "qdisc", "show", "dev", self.name)) if one["kind"] == "netem")

    def delivered(self):
        """The figures, once its queue is empty."""
        wait_until(lambda: self.figures()["qlen"] == 0, lambda: f"the queue of {self.name} to be empty: {self.figures()}")
        return self.figures()
