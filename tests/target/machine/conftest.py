"""Tests that only the 32-bit ARM machine runs (arm-machine), with the fixtures of the bus tests."""

import importlib.util
from pathlib import Path
import sys

BUS_TESTS = Path(__file__).parents[2] / "bus"
sys.path.insert(0, str(BUS_TESTS))

found = importlib.util.spec_from_file_location("bus_fixtures", BUS_TESTS / "conftest.py")
bus_fixtures = importlib.util.module_from_spec(found)
sys.modules["bus_fixtures"] = bus_fixtures
found.loader.exec_module(bus_fixtures)

from bus_fixtures import *  # noqa: E402,F401,F403
