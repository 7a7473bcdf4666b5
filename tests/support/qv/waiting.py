"""Waiting for a condition, never for a time."""

import time

PATIENCE = 60  # seconds; an emulated machine on a busy host is slow, and only a failure waits that long


def wait_until(condition, what, patience=PATIENCE):
    """Polls condition() until it is true and returns its value; what describes it for the failure."""
    end = time.monotonic() + patience
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise AssertionError(f"waited {patience} s for {what() if callable(what) else what}")
        time.sleep(0.005)
