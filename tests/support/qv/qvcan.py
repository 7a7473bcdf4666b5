"""qvcan itself, and the lines it prints on a bus."""

import os
from pathlib import Path

from qv.pair import listeners, wait_for_listeners
from qv.watched import Program

FD_ENABLED = "enabled CAN_RAW_FD_FRAMES\n"
READING = "nothing to send, just reading ...\n"
INCOMPLETE = "read: incomplete CAN frame\n"
READ_DOWN = "read error: Network is down\n"
READ_GONE = "read error: No such device\n"
WRITE_DOWN = "write error: Network is down\n"
WRITE_FULL = "write error: No buffer space available\n"
WRITE_REFUSED = "write error: Invalid argument\n"


class Qvcan(Program):
    def __init__(self, *options):
        super().__init__(Path(os.environ["QV_BIN"], "qvcan"), *options)


class Reader(Qvcan):
    """Only reads; is in its loops when the constructor returns."""

    def __init__(self, name, *options, devices=1):
        super().__init__("-d", name, *options)
        for count in range(devices):
            self.wait_for_out(READING * (count + 1))


class Answerer(Qvcan):
    """Answers; its socket is bound when the constructor returns."""

    def __init__(self, name, *options):
        before = listeners(name)
        super().__init__("-a", "-d", name, *options)
        wait_for_listeners(name, before + 1)
