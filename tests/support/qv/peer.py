"""A raw CAN socket of our own, next to the programs."""

import errno
import socket

from qv.frame import CANFD_MTU, EFF, Frame
from qv.waiting import wait_until

CAN_RAW_LOOPBACK = 3  # Python 3.11 does not name every option: linux/can/raw.h
CAN_RAW_FD_FRAMES = 5

# No traffic mode sends a classic frame of three bytes: it marks the end.
END_MARK = Frame(EFF | 0x1BADCAFE, b"end")


class Peer:
    def __init__(self, name):
        self.name = name
        self.socket = socket.socket(socket.PF_CAN, socket.SOCK_RAW, socket.CAN_RAW)
        # Without loopback: the other sockets on this end must not see what it sends.
        self.socket.setsockopt(socket.SOL_CAN_RAW, CAN_RAW_LOOPBACK, 0)
        self.socket.setsockopt(socket.SOL_CAN_RAW, CAN_RAW_FD_FRAMES, 1)
        self.socket.bind((name,))

    def send(self, frame):
        """Sends it; waits for room if the transmit queue is full."""
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
