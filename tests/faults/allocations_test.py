"""Each allocation of each program fails, once and from there on: no end by a signal, no hang, and a word where it ends.

QV_FAULTS and QV_FAULTS_SEED choose as in faults_test.py."""

import os
from pathlib import Path
import struct

import pytest

from choice import chosen, needed
import runs
from sweep import play, wrong


class Preload:
    """In front of a program: its allocations are counted, and fail as told."""

    def __init__(self, counter, fails="0"):
        self.counter = counter
        counter.write_bytes(bytes(8))
        self.words = ["env", f"LD_PRELOAD={os.environ['QV_FAILING_ALLOCATIONS']}", f"QV_ALLOCATIONS={counter}", f"QV_FAILS={fails}"]

    def count(self):
        return struct.unpack("=Q", self.counter.read_bytes())[0]


@pytest.mark.parametrize("run", needed(), ids=lambda run: run.name)
def test_an_allocation_that_fails_is_survived_or_ends_the_run_with_a_word(run, tmp_path, bus):
    preload = Preload(tmp_path / "counter")
    usual = play(run, tmp_path / "usual", behind=preload.words)
    assert wrong(run, usual) is None, usual
    bad, every = [], [f"{number}{more}" for number in range(1, preload.count() + 1) for more in ("", "+")]
    played = chosen()(every)
    for fails in played:
        outcome = play(run, tmp_path / fails, behind=Preload(tmp_path / "counter", fails).words)
        problem = wrong(run, outcome)
        if problem:
            bad.append(f"{fails}: {problem}; status {outcome.status}, stderr {outcome.err[-300:]!r}")
    print(f"{run.name}: {len(played)} of {len(every)} failures")
    assert played
    assert not bad, "\n".join(bad)
