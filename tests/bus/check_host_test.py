"""qvcancheck on a host that loses frames itself, on links that fail, and beside error frames: each loss is on the right account."""

import signal
import time

import pytest

from qv.livecheck import Check, causes, streams
from qv.frame import Frame, pattern
from qv.pair import command
from qv.waiting import wait_until

ERR = 0x20000000


@pytest.fixture
def check(start):
    return lambda *options: start(Check, *options)


@pytest.fixture
def sender(bus, qvcan):
    """A sender that does not end by itself."""
    def run(*options):
        return qvcan("-d", bus.near, "-p", "-l", 0, "-i", 1, *options)
    return run


def wait_for_frames(check_run, count):
    """A line on how it stands tells the frames of its stream."""
    def judged():
        check_run.signal(signal.SIGUSR1)
        lines = check_run.err.splitlines()
        return bool(lines) and "s1 " in lines[-1] and int(lines[-1].split("s1 ")[1].split()[0], 16) >= count
    wait_until(judged, lambda: f"{count} frames in {check_run}")


@pytest.mark.parametrize("kind", [[], ["-f"]], ids=["classic", "fd"])
def test_a_check_that_was_stopped_blames_its_own_queue_to_the_frame(bus, check, qvcan, kind):
    frames = 30000  # more than the queue of 8 MiB holds, and than a check reads before it is stopped
    seen = check("-d", bus.far, "-i", 1, "-l", frames + 2000, *kind)
    program = qvcan("-d", bus.near, "-p", "-l", frames + 2000, "-t", 0, "-i", 1, *kind)
    wait_for_frames(seen, 100)
    seen.stop()
    wait_until(lambda: bus.counters(bus.far)[0] > frames + 500, "the queue to overflow")
    seen.go_on()
    assert program.exit_status() == 0
    assert seen.exit_status() == 4, seen
    summary = seen.summary()
    host = summary["host"]["interfaces"][bus.far]
    lost, intact = streams(summary, "lost", "intact")
    assert host["queueDrops"] > 1000
    assert (lost, intact) == (host["queueDrops"], frames + 2000 - host["queueDrops"])
    assert causes(summary) == {"this host, queue": lost}
    assert summary["verdictLine"] == f"INCOMPLETE: {lost:,} frames dropped by this host, nothing else wrong"


def test_what_came_while_a_check_was_stopped_is_judged_as_if_it_had_not_been(bus, check, peer):
    sender = peer(bus.near)
    seen = check("-d", bus.far, "-i", 1, "-l", 200)
    frames = pattern(1, 200)
    for frame in frames[:100] + frames[101:102]:
        sender.send(frame)
    wait_for_frames(seen, 102)
    seen.stop()
    for frame in frames[100:101] + frames[102:]:
        sender.send(frame)
    time.sleep(2)  # longer than the gap would have stayed open
    seen.go_on()
    assert seen.exit_status() == 1, seen
    assert seen.summary()["verdictLine"] == "FAIL: 1 frame reordered"


def test_frames_dropped_behind_the_last_one_count_as_well(bus, check, cangen):
    seen = check("-d", bus.far)
    cangen(bus.near, 10)
    seen.stop()
    cangen(bus.near, 25000)
    arrived = bus.counters(bus.far)[0]  # with two processors not all get so far
    seen.signal(signal.SIGTERM)
    seen.go_on()
    assert seen.exit_status() == 4, seen
    summary = seen.summary()
    assert summary["findings"]["overrun"] + summary["frames"] == arrived
    assert summary["findings"]["overrun"] == summary["host"]["interfaces"][bus.far]["queueDrops"] > 1000


