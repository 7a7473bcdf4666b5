"""The bus of a soak: a pair of interfaces that is disturbed, and an undisturbed one on which nothing may go wrong."""

from contextlib import closing
import json
import os
from pathlib import Path
import re
import signal

from qv.frame import EFF, Frame
from qv.livecheck import Check, streams
from qv.netem import Netem
from qv.pair import command, Pair
from qv.peer import Peer
from qv.qvcan import Answerer, Qvcan, Reader, WRITE_DOWN, WRITE_FULL
from qv.waiting import wait_until
from usage import Watched

MARK = Frame(EFF | 0x1BADCAFE, b"end")  # too short for a pattern
LOW_BYTES = (0x01, 0x47, 0x93, 0xE0)
KINDS = {"classic": [], "FD": ["-f"], "BRS": ["-b"]}


def asleep(pid):
    """Whether every thread of the process is waiting."""
    try:
        stats = [Path(f"/proc/{pid}/task/{thread}/stat").read_text() for thread in os.listdir(f"/proc/{pid}/task")]
    except OSError:
        return False  # a thread has just ended
    return all(stat.rpartition(")")[2].split()[0] == "S" for stat in stats)


class Verdict:
    """The result of a check."""

    def __init__(self, check):
        self.objects = check.objects()
        self.summary = check.summary()
        self.status = check.process.returncode
        self.host = self.summary["host"]["interfaces"]

    def sums(self, *fields, role="direct"):
        chosen = [one for one in self.summary["streams"] if one["role"] == role]
        return streams({"streams": chosen}, *fields)

    def drops(self):
        return sum(one["queueDrops"] for one in self.host.values())

    def findings(self):
        return {kind: n for kind, n in self.summary["findings"].items() if kind != "foreign"}


def make_room_between_processors():
    """Frames that one processor hands to another wait in a backlog, of 1000 at first; what does not fit is lost. A network namespace
    of the machine's own kernel does not have this setting."""
    try:
        Path("/proc/sys/net/core/netdev_max_backlog").write_text("100000")
    except OSError:
        pass


