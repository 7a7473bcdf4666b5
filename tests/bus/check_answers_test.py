"""qvcancheck on frames and answers: what the bus loses in each direction, and what the answering node leaves unanswered, tell apart."""

import time

import pytest

from qv.frame import pattern
from qv.livecheck import Check
from qv.netem import Netem
from qv.pair import command
from qv.waiting import wait_until

QUEUE = 278  # FD frames in the receive queue of a node
BATCH = 200  # fewer: the node keeps them all, however slow it is
LATE = ["-w", 30]  # longer than any pause of a busy machine: only what never comes is missing


@pytest.fixture
def check(bus, start):
    """Sees both directions: each end of the pair is on one of its interfaces."""
    return lambda *options: start(Check, "-d", bus.near, "-d", bus.far, "-f", "-a", "-i", 1, *options)


@pytest.fixture
def ask(bus, peer):
    """ask(n) sends the next n frames of the pattern."""
    node, left = peer(bus.near), pattern(1, 2000, fd=True)

    def send(count):
        for frame in left[:count]:
            node.send(frame)
        del left[:count]
    return send


@pytest.fixture
def answers(bus):
    """answers(n) waits until n have come since the bus is up."""
    return lambda count: wait_until(lambda: bus.counters(bus.near)[0] >= count, lambda: f"{count} answers; {bus.counters(bus.near)[0]} are there")


def pause(seconds):
    end = time.monotonic() + seconds
    wait_until(lambda: time.monotonic() > end, f"{seconds} s")


@pytest.fixture
def answering(bus, ask, answers, answerer):
    """answering() is a node that has answered the first 20 frames."""
    def start():
        node = answerer(bus.far, "-f")
        ask(20)
        answers(20)
        return node
    return start


class Told:
    """What a check that has ended says of frames and answers."""

    def __init__(self, seen):
        self.findings, self.summary = seen.objects("finding"), seen.summary()
        roles = {one["role"]: one for one in self.summary["streams"]}
        self.direct, self.answers = roles["direct"], roles["answer"]
        self.pair, = self.summary["pairs"]
        self.unanswered = [(one["first"], one["last"], one["count"]) for one in self.findings if one["kind"] == "unanswered"]
        assert self.pair["unanswered"] == sum(count for _, _, count in self.unanswered)

    def counters(self, stream, kind):
        """Those in the findings of that kind."""
        spans = [(one["first"], one["last"]) for one in self.findings if (one["stream"], one["kind"]) == (stream["name"], kind)]
        return {counter for first, last in spans for counter in range(first, last + 1)}


def asked_in(frames):
    return {int.from_bytes(frame.data[:4], "big") for frame in frames}


def answered_in(frames):
    return {counter ^ 0xFFFFFFFF for counter in asked_in(frames)}


def test_loss_in_each_direction_is_what_each_queue_dropped_to_the_frame(bus, check, ask, answerer, candump):
    there, back = Netem(bus.near, "loss", "4%"), Netem(bus.far, "loss", "4%")
    seen = check(*LATE)
    at_node, at_sender = candump(bus.far), candump(bus.near)
    answerer(bus.far, "-f")

    def dealt_with(count):
        received, sent = bus.counters(bus.far)
        return received + there.figures()["drops"] == count and sent + back.figures()["drops"] == received

    for sent in range(BATCH, 8 * BATCH, BATCH):
        ask(BATCH)
        wait_until(lambda: dealt_with(sent), f"{sent} frames to be lost or answered, or their answers lost")
    for name in (bus.near, bus.far):  # the end comes through: all that is missing lies before it
        command("tc", "qdisc", "change", "dev", name, "root", "netem", "loss", "0%", "limit", 100000)
    ask(50)
    wait_until(lambda: dealt_with(sent + 50), "the last answer")
    came, replied = asked_in(at_node.all_frames()), answered_in(at_sender.all_frames())
    assert seen.ended() == 1
    told = Told(seen)
    dropped, dropped_back = there.figures()["drops"], back.figures()["drops"]
    assert min(dropped, dropped_back) > 20
    lost = told.counters(told.direct, "lost")
    assert lost == set(range(1, sent + 51)) - came
    assert told.counters(told.direct, "unanswered") - lost == came - replied
    assert (told.direct["lost"], told.pair["unanswered"]) == (dropped, dropped_back)
    assert told.answers["lost"] == dropped + dropped_back
    assert told.direct["causes"] == {"before this host": dropped}
    assert len(told.unanswered) > 10, "scattered"


def test_a_node_that_was_stopped_for_a_second_answers_late_and_leaves_nothing_out(check, ask, answers, answering):
    seen = check(*LATE, "--max-rtt", "900m")
    node = answering()
    node.stop()
    ask(50)
    pause(1)
    node.go_on()
    answers(70)
    assert seen.ended() == 1
    told = Told(seen)
    assert (told.unanswered, told.direct["lost"], told.pair["answered"]) == ([], 0, 70)
    assert told.pair["roundTrip"]["max"] >= 1
    assert 70 >= told.pair["slow"] >= 50
    assert told.summary["findings"] == {"slow": told.pair["slow"]}


def test_a_node_that_was_killed_leaves_unanswered_what_came_until_it_was_started_again(bus, check, ask, answers, answerer, answering):
    seen = check(*LATE)
    node = answering()
    node.end()
    ask(100)
    answerer(bus.far, "-f")
    ask(50)
    answers(70)
    assert seen.ended() == 1
    told = Told(seen)
    assert told.unanswered == [(21, 120, 100)]
    assert (told.direct["lost"], told.direct["restarts"], told.direct["intact"]) == (0, 0, 170)
    assert told.summary["verdictLine"] == "FAIL: 100 answers missing"


def test_a_node_that_was_killed_for_good_leaves_the_end_unanswered(check, ask, answering):
    """Its answers have no gap; the frames behind the last of them have none."""
    seen = check("-l", 200, "-w", 3, "--idle", 4)
    node = answering()
    node.end()
    ask(180)
    assert seen.exit_status() == 1
    told = Told(seen)
    assert told.unanswered == [(21, 200, 180)]
    assert (told.direct["intact"], told.direct["lost"], told.pair["answered"]) == (200, 0, 20)
    assert told.summary["verdictLine"] == "FAIL: 180 answers missing"


def test_a_node_that_was_overrun_is_named_as_the_one_whose_queue_was_full(bus, check, qvcan, candump, answers, answerer):
    seen = check(*LATE)
    at_node, at_sender = candump(bus.far), candump(bus.near)
    node = answerer(bus.far, "-f")
    sender = qvcan("-d", bus.near, "-f", "-p", "-l", 0, "-i", 1, "-t", "5m", "-j", 0)
    answers(20)
    node.stop()
    stopped_at = at_node.count()
    at_node.wait_for(stopped_at + QUEUE + 100)
    pause(2)
    node.go_on()
    answers(stopped_at + QUEUE)
    sender.end()
    came = asked_in(at_node.all_frames())
    assert seen.ended() == 1
    told = Told(seen)
    # Behind the last answer nothing is settled: the node may have more to say.
    missing = {counter for counter in came - answered_in(at_sender.all_frames()) if counter <= told.answers["last"]}
    assert len(missing) > 50
    assert told.counters(told.direct, "unanswered") == missing
    assert told.pair["queueHint"]
    assert told.direct["lost"] == 0
    assert told.summary["verdictLine"] == f"FAIL: {len(missing)} answers missing"
