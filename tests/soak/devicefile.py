"""The soak over qvbus: nodes of a bus in user space, whose own final counts are the oracle. Each function below is one phase."""

from contextlib import suppress
import os
from pathlib import Path
import random
import re
import signal
import tempfile
import time

from qv.livecheck import Check, streams
from qv.record import Record
from qv.userbus import opened_by
from qv.waiting import wait_until
from qv.watched import Program
from usage import Watched

SENTINEL = 0x8ABCDEF0  # of a stream that is sent after all others, which have standard identifiers
SENDER, CHECK, ANSWERER, FURTHER = range(4)
FAILED = re.compile(r"write(?: error: .*|: incomplete CAN frame)\n")


def built(name):
    return Path(os.environ["QV_BIN"], name)


class Bus:
    """A bus, and programs at its nodes."""

    def __init__(self, folder, nodes=4):
        self.paths = [f"{folder}/node{number}" for number in range(nodes)]
        self.program = Program(built("qvbus"), "-n", nodes, "-l", f"{folder}/node")
        self.program.wait_for_out(f"{nodes} nodes: ")
        self.started = []
        self.unseen = 0

    def join(self, number, kind, *words):
        program = kind(*words)
        self.started.append(program)
        terminal = os.path.realpath(self.paths[number])
        wait_until(lambda: not program.runs() or terminal in opened_by(program.process.pid), lambda: f"{program} to open {terminal}")
        return program

    def node(self, number, *options):
        return self.join(number, Program, built("qvcandev"), "-d", self.paths[number], *options)

    def check(self, *options):
        return self.join(CHECK, Check, "-d", self.paths[CHECK], "-w", 60, "--idle", 3600, *options)

    def sender(self, ids, count, *options, gap=250, node=SENDER):
        pace = ["-t", f"{gap * len(ids)}u", "-j", 0] if gap else ["-t", 0]
        return self.node(node, "-p", *[word for first in ids for word in ("-i", hex(first))], "-l", count, *pace, *options)

    def end_check(self, check):
        """Ends it once it has seen a stream sent after all others. That is sent again if the terminal was full; `unseen` are its frames
        that the check has not read."""
        def seen():
            return any(one["start"] == SENTINEL & 0x1FFFFFFF for one in check.objects("stream"))
        sent = 0
        while not seen():
            assert sent < 400, f"no last stream in {check}"
            assert self.node(FURTHER, "-p", "-i", hex(SENTINEL), "-l", 4, "-t", 0).exit_status() == 0
            sent += 4
            with suppress(AssertionError):
                wait_until(seen, "the last stream", 2)
        check.ended()
        found = check.summary()["streams"]
        self.unseen = sent - sum(streams({"streams": [one for one in found if one["width"] != 11]}, "intact", "repeated"))
        return [one for one in found if one["width"] == 11]

    def counts(self):
        """Ends it: (sent, received, missed) of each node."""
        self.program.signal(signal.SIGTERM)
        self.program.exit_status()
        return [tuple(map(int, re.fullmatch(r".*: (\d+) sent, (\d+) received, (\d+) missed", line).groups()))
                for line in self.program.out.splitlines()[-len(self.paths):]]

    def close(self):
        for program in reversed(self.started):
            program.close()
        self.program.close()


