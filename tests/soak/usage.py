"""The machine's resources that a program uses."""

from dataclasses import dataclass
import os
from pathlib import Path
import time


def descriptors(folder):
    """Without descriptors that are open only for a moment, such as those of counters read each second."""
    counts = []
    for _ in range(5):
        counts.append(len(os.listdir(folder)))
        time.sleep(0.01)
    return min(counts)


@dataclass(frozen=True)
class Usage:
    resident: int  # KiB
    descriptors: int
    ticks: int  # processor time, user and system, in 1/100 s

    @classmethod
    def of(cls, pid):
        folder = Path("/proc", str(pid))
        status = dict(line.split(":", 1) for line in (folder / "status").read_text().splitlines())
        fields = (folder / "stat").read_text().rpartition(")")[2].split()
        return cls(int(status["VmRSS"].split()[0]), descriptors(folder / "fd"), int(fields[11]) + int(fields[12]))


@dataclass
class Watched:
    """A program that runs for the entire soak."""

    name: str
    process: object  # with pid
    growth: int  # KiB by which it may grow
    start: Usage = None
    end: Usage = None

    def look(self):
        usage = Usage.of(self.process.pid)
        self.start = self.start or usage
        self.end = usage

    def judge(self, account):
        account.within(f"{self.name}: KiB grown", -self.start.resident, self.growth, self.end.resident - self.start.resident)
        account.same(f"{self.name}: descriptors", self.start.descriptors, self.end.descriptors)

    def line(self):
        return (f"{self.name:<34} {self.start.resident:>7,} {self.end.resident:>7,}   {self.start.descriptors:>3} {self.end.descriptors:>3}   "
                f"{self.start.ticks / 100:>8.2f} {self.end.ticks / 100:>9.2f}")


HEADING = f"{'program':<34} {'RSS KiB':>15}   {'files':>7}   {'processor, s':>18}\n{'':<34} {'start':>7} {'end':>7}   {'':>7}   {'start':>8} {'end':>9}"