class Bed:
    def __init__(self, random, account, size):
        make_room_between_processors()
        self.random, self.account, self.size = random, account, size
        self.started, self.checks = [], []
        self.bus, self.calm = Pair("vxcan0", "vxcan1"), Pair("vxcan2", "vxcan3")
        self.lost_coming_up = 0 if os.cpu_count() == 1 else size  # the link is up before its queue runs again
        self.refused = 0  # frames that the kernel counts as received but delivers to nobody: their length is wrong
        self.watcher = Check("-d", self.bus.far, "-I", 10)
        self.begin_calm()

    def begin_calm(self):
        self.calm_check = Check("-d", self.calm.near, "-d", self.calm.far)
        self.calm_reader = Reader(self.calm.far, "-f")
        self.calm_answerer = Answerer(self.calm.far, "-f")
        self.calm_sender = Qvcan("-d", self.calm.near, "-f", "-p", "-l", 0, "-t", "10m", "-j", "5m", "-e", 100, "-i", "0x80000001")

    def watched(self):
        return [Watched("qvcancheck, on the disturbed bus", self.watcher.process, 8192),
                Watched("qvcancheck, beside", self.calm_check.process, 8192),
                Watched("qvcan -p, beside", self.calm_sender.process, 512), Watched("qvcan -a, beside", self.calm_answerer.process, 512),
                Watched("qvcan, reading, beside", self.calm_reader.process, 512)]

    # --- programs of one phase ----------------------------------------------------------------------------

    def start(self, kind, *words):
        self.started.append(kind(*words))
        return self.started[-1]

    def check(self, *options):
        """-w: if the machine stalls for a second no frame is late for that, and no check is over before it was asked."""
        self.checks.append(self.start(Check, "-d", self.bus.far, "-w", 60, "--idle", 3600, *options))
        return self.checks[-1]

    def streams(self, most=3):
        """(kind's options, identifiers): some streams with different low bytes, in one format."""
        kind = self.random.choice(list(KINDS.values()))
        extended = self.random.choice((0, EFF | 0x1A2B3C00))
        low = self.random.sample(LOW_BYTES, self.random.randint(1, most))
        return kind, [extended | self.random.choice((0, 0x100, 0x600)) | byte for byte in low]

    def count(self, ids):
        return self.size // len(ids)

    def demands(self, ids, count):
        return [word for first in ids for word in ("-i", hex(first))] + ["-l", count]

    def sender(self, ids, count, *options, gap=250):
        pace = ["-t", f"{gap * len(ids)}u", "-j", 0] if gap else ["-t", 0]
        return self.start(Qvcan, "-d", self.bus.near, "-p", *self.demands(ids, count), *pace, *options)

    def sent(self, program):
        """Waits for its end, without any output except on failed writes, and returns their number."""
        status = program.exit_status(1200)
        lines = program.err.splitlines(keepends=True)
        failed = [line for line in lines if line in (WRITE_DOWN, WRITE_FULL)]
        self.account.holds("senders ended as they should", status == 0 and set(lines) <= {WRITE_DOWN, WRITE_FULL, "read error: Network is down\n"})
        return len(failed)

    def injected(self, program):
        return len(re.findall(r"injected error at payload", program.out))

    def netem(self, *words):
        return Netem(self.bus.near, *words)

    def settled(self, netem):
        """tc's figures once its queue is empty; then restores the interface."""
        figures = netem.delivered()
        command("tc", "qdisc", "del", "dev", self.bus.near, "root")
        return figures

    def all_delivered(self, back=False):
        """Returns once a frame of our own, sent after all others, has arrived."""
        ends = (self.bus.far, self.bus.near) if back else (self.bus.near, self.bus.far)
        with closing(Peer(ends[0])) as here, closing(Peer(ends[1])) as there:
            here.send(MARK)
            while there.receive() != MARK:
                pass

    def all_answered(self, answerer):
        """Returns once its threads wait, as then its queue is empty."""
        wait_until(lambda: asleep(answerer.process.pid), lambda: f"{answerer} to wait")
        self.all_delivered(back=True)

    def verdict(self, check, number=signal.SIGINT):
        """Ends it once it waits, and thus has read everything delivered."""
        wait_until(lambda: not check.runs() or asleep(check.process.pid), lambda: f"{check} to wait")
        check.ended(number)
        return Verdict(check)

    def received(self):
        return self.bus.counters(self.bus.far)[0]

    def wait_for_events(self, check, count):
        wait_until(lambda: len(check.objects("event")) >= count, lambda: f"{count} events in {check}")

    def unshaped(self):
        wait_until(lambda: all(one.get("qlen", 0) == 0 for one in json.loads(command("tc", "-s", "-j", "qdisc", "show", "dev", self.bus.near))),
                   "the queue to be empty")
        command("tc", "qdisc", "del", "dev", self.bus.near, "root")
        command("ip", "link", "set", self.bus.near, "txqueuelen", 1000)

    # --- a phase ------------------------------------------------------------------------------------------

    def play(self, phase):
        """Returns the frames that arrived at either end, without its own marks."""
        before = [self.bus.counters(name)[0] for name in (self.bus.far, self.bus.near)]
        self.sent_before = self.bus.counters(self.bus.near)[1]
        phase(self)
        far, near = (self.bus.counters(name)[0] - start for name, start in zip((self.bus.far, self.bus.near), before))
        listened = far + (near if any(self.bus.near in check.words for check in self.checks) else 0)
        seen = sum(verdict.summary["frames"] + verdict.drops() for verdict in map(Verdict, self.checks))
        refused = listened - seen
        self.account.within("arrived, and read by nobody", 0, getattr(phase, "refused", 0), refused)
        self.refused += refused
        if self.account.broken(self.account.phase):
            self.show_checks()
        self.close_phase()
        return far + near

    def show_checks(self):
        """Shows the details for a wrong figure."""
        for check in self.checks:
            summary = check.summary()
            print(check.words[2:], summary["verdictLine"], summary["findings"])
            for stream in summary["streams"]:
                print({name: value for name, value in stream.items() if name not in ("gap", "series")})

    def close_phase(self):
        for one in reversed(self.started):
            one.close()
        self.started, self.checks = [], []

    # --- the end ------------------------------------------------------------------------------------------

    def finish(self):
        """Returns the frames that crossed the undisturbed bus."""
        self.judge_calm()
        self.judge_watcher()
        return sum(self.calm.counters(self.calm.near))

    def judge_watcher(self):
        received = self.received()
        verdict = self.verdict(self.watcher)
        self.account.same("frames read by the check of the whole run", received - self.refused, verdict.summary["frames"] + verdict.drops())
        for stream in verdict.summary["streams"]:
            self.account.same("identity: expected = intact + corrupted + lost", stream["expected"],
                              stream["intact"] + stream["corrupted"] + stream["lost"])

    def judge_calm(self):
        self.calm_sender.signal(signal.SIGTERM)
        self.calm_sender.exit_status()
        wait_until(lambda: self.calm.counters(self.calm.near) == self.calm.counters(self.calm.far)[::-1]
                   and len(set(self.calm.counters(self.calm.near))) == 1,
                   lambda: f"every frame beside to be answered: received, sent {self.calm.counters(self.calm.near)}, {self.calm.counters(self.calm.far)}")
        sent = self.calm.counters(self.calm.near)[1]
        verdict = self.verdict(self.calm_check)
        self.account.same("frames beside, undisturbed", sent, sum(verdict.sums("intact", "corrupted")))
        self.account.same("their answers", sent, sum(verdict.sums("intact", "corrupted", role="answer")))
        self.account.same("corrupted beside", sent // 100, verdict.sums("corrupted")[0])
        others = {kind: n for kind, n in verdict.findings().items() if kind != "corrupted"}
        self.account.same(f"findings beside, but for those {others or ''}".rstrip(), 0, sum(others.values()))
        for program in (self.calm_answerer, self.calm_reader):
            self.account.holds("nodes beside run, without a word", program.runs() and program.err == "")

    def close(self):
        self.close_phase()
        for one in (self.calm_sender, self.calm_answerer, self.calm_reader, self.calm_check, self.watcher):
            one.close()
        for pair in (self.bus, self.calm):
            if pair.exists():
                pair.delete()
