"""Which runs and faults: QV_FAULTS is how many of each run are drawn by lot, or `all`; QV_FAULTS_SEED repeats a draw, which is that of the
day."""

from datetime import date
import os
import random
import socket

import runs


def has_can():
    try:
        socket.socket(socket.AF_CAN, socket.SOCK_RAW, socket.CAN_RAW).close()
    except OSError:
        return False
    return True


def needed():
    """The runs that this machine is for."""
    return runs.BUS if has_can() else runs.HOST


def chosen():
    """Takes some faults of a run, always others."""
    number = os.environ.get("QV_FAULTS", "8")
    seed = int(os.environ.get("QV_FAULTS_SEED", date.today().toordinal()))
    if number == "all":
        return lambda every: every
    return lambda every: random.Random(seed).sample(every, min(int(number), len(every)))
