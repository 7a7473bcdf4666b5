"""What the tests of qvcancheck-plot need: the programs in QV_BIN, matplotlib, and the modules of the source tree in QV_PLOT."""

import importlib.util
import os
from pathlib import Path
import subprocess
import sys

import pytest

from qv.checkjson import text

sys.path.insert(0, os.environ.get("QV_PLOT", ""))
PATIENCE = 60  # seconds; only a failure waits that long


def pytest_sessionstart():
    if not os.access(Path(os.environ.get("QV_BIN", ""), "qvcancheck-plot"), os.X_OK):
        pytest.exit("QV_BIN must name the folder of the programs", returncode=2)
    if importlib.util.find_spec("matplotlib") is None:
        pytest.exit("not installed: python3-matplotlib", returncode=2)


@pytest.fixture
def plot(tmp_path):
    """plot(word...) runs the program in a folder of its own where no display is, and gives what has become of it."""
    def run(*words, given=b"", **changes):
        program = Path(os.environ["QV_BIN"], "qvcancheck-plot").resolve()
        environment = {"PATH": os.environ["PATH"], "HOME": str(tmp_path), "LC_ALL": "C.UTF-8"} | changes
        return subprocess.run([program, *words], input=given, cwd=tmp_path, env=environment, capture_output=True, timeout=PATIENCE, check=False)
    return run


@pytest.fixture
def told(tmp_path):
    """told(line..., name) writes a run to a file; a line is an object, or bytes as they are."""
    def write(*lines, name="run.jsonl"):
        (tmp_path / name).write_bytes(b"".join(line if isinstance(line, bytes) else text(line).encode() for line in lines))
        return name
    return write