class Bed:
    def __init__(self, chance: random.Random, account, size):
        self.random, self.account, self.size = chance, account, size
        self.folder = tempfile.TemporaryDirectory(prefix="qv-soak-")
        calm = Path(self.folder.name, "calm")
        calm.mkdir()
        self.calm = Bus(calm)
        self.calm_check = self.calm.check()
        self.calm_answerer = self.calm.node(ANSWERER, "-a")
        self.calm_sender = self.calm.sender([1], 0, "-e", 100, gap=10000)
        self.bus = None

    def watched(self):
        return [Watched("qvbus, beside", self.calm.program.process, 512), Watched("qvcancheck, beside", self.calm_check.process, 8192),
                Watched("qvcandev -p, beside", self.calm_sender.process, 512), Watched("qvcandev -a, beside", self.calm_answerer.process, 512)]

    def ids(self):
        return [self.random.choice((0, 0x100, 0x600)) | low for low in self.random.sample((0x01, 0x47, 0x93), self.random.randint(1, 3))]

    def sent(self, program):
        """Waits for its end; returns the number of failed writes."""
        status = program.exit_status(1200)
        failed = len(FAILED.findall(program.err))
        self.account.holds("senders ended as they should", status == 0 and FAILED.sub("", program.err) == "")
        return failed

    def play(self, phase):
        with tempfile.TemporaryDirectory(prefix="phase-", dir=self.folder.name) as folder:
            self.bus = Bus(folder)
            try:
                phase(self)
                return sum(int(n) for n in re.findall(r": \d+ sent, (\d+) received", self.bus.program.out))
            finally:
                self.bus.close()

    def finish(self):
        self.calm_sender.signal(signal.SIGTERM)
        self.calm_sender.exit_status()
        found = self.calm.end_check(self.calm_check)
        self.account.holds("nodes beside run, without a word", self.calm_answerer.runs() and self.calm_answerer.err == "")
        counts = self.calm.counts()
        intact, corrupted = sums(found, "intact", "corrupted")
        sent, missed = counts[SENDER][0], counts[CHECK][2]  # answers to the last stream may come when nobody listens any more
        self.account.within("frames beside, undisturbed", sent - missed, sent, intact + corrupted)
        self.account.same("corrupted beside", (intact + corrupted) // 100, corrupted)
        self.account.same("their answers", intact + corrupted, sum(sums(found, "intact", "corrupted", role="answer")))
        return sum(received for _, received, _ in counts)

    def close(self):
        self.calm.close()
        self.folder.cleanup()


def sums(found, *fields, role="direct"):
    return streams({"streams": [one for one in found if one["role"] == role]}, *fields)


def demands(ids, count):
    return [word for first in ids for word in ("-i", hex(first))] + ["-l", count]


def undisturbed(bed):
    kind, ids = bed.random.choice(([], ["-f"])), bed.ids()
    count = bed.size // len(ids)
    check = bed.bus.check(*demands(ids, count), *kind)
    failed = bed.sent(bed.bus.sender(ids, count, *kind))
    judge(bed, check, count * len(ids), failed)


def judge(bed, check, count, failed):
    """The bus reports what the check's terminal had no room for, and the sender what the bus did not get."""
    found = bed.bus.end_check(check)
    counts = bed.bus.counts()
    intact, lost, repeated = sums(found, "intact", "lost", "repeated")
    bed.account.same("sent = taken by the bus", count - failed, counts[SENDER][0])
    bed.account.same("intact + lost", count, intact + lost)
    missed = counts[CHECK][2]
    bed.account.within("lost = missed by the node + not written", failed + max(0, missed - bed.bus.unseen), failed + missed, lost)
    bed.account.same("repeated, where nothing was", 0, repeated)
    return found


def injection(bed):
    period = bed.random.choice((2, 7, 10, 99))
    check = bed.bus.check("-i", 1, "-l", bed.size, "-e", period)
    sender = bed.bus.sender([1], bed.size, "-e", period, "-vv")
    bed.sent(sender)
    found = bed.bus.end_check(check)
    said = sender.out.count("injected error at payload")
    bed.account.same("corrupted = injected, as the sender says", said, sums(found, "corrupted")[0])
    bed.account.same("found where it was due", said, found[0]["injected"]["found"])
    missed = bed.bus.counts()[CHECK][2]
    bed.account.within("lost = missed by the node + not written", max(0, missed - bed.bus.unseen), missed, sums(found, "lost")[0])


def disturbed(bed, who):
    """The program that who(sender, bus) returns is stopped for a while, three times."""
    kind = bed.random.choice(([], ["-f"]))
    check = bed.bus.check("-i", 1, "-l", bed.size, *kind)
    sender = bed.bus.sender([1], bed.size, *kind)
    program = who(sender, bed.bus.program)
    for _ in range(3):
        program.stop()
        time.sleep(bed.random.uniform(0, 0.4))
        program.go_on()
    judge(bed, check, bed.size, bed.sent(sender))


def stopped_sender(bed):
    disturbed(bed, lambda sender, bus: sender)


def stopped_check(bed):
    """Stopped until its terminal is full: the bus counts what it misses."""
    check = bed.bus.check("-i", 1, "-l", bed.size)
    check.stop()
    failed = bed.sent(bed.bus.sender([1], bed.size, gap=0))
    check.go_on()
    judge(bed, check, bed.size, failed)


def stopped_bus(bed):
    disturbed(bed, lambda sender, bus: bus)


def sender_again(bed):
    check = bed.bus.check()
    for _ in range(2):
        sender = bed.bus.sender([1], 0, "-vv")
        wait_until(lambda: sender.out.count(" send: ") >= 1500, "the frames of a sender")
        sender.signal(bed.random.choice((signal.SIGINT, signal.SIGKILL)))
        sender.exit_status()
    found = bed.bus.end_check(check)
    counts = bed.bus.counts()
    intact, restarts, lost = sums(found, "intact", "restarts", "lost")
    bed.account.same("restarts", 1, restarts)
    bed.account.same("intact + missed = sent by both", counts[SENDER][0], intact + counts[CHECK][2])
    bed.account.same("lost, but for what the node missed", 0, max(0, lost - counts[CHECK][2]))


def answered(bed, disturb):
    check = bed.bus.check("-a")
    answerer = bed.bus.node(ANSWERER, "-a")
    sender = bed.bus.sender([1], bed.size // 4, gap=1000)
    disturb(bed, answerer)
    bed.sent(sender)
    found = bed.bus.end_check(check)
    sent = bed.bus.counts()
    bed.account.same("intact", bed.size // 4, sums(found, "intact")[0])
    bed.account.within("answers = sent by the answering node", 0, sent[ANSWERER][0], sums(found, "intact", role="answer")[0])


def stopped_answerer(bed):
    def disturb(bed, answerer):
        answerer.stop()
        time.sleep(bed.random.uniform(0, 0.5))
        answerer.go_on()
    answered(bed, disturb)


def answerer_again(bed):
    def disturb(bed, answerer):
        answerer.signal(bed.random.choice((signal.SIGINT, signal.SIGKILL)))
        answerer.exit_status()
        bed.bus.node(ANSWERER, "-a")
    answered(bed, disturb)


def garbage(bed):
    """Another node writes pieces of records in between: the bus reports them and delivers them to nobody."""
    check = bed.bus.check("-i", 1, "-l", bed.size)
    sender = bed.bus.sender([1], bed.size)
    piece = Record(0x123, bytes(8)).pack()[:bed.random.randint(1, 30)]
    with open(bed.bus.paths[FURTHER], "wb", buffering=0) as terminal:
        for _ in range(5):
            terminal.write(piece + Record(0x555, b"other").pack())
    judge(bed, check, bed.size, bed.sent(sender))
    passed = sum(map(int, re.findall(r"passed over (\d+) byte", bed.bus.program.err)))
    bed.account.same("bytes passed over by the bus", 5 * len(piece), passed)


PHASES = [undisturbed, injection, stopped_sender, stopped_check, stopped_bus, sender_again, stopped_answerer, answerer_again, garbage]
