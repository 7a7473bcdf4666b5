"""Each system call of each program fails: the program says so and goes on, or ends as documented. Never by a signal, never in circles.

QV_FAULTS_TABLE is the folder for the tables of outcomes; choice.py tells of the rest."""

import os
from pathlib import Path

import pytest

from choice import chosen, needed
from sweep import sweep


@pytest.mark.parametrize("run", needed(), ids=lambda run: run.name)
def test_a_call_that_fails_is_survived_or_ends_the_run_as_documented(run, tmp_path, bus):
    tables = Path(os.environ.get("QV_FAULTS_TABLE", tmp_path))
    tables.mkdir(parents=True, exist_ok=True)
    played, every, bad = sweep(run, tmp_path / "runs", chosen(), tables / f"{run.name}.tsv")
    print(f"{run.name}: {played} of {every} faults")
    assert played > 0
    assert not bad, "\n".join(bad)
