"""The programs under control: run to their end, or watched while they run.

QV_BIN is the folder of the programs. QV_RUNNER precedes each command, for programs of another machine:
QV_RUNNER="qemu-arm -L /usr/arm-linux-gnueabihf".
"""

from dataclasses import dataclass
import os
from pathlib import Path
import select
import shlex
import signal
import subprocess
import time

PATIENCE = 60  # seconds; only a failure waits that long
RUNNER = shlex.split(os.environ.get("QV_RUNNER", ""))


def path_of(program):
    return str(Path(os.environ["QV_BIN"], program).resolve())


def command(program, *options):
    return [os.fsencode(str(word) if isinstance(word, int) else word) for word in (*RUNNER, path_of(program), *options)]


def environment(**changes):
    """The tests' own, without language settings; a change to None removes a variable."""
    kept = {name: value for name, value in os.environ.items()
            if not name.startswith("LC_") and name not in ("LANG", "LANGUAGE", "POSIXLY_CORRECT")}
    kept.update(changes)
    return {name: value for name, value in kept.items() if value is not None}


def text(raw):
    """Lossless: bytes that are not UTF-8 stay distinct."""
    return raw.decode("utf-8", "surrogateescape")


@dataclass(frozen=True)
class Result:
    out: str
    err: str
    status: int  # negative: the signal that ended it


def run_command(words, **popen):
    settings = dict(stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=environment(), timeout=PATIENCE)
    done = subprocess.run(words, **{**settings, **popen})
    return Result(text(done.stdout or b""), text(done.stderr or b""), done.returncode)


def run(program, *options, **popen):
    """Runs it to its end."""
    return run_command(command(program, *options), **popen)


def default_signals():
    """In the child: a test run started in the background passes on an ignored SIGINT."""
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGPIPE):
        signal.signal(number, signal.SIG_DFL)


class Live:
    """A program whose outputs are read as they arrive."""

    def __init__(self, words, **popen):
        self.words = words
        settings = dict(stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=environment(),
                        process_group=0, preexec_fn=default_signals)
        self.process = subprocess.Popen(words, **{**settings, **popen})
        self.pipes = {pipe: bytearray() for pipe in (self.process.stdout, self.process.stderr) if pipe is not None}
        self.open = list(self.pipes)

    @property
    def out(self):
        return text(bytes(self.pipes.get(self.process.stdout, b"")))

    @property
    def err(self):
        return text(bytes(self.pipes.get(self.process.stderr, b"")))

    def __str__(self):
        return f"{self.words} (stdout {self.out[-500:]!r}, stderr {self.err[-500:]!r})"

    def until(self, condition, what, also=None):
        """Reads until condition(); `also` is a Terminal whose bytes are read meanwhile."""
        others = {also.master: also.receive} if also else {}
        end = time.monotonic() + PATIENCE
        while not condition():
            ready = select.select([*self.open, *others], [], [], max(0, end - time.monotonic()))[0]
            assert ready and time.monotonic() < end, f"waited for {what}: {self}"
            for source in ready:
                if source in others:
                    others[source]()
                    continue
                piece = os.read(source.fileno(), 65536)
                self.pipes[source] += piece
                if not piece:
                    self.open.remove(source)
            assert self.open or others or condition(), f"ended before {what}: {self}"

    def until_out(self, line, count=1):
        self.until(lambda: self.out.count(line) >= count, f"{count} times {line!r} on stdout")

    def until_err(self, line, count=1):
        self.until(lambda: self.err.count(line) >= count, f"{count} times {line!r} on stderr")

    def runs(self):
        return self.process.poll() is None

    def cpu_ticks(self):
        """Processor time of all its threads, user and system, in clock ticks (100 a second)."""
        fields = Path(f"/proc/{self.process.pid}/stat").read_text().rpartition(")")[2].split()
        return int(fields[11]) + int(fields[12])

    def result(self):
        """Waits for its end."""
        self.until(lambda: not self.open, "its end")
        return Result(self.out, self.err, self.process.wait(PATIENCE))

    def end(self, number=signal.SIGTERM):
        """Sends the signal and waits for the end."""
        self.process.send_signal(number)
        return self.result()

    def close(self):
        if self.runs():
            os.killpg(self.process.pid, signal.SIGKILL)  # a tracer takes its program along
        self.process.wait()
        for pipe in self.pipes:
            pipe.close()
