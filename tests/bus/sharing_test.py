"""Many senders of one program, one socket, and frames that come in: one frame wakes all of them, and only one can have it."""

import pytest

from qv.watched import Program

SENDERS = 8
FRAMES = 150
INCOMING = 200


@pytest.mark.parametrize("fd", [True, False], ids=["fd", "classic"])
def test_incoming_frames_hold_no_sender_up(bus, qvcan, candump, fd):
    """The program ends only when each sender has sent all of its frames; the traffic that wakes them ends long before."""
    seen = candump(bus.far)
    identifiers = [word for first in range(SENDERS) for word in ("-i", hex(0x80000000 | first << 16))]
    kind = ["-f"] if fd else []
    program = qvcan(*kind, "-p", "-l", FRAMES, "-t", "2m", "-j", 0, *identifiers, "-d", bus.near)
    seen.wait_for(SENDERS)
    with_traffic = Program("cangen", bus.far, *kind, "-g", "1", "-n", INCOMING, "-I", "7F0", "-L", "8")
    try:
        assert with_traffic.exit_status() == 0
    finally:
        with_traffic.close()
    assert program.exit_status() == 0
    ours = [frame for frame in seen.all_frames() if frame.number >> 16 < SENDERS and frame.extended]
    for first in range(SENDERS):
        of_one = [frame.number & 0xFFFF for frame in ours if frame.number >> 16 == first]
        assert len(of_one) == FRAMES, f"sender {first}"
        assert of_one == sorted(of_one)
