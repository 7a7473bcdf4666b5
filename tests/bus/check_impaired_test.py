"""qvcancheck on a bus that tc impairs: its counts are those of tc."""

import re
import signal

import pytest

from qv.livecheck import Check, causes, streams
from qv.netem import Netem
from qv.pair import command
from qv.waiting import wait_until

FRAMES = 3000
PACE = ["-t", "300u", "-j", "0"]


@pytest.fixture
def check(start):
    return lambda *options: start(Check, *options)


@pytest.fixture
def send(bus, qvcan):
    """Sends the pattern and returns when all of it is out."""
    def run(*options, count=FRAMES):
        program = qvcan("-d", bus.near, "-p", "-l", count, *PACE, *options)
        assert program.exit_status() == 0, program
        assert "write error" not in program.err
        return program
    return run


@pytest.mark.parametrize("kind", [[], ["-f"]], ids=["classic", "fd"])
def test_lost_is_what_tc_dropped(bus, check, send, kind):
    netem = Netem(bus.near, "loss", "5%")
    seen = check("-d", bus.far, "-i", 1, "-l", FRAMES, "--idle", 5, *kind)
    send("-i", 1, *kind)
    assert seen.exit_status() == 1
    dropped = netem.delivered()["drops"]
    summary = seen.summary()
    assert dropped > 50
    assert streams(summary, "lost", "intact", "repeated", "corrupted") == (dropped, FRAMES - dropped, 0, 0)
    assert causes(summary) == {"before this host": dropped}
    assert sum(one["count"] for one in seen.objects("finding") if one["kind"] == "lost") == dropped


def test_repeated_is_what_tc_duplicated(bus, check, send):
    netem = Netem(bus.near, "duplicate", "5%")
    seen = check("-d", bus.far, "-i", 1, "-l", FRAMES)
    send("-i", 1)
    assert seen.exit_status() == 1
    copies = netem.delivered()["packets"] - FRAMES
    assert copies > 50
    assert streams(seen.summary(), "repeated", "intact", "lost") == (copies, FRAMES, 0)


def early(frames):
    """How many came while a frame before them had still to come."""
    wanted, found = 1, 0
    for frame in frames:
        counter = int.from_bytes(frame.data[:4], "big")
        found += counter > wanted
        wanted = max(wanted, counter + 1)
    return found


def test_overtaken_is_what_tc_requeued(bus, check, send, candump):
    # A sender that does not run for a tenth of a second still has frames to overtake, and not so many that they are far ahead.
    netem = Netem(bus.near, "delay", "120ms", "reorder", "25%", "gap", 3)
    seen, witness = check("-d", bus.far, "-i", 1, "-l", 1000), candump(bus.far)
    send("-i", 1, "-t", "4m", count=1000)
    assert seen.exit_status() == 1
    requeues = netem.delivered()["requeues"]
    overtaken, lost, repeated, intact = streams(seen.summary(), "overtaken", "lost", "repeated", "intact")
    assert overtaken == early(witness.all_frames()) > 50
    assert overtaken <= requeues, "behind a sender that did not run for longer, and at the end, one may overtake nobody"
    assert (lost, repeated, intact) == (0, 0, 1000)


def test_loss_and_copies_add_up(bus, check, send):
    netem = Netem(bus.near, "loss", "5%", "duplicate", "5%")
    seen = check("-d", bus.far, "-i", 1, "-l", FRAMES, "--idle", 5)
    send("-i", 1)
    assert seen.exit_status() == 1
    received = bus.counters(bus.far)[0]
    netem.delivered()
    lost, repeated, intact = streams(seen.summary(), "lost", "repeated", "intact")
    assert lost > 50 and repeated > 50
    assert received == FRAMES - lost + repeated
    assert intact == FRAMES - lost


def test_every_frame_that_tc_corrupted_is_intact_corrupted_or_lost(bus, check, send):
    """A flip in the padding leaves a frame intact; one in the length may make it a frame that the kernel refuses."""
    netem = Netem(bus.near, "corrupt", "5%")
    seen = check("-d", bus.far, "-i", 1, "-l", FRAMES, "--idle", 5)
    send("-i", 1)
    assert seen.exit_status() == 1
    netem.delivered()
    summary = seen.summary()
    intact, corrupted, lost, repeated = streams(summary, "intact", "corrupted", "lost", "repeated")
    assert corrupted > 20
    assert intact + corrupted + lost == FRAMES
    assert repeated == 0
    for finding in (one for one in seen.objects("finding") if one["kind"] == "corrupted"):
        assert sum(bin(byte["got"] ^ byte["wanted"]).count("1") for byte in finding["bytes"]) <= 1, finding


