"""Faults of system calls, injected with strace into a short run, and what became of each."""

from collections import defaultdict
from contextlib import ExitStack
from dataclasses import dataclass
import os
from pathlib import Path
import re
import shutil
import signal
import subprocess
import time

from errnos import errnos
from qv.program import command, default_signals, environment
from qv.userbus import family

OCCURRENCES = (1, 2, 10)
PATIENCE = 60  # seconds; only a hang waits that long
CALLS_MOST = 20000  # system calls; the longest run without a fault makes about 1000
MOST_LOG = 200 * CALLS_MOST  # bytes of strace's log
STARTED = re.compile(r"(\d+) +([a-z_0-9]+)\(")
# What the programs say on standard error; a torn line would be no such one.
LINE = re.compile(r"\[ERROR\] \S.*|[^\[][^:]*: \S.*")


@dataclass(frozen=True)
class Fault:
    call: str
    errno: str
    occurrence: int  # of the program's own, on the thread that has so many
    when: int  # the same counted from the start of the process, as strace does

    def injection(self):
        return f"inject={self.call}:error={self.errno}:when={self.when}"


@dataclass(frozen=True)
class Outcome:
    status: int  # negative: the signal
    out: str
    err: str
    calls: int
    signals: int  # that it took to end it
    hung: bool


class Run:
    """A short run: `begin(folder, stack)` gives (program, options, feed); feed(settled) plays the other side and may be None. A run that has
    not ended then is sent a SIGTERM."""

    def __init__(self, name, begin, statuses):
        self.name, self.begin, self.statuses = name, begin, statuses
        self.judges = name.startswith("qvcancheck")


def sleeps(pid):
    """Do all threads of the process wait for something that is not the tracer?"""
    try:
        threads = [Path(f"/proc/{pid}/task/{thread}/stat").read_text() for thread in os.listdir(f"/proc/{pid}/task")]
    except OSError:
        return False  # it has just ended
    return all(stat.rpartition(")")[2].split()[0] == "S" for stat in threads)


def program_of(process):
    """The pids that are the program's: below strace, or in its place."""
    found = family(process.pid)
    return found[1:] if process.args[0] == "strace" else found


def quiet(process, log):
    """Waits until the program has ended, goes round in circles, or waits for something for a while; and no longer than for a second."""
    before, same = None, 0
    for _ in range(200):
        if same == 4 or process.poll() is not None or log.stat().st_size > MOST_LOG:
            return
        time.sleep(0.005)
        now = (log.stat().st_size, program_of(process))
        waiting = now == before and now[1] and all(map(sleeps, now[1]))
        before, same = now, same + 1 if waiting else 0


def end(process, log):
    """(signals sent, whether it hung). A program that goes round in circles is killed before it fills the disk."""
    signals, limit = 0, time.monotonic() + PATIENCE
    again = time.monotonic()
    while process.poll() is None:
        if time.monotonic() > limit or log.stat().st_size > MOST_LOG:
            kill(process)
            return signals, True
        if time.monotonic() >= again and signals < 2:
            for pid in program_of(process)[:1]:
                os.kill(pid, signal.SIGTERM)
            signals += 1
            again = time.monotonic() + 15
        time.sleep(0.005)
    return signals, False


def play(run, folder, behind=None):
    """The run, with these words in front of the program."""
    folder.mkdir(parents=True)
    log = folder / "strace.log"
    log.touch()
    with ExitStack() as stack:
        program, options, feed = run.begin(folder, stack)
        words = [str(word) for word in behind or ["strace", "-f", "-qq", "-o", log]]
        out, err = (stack.enter_context(open(folder / name, "wb")) for name in ("out", "err"))
        process = subprocess.Popen([*words, *command(program, *options)], stdin=subprocess.DEVNULL, stdout=out, stderr=err,
                                   env=environment(LC_ALL="C", TZ="UTC0"), process_group=0, preexec_fn=default_signals)
        stack.callback(kill, process)
        if feed:
            feed(lambda: quiet(process, log))
        else:
            quiet(process, log)
        signals, hung = end(process, log)
    texts = [(folder / name).read_text(errors="replace") for name in ("out", "err")]
    return Outcome(process.returncode, *texts, log.read_text(errors="replace").count("\n"), signals, hung)


