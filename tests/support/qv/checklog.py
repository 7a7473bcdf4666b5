"""Recordings of the pattern as candump would make them, with faults as a test requests."""

from dataclasses import dataclass, field

from qv.frame import answered, EFF_MASK, payload, SFF_MASK

START = 1700000000  # of the first frame, seconds


@dataclass
class Frame:
    """A frame of the pattern, number k of the stream from `start`; times in µs since the first one."""

    k: int
    start: int = 1
    length: int = 8
    extended: bool = False
    time: int = 0
    interface: str = "can1"
    flags: int = 1
    period: int = 0  # the sender's -e
    can_id: int = field(init=False)
    data: bytearray = field(init=False)

    def __post_init__(self):
        self.can_id = (self.start + self.k) & self.mask or 1
        self.data = bytearray(payload(self.start, self.k, self.length, self.period))

    @property
    def mask(self):
        return EFF_MASK if self.extended else SFF_MASK

    def invert(self, index):
        self.data[index] ^= 0xFF
        return self

    def answer(self, delay=100):
        """The frame that a node in answer mode sends for it."""
        self.can_id ^= self.mask
        self.data = bytearray(answered(self.data))
        self.time += delay
        return self

    def notation(self):
        name = f"{self.can_id:08X}" if self.extended else f"{self.can_id:03X}"
        return f"{name}#{f'#{self.flags}' if self.length > 8 else ''}{self.data.hex().upper()}"

    def line(self):
        return f"({START + self.time // 1000000}.{self.time % 1000000:06d}) {self.interface} {self.notation()}\n"


def sent(n, *, start=1, fd=False, extended=False, period=0, gap=2000, interface="can1"):
    """The n frames of a sender with -e `period`."""
    for k in range(n):
        yield Frame(k, start, 64 if fd else 8, extended, k * gap, interface, period=period)


def log_of(frames):
    return "".join(frame.line() for frame in frames)


def clean_log(n, **options):
    """The log of a sender of so many frames if nothing goes wrong."""
    return log_of(sent(n, **options))
