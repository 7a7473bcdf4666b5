"""The fixtures are shared with the tests that run on the target (tests/target/machine)."""

from qv.onbus import *  # noqa: F401,F403
