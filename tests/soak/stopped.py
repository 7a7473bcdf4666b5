"""Phases in which programs are stopped, ended and restarted, and the clock is set. Each function is one phase."""

from pathlib import Path
import signal
import time

from qv.livecheck import causes
from qv.qvcan import Answerer
from qv.waiting import wait_until

SOCKET_QUEUE = 278  # FD frames that a receive queue of default size holds


def wait_for_sent(bed, count, sender):
    """Or for its end: on a slow machine more may have been sent than was seen."""
    wait_until(lambda: bed.bus.counters(bed.bus.near)[1] >= count or not sender.runs(), lambda: f"{count} frames of {sender}")


def undisturbed(bed, disturb):
    """Everything is judged intact, whatever disturb(sender) does."""
    kind, ids = bed.streams()
    count = bed.count(ids)
    check = bed.check(*bed.demands(ids, count), *kind)
    sender = bed.sender(ids, count, *kind)
    disturb(sender)
    bed.sent(sender)
    bed.all_delivered()
    verdict = bed.verdict(check)
    bed.account.same("intact", count * len(ids), verdict.sums("intact")[0])
    bed.account.same("findings where all is as told", 0, sum(verdict.findings().values()))


def stopped_sender(bed):
    """What fell due in the meantime is sent back to back."""
    def disturb(sender):
        for _ in range(3):
            sender.stop()
            time.sleep(bed.random.uniform(0, 0.2))
            sender.go_on()
    undisturbed(bed, disturb)


def sender_again(bed):
    """Ended halfway, and restarted from its first frame."""
    sent = bed.bus.counters(bed.bus.near)[1]
    check = bed.check()
    for _ in range(2):
        sender = bed.sender([1], 0)
        sent += 1500
        wait_for_sent(bed, sent, sender)
        sender.signal(bed.random.choice((signal.SIGINT, signal.SIGKILL)))
        sender.exit_status()
        sent = bed.bus.counters(bed.bus.near)[1]
    bed.all_delivered()
    verdict = bed.verdict(check)
    intact, lost, repeated, restarts = verdict.sums("intact", "lost", "repeated", "restarts")
    bed.account.same("intact = sent by both", sent - bed.sent_before, intact)
    bed.account.same("restarts", 1, restarts)
    bed.account.same("lost, where nothing was", 0, lost)
    bed.account.same("repeated, where nothing was", 0, repeated)


def stopped_check(bed):
    """Its queue holds what comes in the meantime, and overflows."""
    kind = bed.random.choice(([], ["-f"]))
    count = 27000
    check = bed.check(*bed.demands([1], count), *kind)
    check.stop()
    before = bed.received()
    bed.sent(bed.sender([1], count, *kind, gap=0))
    bed.all_delivered()
    arrived = bed.received() - before - 1
    check.go_on()
    verdict = bed.verdict(check)
    lost, intact = verdict.sums("lost", "intact")
    drops = verdict.host[bed.bus.far]["queueDrops"]
    bed.account.same("arrived at the check's end", count, arrived)
    bed.account.same("intact + lost", count, intact + lost)
    bed.account.within("drops told by the kernel = lost, but for the mark", lost, lost + 1, drops)
    bed.account.same("lost by this host's queue", lost, causes(verdict.summary).get("this host, queue", 0))


def check_again(bed):
    """Two checks, one after the other: together they see everything."""
    intact, sender = 0, None
    for last in (False, True):
        check = bed.check()
        if last:
            sender.go_on()
            bed.sent(sender)
        else:
            sender = bed.sender([1], bed.size)
            wait_for_sent(bed, bed.sent_before + bed.size // 3, sender)
            sender.stop()
        bed.all_delivered()
        verdict = bed.verdict(check, signal.SIGTERM)
        intact += verdict.sums("intact")[0]
        bed.account.same("findings where nothing was", 0, sum(verdict.findings().values()))
    bed.account.same("intact, seen by one of two checks", bed.size, intact)


def answered(bed, disturb):
    """Both directions under judgement while disturb(bed, answerer, sender) does something to the answering node; it returns the current
    node. Fewer than three consecutive answers make no stream."""
    check = bed.check("-d", bed.bus.near)
    answerer = bed.start(Answerer, bed.bus.far, "-f")
    rx, tx = bed.bus.counters(bed.bus.near)
    count = bed.size // 4
    sender = bed.sender([1], count, "-f", gap=1000)
    wait_for_sent(bed, tx + 100, sender)
    answerer = disturb(bed, answerer, sender)
    bed.sent(sender)
    bed.all_answered(answerer)
    answers = bed.bus.counters(bed.bus.near)[0] - rx - 1
    verdict = bed.verdict(check)
    bed.account.same("intact", count, verdict.sums("intact")[0])
    bed.account.same("lost, where nothing was", 0, verdict.sums("lost")[0])
    bed.account.within("answers = received by the sender's host, but for single ones", answers - 3, answers, verdict.sums("intact", role="answer")[0])


def stopped_answerer(bed):
    def disturb(bed, answerer, sender):
        answerer.stop()
        wait_for_sent(bed, bed.bus.counters(bed.bus.near)[1] + bed.random.choice((SOCKET_QUEUE // 2, SOCKET_QUEUE * 2)), sender)
        answerer.go_on()
        return answerer
    answered(bed, disturb)


def answerer_again(bed):
    def disturb(bed, answerer, sender):
        answerer.signal(bed.random.choice((signal.SIGINT, signal.SIGKILL)))
        answerer.exit_status()
        return bed.start(Answerer, bed.bus.far, "-f")
    answered(bed, disturb)


def is_our_own_kernel():
    return "User Mode" in Path("/proc/cpuinfo").read_text()


def seen_by_all(bed):
    """Waits until each undisturbed direction has stamps of the new time: setting the clock forth and back in between leaves no trace."""
    ends = (bed.calm.near, bed.calm.far)
    before = [bed.calm.counters(name)[0] for name in ends]
    wait_until(lambda: all(bed.calm.counters(name)[0] >= count + 3 for name, count in zip(ends, before)), "frames beside")


def clock_set(bed):
    """Only on the user-mode kernel's own clock: the machine's is left alone."""
    def disturb(sender):
        for _ in range(4 if is_our_own_kernel() else 0):
            step = bed.random.choice((-1, 1)) * bed.random.choice((0.5, 1, 30, 86400))
            for one in (step, -step):
                time.clock_settime(time.CLOCK_REALTIME, time.time() + one)
                seen_by_all(bed)
    undisturbed(bed, disturb)


PHASES = [stopped_sender, sender_again, stopped_check, check_again, stopped_answerer, answerer_again, clock_set]
