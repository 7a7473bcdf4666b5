"""Programs under control: started, watched, and ended with the test."""

import os
from pathlib import Path
import signal
import subprocess
import tempfile

from qv.frame import Frame
from qv.pair import listeners, wait_for_listeners
from qv.peer import END_MARK, Peer
from qv.waiting import PATIENCE, wait_until


class Program:
    """Its outputs go to files, which hold exactly what was written and can be read at any time."""

    def __init__(self, *words):
        self.words = [str(word) for word in words]
        self.folder = tempfile.TemporaryDirectory(prefix="qvbus-")
        # An explicit zone: the file of the local one would be read at the first time stamp, and count in bytes_read().
        environment = dict(os.environ, LC_ALL="C", TZ="UTC0")
        with open(self.path("stdout"), "wb") as out, open(self.path("stderr"), "wb") as err:
            self.process = subprocess.Popen(self.words, stdin=subprocess.DEVNULL, stdout=out, stderr=err, env=environment)

    def path(self, name):
        return Path(self.folder.name, name)

    @property
    def out(self):
        return self.path("stdout").read_text()

    @property
    def err(self):
        return self.path("stderr").read_text()

    def __str__(self):
        return f"`{' '.join(self.words)}` (stdout {self.out[-500:]!r}, stderr {self.err[-500:]!r})"

    def runs(self):
        return self.process.poll() is None

    def wait_for_out(self, text):
        wait_until(lambda: text in self.out, lambda: f"{text!r} on stdout of {self}")

    def wait_for_err(self, text):
        wait_until(lambda: text in self.err, lambda: f"{text!r} on stderr of {self}")

    def wait_for_err_lines(self, count):
        wait_until(lambda: self.err.count("\n") >= count, lambda: f"{count} lines on stderr of {self}")

    def exit_status(self, patience=PATIENCE):
        try:
            return self.process.wait(patience)
        except subprocess.TimeoutExpired:
            raise AssertionError(f"{self} did not end") from None

    def signal(self, number):
        self.process.send_signal(number)

    def stop(self):
        """Waits until it has stopped or ended."""
        self.signal(signal.SIGSTOP)
        wait_until(lambda: not self.runs() or self.state() == "T", lambda: f"{self} to stop")

    def go_on(self):
        self.signal(signal.SIGCONT)

    def cpu_ticks(self):
        """Processor time of all its threads, user and system, in clock ticks."""
        fields = Path(f"/proc/{self.process.pid}/stat").read_text().rpartition(")")[2].split()
        return int(fields[11]) + int(fields[12])

    def state(self):
        return Path(f"/proc/{self.process.pid}/stat").read_text().rpartition(")")[2].split()[0]

    def bytes_read(self):
        """What its read calls returned in total."""
        return int(Path(f"/proc/{self.process.pid}/io").read_text().split()[1])

    def end(self):
        if self.runs():
            self.process.kill()
        self.process.wait()

    def close(self):
        self.end()
        self.folder.cleanup()


class Candump(Program):
    """candump on one end, with a receive buffer for an entire run: the default one silently drops after 278 FD frames."""

    def __init__(self, name, other):
        self.name, self.other = name, other
        before = listeners(name)
        super().__init__("candump", "-L", "-r", "8000000", name)
        wait_for_listeners(name, before + 1)

    def texts(self):
        """(time in seconds, frame as printed), complete lines only."""
        words = [line.split() for line in self.out.rpartition("\n")[0].splitlines()]
        return [(float(word[0].strip("()")), word[2]) for word in words]

    def records(self):
        """(time in seconds, frame)."""
        return [(moment, Frame.parse(text)) for moment, text in self.texts()]

    def count(self):
        return self.out.count("\n")

    def wait_for(self, count):
        wait_until(lambda: self.count() >= count, lambda: f"{count} frames on {self.name}; {self.count()} are there")

    def all_records(self):
        """Every frame sent to this end so far, with no more to come: an end mark follows them."""
        peer = Peer(self.other)
        peer.send(END_MARK)
        peer.close()
        wait_until(lambda: any(frame == END_MARK for _, frame in self.records()), f"the end mark on {self.name}")
        self.signal(signal.SIGINT)
        self.exit_status()
        records = self.records()
        assert records[-1][1] == END_MARK, f"{records[-1][1]} came after the end mark"
        return records[:-1]

    def all_frames(self):
        return [frame for _, frame in self.all_records()]
