"""scripts/soak with a command line that it cannot follow."""

from pathlib import Path
import subprocess

import pytest

SOAK = Path(__file__).parents[2] / "scripts" / "soak"


@pytest.mark.parametrize("words, reason", [
    (["--only", "nonsense", "5s"], "no phase nonsense; there are undisturbed, injection, "),
    (["5x"], "no time: 5x\n"),
    (["--seed", "x"], "--seed takes a number\n"),
    (["--nonsense"], "unknown option --nonsense\n"),
], ids=lambda value: " ".join(value) if isinstance(value, list) else "")
def test_what_it_cannot_follow_is_named_before_any_phase(words, reason):
    done = subprocess.run([SOAK, "--device-file", *words], capture_output=True, text=True, timeout=60, check=False)
    assert done.stderr.startswith(f"soak: {reason}"), done
    assert (" frames " in done.stdout, done.returncode) == (False, 2)