def test_a_link_that_was_down_is_an_event_and_the_cause_of_its_gap(bus, check, sender):
    seen = check("-d", bus.far)
    sender("-t", "2m", "-j", 0)
    wait_for_frames(seen, 100)
    bus.down(bus.far)
    seen.wait_for_event("link down")
    bus.up(bus.far)
    seen.wait_for_event("link up")
    wait_until(lambda: any(one["kind"] == "lost" for one in seen.objects("finding")), lambda: f"the gap in {seen}")
    assert seen.ended() == 4, seen
    summary = seen.summary()
    assert set(causes(summary)) == {"this host, link"}
    assert summary["host"]["interfaces"][bus.far]["linkDowns"] == 1
    down, up = seen.objects("event")
    gap = next(one for one in seen.objects("finding") if one["kind"] == "lost")
    assert down["t"] <= up["t"]
    # A check that was held up reads the change and frames around it in one turn, and knows no more than when that began.
    assert max(gap["before"], down["t"]) <= min(gap["t"], up["t"])


@pytest.fixture
def left_alone(bus, check, qvcan):
    """A check that has judged 100 frames; then its interface was deleted."""
    seen = check("-d", bus.far)
    assert qvcan("-d", bus.near, "-p", "-l", 100, "-t", "1m", "-i", 1).exit_status() == 0
    wait_for_frames(seen, 100)
    bus.delete()
    seen.wait_for_event("interface deleted")
    return seen


def test_an_interface_that_is_made_again_is_listened_to_again(bus, left_alone, qvcan):
    seen = left_alone
    command("ip", "link", "add", bus.near, "type", "vxcan", "peer", "name", bus.far)
    for name in (bus.near, bus.far):
        command("ip", "link", "set", name, "mtu", 72, "up")
    seen.wait_for_event("interface made again")
    bus._wait_for_carrier()
    # The check looks once a second: the sender goes on until it is heard.
    qvcan("-d", bus.near, "-p", "-l", 0, "-t", "5m", "-j", 0, "-i", 1)
    wait_for_frames(seen, 150)
    assert seen.ended() in (1, 4), seen
    summary = seen.summary()
    assert summary["failures"] == []
    assert [one["what"] for one in seen.objects("event")][:3] == ["link down", "interface deleted", "interface made again"]


def test_an_interface_that_never_comes_back_leaves_the_check_incomplete(bus, left_alone):
    assert left_alone.ended() == 4, left_alone
    assert left_alone.summary()["verdictLine"] == f"INCOMPLETE: {bus.far}: No such device"


@pytest.mark.parametrize("classes, data, cause", [
    (0x04, b"\0\1" + bytes(6), "this host, driver"),
    (0x40, bytes(8), "bus"),
    (0x02, bytes(8), "before this host"),
], ids=["overflow", "bus_off", "arbitration_lost"])
def test_an_error_frame_is_an_event_and_explains_the_gap_around_it(bus, check, peer, classes, data, cause):
    seen = check("-d", bus.far)
    node = peer(bus.near)
    frames = [Frame(k + 1, (k + 1).to_bytes(4, "big") + bytes((i + k) % 256 for i in range(4))) for k in range(40)]
    for frame in frames[:20]:
        node.send(frame)
    node.send(Frame(ERR | classes, data))
    for frame in frames[23:]:
        node.send(frame)
    wait_for_frames(seen, 40)
    assert seen.ended() in (1, 4), seen
    summary = seen.summary()
    assert causes(summary) == {cause: 3}
    event, = seen.objects("event")
    assert event["what"] == "error frame"
    assert sum(summary["host"]["interfaces"][bus.far]["errorFrames"].values()) == 1


def test_all_interfaces_are_heard_as_any(bus, check, qvcan):
    seen = check("-d", "any")
    assert qvcan("-d", bus.near, "-p", "-l", 100, "-t", "1m", "-i", 1).exit_status() == 0
    assert qvcan("-d", bus.far, "-p", "-l", 50, "-t", "1m", "-i", "0x211").exit_status() == 0
    assert seen.ended() == 0, seen
    found = {stream["interface"]: stream["intact"] for stream in seen.summary()["streams"]}
    assert found == {bus.far: 100, bus.near: 50}
