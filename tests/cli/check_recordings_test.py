"""Recordings of a real bus whose faults tc counted: qvcancheck counts the same.

Each is `candump -L` at one end of a vxcan pair while `qvcan -p -t 300u -j 0` sends on the other; the counts are those of `tc -s qdisc show`.
"""

import gzip
from pathlib import Path

import pytest

from qv.check import Check

RECORDINGS = Path(__file__).parent / "recordings"

# name: (what the sender was told, how it reads as a verdict, the sum over all streams)
KNOWN = {
    "loss": (["-i", "1", "-l", "400"], "FAIL: 18 frames lost", {"lost": 18, "intact": 382}),  # loss 5%: dropped 18
    "duplicate": (["-i", "1", "-l", "400"], "FAIL: 21 frames repeated", {"repeated": 21, "intact": 400}),  # duplicate 5%: 421 packets
    # delay 20ms reorder 25% gap 3: requeues 69
    "reorder": (["-i", "1", "-l", "400"], "FAIL: 276 frames reordered", {"overtaken": 69, "reordered": 276, "intact": 400}),
    # corrupt 5%: a flip in the length is refused by the receiver's kernel, and half of them hit nothing that is read
    "corrupt": (["-i", "1", "-l", "400"], "FAIL: 4 frames lost, 8 frames corrupted", {"lost": 4, "corrupted": 8, "intact": 388}),
    "injected": (["-f", "-i", "1", "-l", "150", "-e", "7"],
                 "PASS: 150 frames, none lost, repeated or reordered; 21 corrupted as told", {"corrupted": 21, "intact": 129}),
    # loss 5% on three senders of the same low byte: dropped 27
    "senders": (["-i", "0x100", "-i", "0x200", "-i", "0x300", "-l", "150"], "FAIL: 27 frames lost", {"lost": 27, "intact": 423}),
    "wrap11": (["-i", "0x780", "-l", "300"], "FAIL: 22 frames lost", {"lost": 22, "intact": 278}),  # loss 5%: dropped 22
    "wrap29": (["-i", "0x9FFFFFC0", "-l", "150"], "FAIL: 5 frames lost", {"lost": 5, "intact": 145}),  # loss 5%: dropped 5
}
COUNTS = ("lost", "repeated", "reordered", "overtaken", "corrupted", "corruptedRepeats", "late", "stray", "intact")


@pytest.mark.parametrize("name", KNOWN)
def test_the_counts_are_those_of_the_bus(name, tmp_path):
    told, verdict, counts = KNOWN[name]
    check = Check(tmp_path, gzip.decompress((RECORDINGS / f"{name}.log.gz").read_bytes()))
    summary = check.summary(*told)
    sums = {count: sum(stream[count] for stream in summary["streams"]) for count in COUNTS}
    assert {count: n for count, n in sums.items() if n > 0} == counts
    assert summary["verdictLine"] == verdict


def test_every_recording_is_known():
    assert sorted(path.name for path in RECORDINGS.iterdir()) == sorted(f"{name}.log.gz" for name in KNOWN)


@pytest.mark.parametrize("name", KNOWN)
def test_nothing_needs_to_be_told_to_find_a_fault(name, tmp_path):
    check = Check(tmp_path, gzip.decompress((RECORDINGS / f"{name}.log.gz").read_bytes()))
    assert check.verdict()[1] == 1
