"""The pattern sender on a live bus, as candump sees it."""

import pytest

from qv.frame import EFF, RTR, pattern
from qv.qvcan import FD_ENABLED, INCOMPLETE
from qv.waiting import wait_until

# Identifiers and what each is there for. No FD frame is a remote frame: those are in a test of their own.
DATA_IDS = {
    "standard": 0x123,
    "extended": EFF | 0x123,
    "zero": 0,
    "wraps-at-11-bits": 0x7E0,
    "wraps-at-29-bits": EFF | 0x1FFFFFF0,
    "cut-to-11-bits": 0x1FFFFFFF,
}
REMOTE_IDS = {
    "remote": RTR | 0x123,
    "remote-extended": RTR | EFF | 0x123,
    "remote-wraps": RTR | 0x7F8,
}


@pytest.mark.parametrize("can_id, mode", [
    *[pytest.param(can_id, mode, id="-".join([name, *mode]))
      for name, can_id in DATA_IDS.items() for mode in ([], ["-f"], ["-b"])],
    *[pytest.param(can_id, [], id=name) for name, can_id in REMOTE_IDS.items()],
    pytest.param(0x123, ["-f", "-b"], id="standard-f-b"),
])
def test_candump_sees_every_frame(bus, qvcan, candump, same_frames, can_id, mode):
    seen = candump(bus.far)

    program = qvcan("-p", "-l", 300, "-t", 0, "-i", hex(can_id), "-d", bus.near, *mode)

    assert program.exit_status() == 0
    assert (program.out, program.err) == (FD_ENABLED if mode else "", "")
    assert bus.counters(bus.near)[1] == 300
    same_frames(seen.all_frames(), pattern(can_id, 300, fd=bool(mode), brs="-b" in mode))


def test_an_fd_frame_keeps_the_remote_bit_and_carries_zeros(bus, qvcan, peer, same_frames):
    # candump does not show the bit in an FD frame: a socket of our own does.
    receiver = peer(bus.far)

    program = qvcan("-f", "-p", "-l", 20, "-t", 0, "-i", hex(RTR | 0x123), "-d", bus.near)

    assert program.exit_status() == 0
    same_frames([receiver.receive() for _ in range(20)], pattern(RTR | 0x123, 20, fd=True))


def test_without_further_options_it_sends_1024_frames_with_identifier_1(bus, qvcan, candump, same_frames):
    seen = candump(bus.far)

    program = qvcan("-p", "-t", 0, "-d", bus.near)

    assert program.exit_status() == 0
    same_frames(seen.all_frames(), pattern(1, 1024))


def test_endless_run_passes_its_default_count(bus, qvcan, candump, same_frames):
    seen = candump(bus.far)
    program = qvcan("-p", "-l", 0, "-t", 500, "-j", 0, "-d", bus.near)

    seen.wait_for(1500)
    assert program.runs()
    program.end()

    frames = seen.all_frames()
    same_frames(frames, pattern(1, len(frames)))


@pytest.mark.parametrize("options", [["-j", 0], ["-j", "1m"], []], ids=["no-jitter", "jitter", "default-jitter"])
def test_the_gap_changes_no_frame(bus, qvcan, candump, same_frames, options):
    seen = candump(bus.far)

    program = qvcan("-f", "-p", "-l", 200, "-t", "2m", "-d", bus.near, *options)

    assert program.exit_status() == 0
    same_frames(seen.all_frames(), pattern(1, 200, fd=True))


@pytest.mark.parametrize("mode", [[], ["-f"]], ids=["classic", "fd"])
@pytest.mark.parametrize("every", [1, 3, 7, 400], ids=lambda every: f"every-{every}")
def test_errors_are_injected_where_they_belong(bus, qvcan, candump, same_frames, mode, every):
    seen = candump(bus.far)

    program = qvcan("-p", "-l", 360, "-t", 0, "-e", every, "-i", "0x123", "-d", bus.near, *mode)

    assert program.exit_status() == 0
    frames = seen.all_frames()
    same_frames(frames, pattern(0x123, 360, fd=bool(mode), error_every=every))
    # The same said in other words: which frames differ from a clean run, and in which byte.
    hits = [(k + 1, [i for i in range(len(clean.data)) if clean.data[i] != frame.data[i]])
            for k, (frame, clean) in enumerate(zip(frames, pattern(0x123, 360, fd=bool(mode)))) if frame != clean]
    width = 15 if mode else 8
    assert hits == [(number, [j % width]) for j, number in enumerate(range(every, 361, every))]


def test_sixteen_senders_lose_and_tear_nothing(bus, qvcan, candump, same_frames):
    # The upper bits of the 29 name the sender; the lower 16 are its counter.
    ids = [EFF | (number << 20) for number in range(16)]
    seen = candump(bus.far)

    program = qvcan("-b", "-p", "-l", 200, "-t", 0, "-d", bus.near, *[word for can_id in ids for word in ("-i", hex(can_id))])

    assert program.exit_status() == 0
    assert program.err == ""
    frames = seen.all_frames()
    assert len(frames) == 16 * 200
    for number, can_id in enumerate(ids):
        # Identifier 0 is mended to 1 on the bus and nowhere else.
        same_frames([frame for frame in frames if frame.number >> 20 == number], pattern(can_id, 200, fd=True, brs=True))


def test_incoming_frames_are_discarded_and_never_answered(bus, qvcan, candump, cangen, same_frames):
    sent, returned = candump(bus.far), candump(bus.near)
    program = qvcan("-f", "-p", "-l", 0, "-t", "2m", "-j", 0, "-vv", "-d", bus.near)
    sent.wait_for(10)

    cangen(bus.far, 200, "-f")
    wait_until(lambda: program.out.count("discard: ") == 200, "200 frames to be discarded")
    sent.wait_for(sent.count() + 50)

    assert program.runs() and program.err == ""
    program.end()
    assert len(returned.all_frames()) == 200
    frames = sent.all_frames()
    same_frames(frames, pattern(1, len(frames), fd=True))


def test_an_incoming_classic_frame_is_reported_and_the_pattern_goes_on(bus, qvcan, candump, cangen, same_frames):
    seen = candump(bus.far)
    program = qvcan("-f", "-p", "-l", 0, "-t", "2m", "-j", 0, "-d", bus.near)
    seen.wait_for(10)

    cangen(bus.far, 30)
    program.wait_for_err_lines(30)
    seen.wait_for(seen.count() + 50)

    assert program.runs() and program.err == INCOMPLETE * 30
    program.end()
    frames = seen.all_frames()
    same_frames(frames, pattern(1, len(frames), fd=True))
