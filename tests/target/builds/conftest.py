"""The tests here set two builds beside each other. QV_BIN and QV_RUNNER are the target's (tests/support/qv/program.py), QV_HOST_BIN is the
folder of this machine's own programs."""

import os
from pathlib import Path

import pytest


def pytest_sessionstart():
    for variable in ("QV_BIN", "QV_HOST_BIN"):
        if not os.access(Path(os.environ.get(variable, ""), "qvcandev"), os.X_OK):
            pytest.exit(f"{variable} must name a folder of the programs", returncode=2)