def kill(process):
    if process.poll() is None:
        os.killpg(process.pid, signal.SIGKILL)  # a tracer in front and its program
    process.wait()


def calls_of(log):
    """{call: {(number of the occurrence, the same counted from the start of the process)}}. Left out is what the C library does before
    `main`: it ends with the protection of what was relocated. strace counts for each thread, so what is early on a thread may be out of
    reach behind that."""
    counts, own, main = defaultdict(int), defaultdict(set), None
    began, starting = defaultdict(int), True
    for line in log.read_text(errors="replace").splitlines():
        match = STARTED.match(line)
        if not match:
            continue
        thread, call = match.groups()
        main = main or thread
        counts[thread, call] += 1
        if starting:
            began[call] = counts[thread, call]
            starting = call != "mprotect"
            continue
        when = counts[thread, call]
        occurrence = when - (began[call] if thread == main else 0)
        if occurrence in OCCURRENCES and when > began[call]:
            own[call].add((occurrence, when))
    return own


def faults_of(log):
    return [Fault(call, errno, occurrence, when)
            for call, places in sorted(calls_of(log).items()) for errno in errnos(call) for occurrence, when in sorted(places)]


def wrong(run, outcome):
    """What a program must not do, whatever fails; None when it did nothing of it."""
    lines = outcome.err.splitlines()
    if outcome.hung:
        return "goes round in circles" if outcome.calls > CALLS_MOST else "hangs"
    if outcome.status not in run.statuses and not (outcome.status == -signal.SIGTERM and outcome.signals == 2):
        return f"status {outcome.status}"
    if outcome.calls > CALLS_MOST:
        return "goes round in circles"
    if outcome.err and not outcome.err.endswith("\n"):
        return "a line that is cut off"
    odd = [line for line in lines if not LINE.fullmatch(line)]
    if odd:
        return f"a line of no known form: {odd[0]!r}"
    if outcome.status == 1 and not outcome.err and not outcome.out:
        return "ends with status 1 without a word"
    return None


def told(run, usual, outcome):
    """The outcome in a few words, beside the run without a fault."""
    verdict = outcome.out.splitlines()[-1:] if run.judges else []
    said = "says so" if outcome.err != usual.err else verdict[0] if verdict and verdict != usual.out.splitlines()[-1:] else "says nothing"
    if outcome.status != usual.status:
        return f"{said}, ends with {outcome.status}"
    return f"{said}, goes on" if outcome.err != usual.err or outcome.out.count("\n") != usual.out.count("\n") else "as without"


def traced(folder, fault):
    return ["strace", "-f", "-qq", "-o", folder / "strace.log", "-e", "trace=all", "-e", fault.injection()]


def sweep(run, folder, choose, table):
    """Plays the run with each of the faults that `choose` takes of all, writes the table, and gives (faults played, all there are, what was
    wrong)."""
    usual = play(run, folder / "usual")
    assert wrong(run, usual) is None, f"without a fault: {wrong(run, usual)}: {usual}"
    every = faults_of(folder / "usual" / "strace.log")
    rows, bad = [], []
    for number, fault in enumerate(choose(every)):
        place = folder / str(number)
        outcome = play(run, place, traced(place, fault))
        problem = wrong(run, outcome)
        first = (outcome.err.splitlines() or [""])[0]
        row = (run.name, fault.call, fault.errno, str(fault.occurrence), problem or told(run, usual, outcome), str(outcome.status), first)
        rows.append("\t".join(row).replace(f"{place}/", "") + "\n")
        if problem:
            bad.append(f"{fault.injection()}: {problem}; status {outcome.status}, stderr {outcome.err[-300:]!r}")
        shutil.rmtree(place)
    table.write_text("".join(rows), encoding="utf-8")
    return len(rows), len(every), bad
