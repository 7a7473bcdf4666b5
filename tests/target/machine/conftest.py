"""Tests that only the 32-bit ARM machine runs (arm-machine), with the fixtures of the bus tests."""

from qv.onbus import *  # noqa: F401,F403