@pytest.mark.parametrize("kind, period", [([], 7), (["-f"], 7), ([], 1)], ids=["classic", "fd", "every_frame"])
def test_corrupted_is_what_the_sender_says_it_injected(bus, check, send, kind, period):
    seen = check("-d", bus.far, "-i", 1, "-l", 500, "-e", period, *kind)
    sender = send("-i", 1, "-e", period, "-vv", *kind, count=500)
    said = [int(index) for index in re.findall(r"injected error at payload\[(\d+)\]", sender.out)]
    assert seen.exit_status() == 0, seen
    assert len(said) == 500 // period
    summary = seen.summary()
    assert streams(summary, "corrupted", "lost") == (len(said), 0)
    assert summary["streams"][0]["injected"]["found"] == len(said)


def test_corrupted_names_the_byte_that_the_sender_says_it_hit(bus, check, send):
    seen = check("-d", bus.far, "-i", 1, "-l", 500)
    sender = send("-i", 1, "-e", 7, "-vv", count=500)
    said = [int(index) for index in re.findall(r"injected error at payload\[(\d+)\]", sender.out)]
    assert seen.exit_status() == 1
    found = [one for one in seen.objects("finding") if one["kind"] == "corrupted"]
    assert [[byte["index"] for byte in one["bytes"]] for one in sorted(found, key=lambda one: one["first"])] == [[index] for index in said]
    assert {one["label"] for one in found} == {"inverted"}


def test_three_senders_with_one_low_byte_lose_what_tc_dropped(bus, check, qvcan):
    # However late one of them begins, no two of them meet at one counter.
    netem = Netem(bus.near, "loss", "3%")
    identifiers = [word for first in ("0x100", "0x400", "0x700") for word in ("-i", first)]
    seen = check("-d", bus.far, "-l", 700, "--idle", 5, *identifiers)
    program = qvcan("-d", bus.near, "-p", "-l", 700, "-t", "1m", "-j", 0, *identifiers)
    assert program.exit_status() == 0
    assert seen.exit_status() == 1
    dropped = netem.delivered()["drops"]
    assert streams(seen.summary(), "lost", "intact", "repeated") == (dropped, 2100 - dropped, 0)


def test_both_directions_lose_what_both_queues_dropped(bus, check, qvcan, answerer):
    """A frame that was lost has no answer either: that is one loss, of the sender's direction."""
    there, back = Netem(bus.near, "loss", "3%"), Netem(bus.far, "loss", "3%")
    seen = check("-d", bus.near, "-d", bus.far)
    answerer(bus.far, "-f")
    program = qvcan("-d", bus.near, "-f", "-p", "-l", 2000, "-t", "2m", "-j", 0, "-i", 1)
    assert program.exit_status() == 0
    arrived = 2000 - there.delivered()["drops"]
    wait_until(lambda: (figures := back.figures())["packets"] + figures["drops"] == arrived, lambda: f"{arrived} answers: {back.figures()}")
    assert seen.ended() == 1
    roles = {one["role"]: one for one in seen.summary()["streams"]}
    direct, answers = roles["direct"], roles["answer"]
    # Frames at the very end leave no gap; nobody demanded them.
    unseen = 2000 - direct["expected"]
    assert direct["lost"] + unseen == there.figures()["drops"]
    assert answers["expected"] - answers["intact"] + (2000 - answers["expected"]) == there.figures()["drops"] + back.figures()["drops"]


def test_traffic_of_others_is_no_finding(bus, check, qvcan, cangen):
    seen = check("-d", bus.far, "-i", 1, "-l", 1000)
    program = qvcan("-d", bus.near, "-p", "-l", 1000, "-t", "1m", "-j", 0)
    cangen(bus.near, 2000)
    assert program.exit_status() == 0
    assert seen.exit_status() == 0, seen
    summary = seen.summary()
    assert (summary["foreign"] + summary["tooShort"], streams(summary, "intact")) == (2000, (1000,))


def test_an_impaired_bus_that_is_allowed_passes(bus, check, send):
    Netem(bus.near, "duplicate", "5%")
    seen = check("-d", bus.far, "--allow", "repeated")
    send("-i", 1, count=500)
    assert seen.ended(signal.SIGTERM) == 0
    assert seen.summary()["ended"] == "SIGTERM"
    command("tc", "qdisc", "del", "dev", bus.near, "root")
