"""Recordings of the pattern as candump would make them, with faults where a test wants them."""

from dataclasses import dataclass, field

START = 1700000000  # of the first frame, seconds


def identifier(counter, extended=False):
    return (counter & (0x1FFFFFFF if extended else 0x7FF)) or 1


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
    can_id: int = field(init=False)
    data: bytearray = field(init=False)

    def __post_init__(self):
        counter = (self.start + self.k) & 0xFFFFFFFF
        self.can_id = identifier(counter, self.extended)
        self.data = bytearray(counter.to_bytes(4, "big") + bytes((i + self.k) & 0xFF for i in range(self.length - 4)))

    def invert(self, index):
        self.data[index] ^= 0xFF
        return self

    def answer(self, delay=100):
        """The frame that a node in answer mode sends for it."""
        self.can_id ^= 0x1FFFFFFF if self.extended else 0x7FF
        for index in range(8 if self.length == 8 else 15):
            self.data[index] ^= 0xFF
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
        frame = Frame(k, start, 64 if fd else 8, extended, k * gap, interface)
        if period and (k + 1) % period == 0:
            frame.invert(((k + 1) // period - 1) % (15 if fd else 8))
        yield frame


def log_of(frames):
    return "".join(frame.line() for frame in frames)


def clean_log(n, **options):
    """What a sender of so many frames leaves in a log when nothing goes wrong."""
    return log_of(sent(n, **options))
