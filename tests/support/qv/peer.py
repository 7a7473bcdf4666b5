"""A raw CAN socket of our own, beside the programs."""

import errno
import socket

from qv.frame import CANFD_MTU, EFF, Frame
from qv.waiting import wait_until

CAN_RAW_LOOPBACK = 3  # Python 3.11 has no name for every option: linux/can/raw.h
CAN_RAW_FD_FRAMES = 5

# No traffic mode sends a classic frame of three bytes: after it there is nothing more to come.
END_MARK = Frame(EFF | 0x1BADCAFE, b"end")


class Peer:
    def __init__(self, name):
        self.name = name
        self.socket = socket.socket(socket.PF_CAN, socket.SOCK_RAW, socket.CAN_RAW)
        # Without loopback: the other sockets of this end must not see what it sends.
        self.socket.setsockopt(socket.SOL_CAN_RAW, CAN_RAW_LOOPBACK, 0)
        self.socket.setsockopt(socket.SOL_CAN_RAW, CAN_RAW_FD_FRAMES, 1)
        self.socket.bind((name,))

    def send(self, frame):
        """Sends it; waits for room when the transmit queue is full."""
        def sent():
            try:
                return self.socket.send(frame.pack()) > 0
            except OSError as error:
                if error.errno != errno.ENOBUFS:
                    raise
                return False
        wait_until(sent, f"room for a frame on {self.name}")

    def receive(self, patience=60):
        self.socket.settimeout(patience)
        return Frame.unpack(self.socket.recv(CANFD_MTU))

    def close(self):
        self.socket.close()
