"""qvcancheck on the bus."""

import json
import os
from pathlib import Path
import signal

from qv.check import hold_to_schema
from qv.pair import listeners, wait_for_listeners
from qv.waiting import wait_until
from qv.watched import Program


class Check(Program):
    """Listens on all its interfaces when the constructor returns. Its report is JSON, each object validated against the schema."""

    def __init__(self, *options):
        names = [name for option, name in zip(options, options[1:]) if option == "-d" and "/" not in name]
        before = {name: listeners(name) for name in names}
        self.held = 0  # objects that were validated
        super().__init__(Path(os.environ["QV_BIN"], "qvcancheck"), "--json", *options)
        for name in names:
            wait_for_listeners(name, before[name] + 1)

    def objects(self, event=None):
        """The objects reported so far, or those of one event."""
        told = [json.loads(line) for line in self.out.splitlines(keepends=True) if line.endswith("\n")]
        for one in told[self.held:]:
            hold_to_schema(one)
        self.held = max(self.held, len(told))
        return [one for one in told if event in (None, one["event"])]

    def summary(self):
        return self.objects("summary")[-1]

    def wait_for_event(self, what):
        wait_until(lambda: any(one["what"] == what for one in self.objects("event")), lambda: f"{what} in {self}")

    def ended(self, signal_number=signal.SIGINT):
        """Ends it, and returns its exit status."""
        self.signal(signal_number)
        return self.exit_status()


def streams(summary, *fields):
    """Sums of the fields over all streams."""
    return tuple(sum(stream[field] for stream in summary["streams"]) for field in fields)


def causes(summary):
    """The lost frames of all streams by their cause."""
    total = {}
    for stream in summary["streams"]:
        for cause, frames in stream["causes"].items():
            total[cause] = total.get(cause, 0) + frames
    return total
