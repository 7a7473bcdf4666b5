"""CAN frames in candump's notation, and what the traffic modes must put on the bus, in closed form."""

from dataclasses import dataclass, replace
import struct

EFF = 0x80000000
RTR = 0x40000000
SFF_MASK = 0x7FF
EFF_MASK = 0x1FFFFFFF

BRS = 0x01
ESI = 0x02
FDF = 0x04  # set by the kernel itself (6.1 and later), so it says nothing about the sender

CAN_MTU = 16
CANFD_MTU = 72


@dataclass(frozen=True)
class Frame:
    can_id: int  # as in SocketCAN: EFF and RTR in the upper bits
    data: bytes
    fd: bool = False
    flags: int = 0  # of an FD frame, without FDF
    length: int = -1  # of a remote frame, which carries a length and no data

    @property
    def extended(self):
        return bool(self.can_id & EFF)

    @property
    def number(self):
        return self.can_id & (EFF_MASK if self.extended else SFF_MASK)

    def __str__(self):
        """In candump's log notation: 123#0011, 123##100, 12345678#R8."""
        number = f"{self.number:08X}" if self.extended else f"{self.number:03X}"
        if self.fd:
            return f"{number}##{self.flags:X}{self.data.hex().upper()}"
        if self.can_id & RTR:
            return f"{number}#R{self.length}" if self.length > 0 else f"{number}#R"
        return f"{number}#{self.data.hex().upper()}"

    @classmethod
    def parse(cls, text):
        number, _, rest = text.partition("#")
        can_id = int(number, 16) | (EFF if len(number) == 8 else 0)
        if rest.startswith("#"):
            return cls(can_id, bytes.fromhex(rest[2:]), True, int(rest[1], 16) & ~FDF)
        if rest.startswith("R"):
            return cls(can_id | RTR, b"", length=int(rest[1:] or "0", 16))
        return cls(can_id, bytes.fromhex(rest))

    def pack(self):
        """The kernel's can_frame or canfd_frame."""
        size = CANFD_MTU if self.fd else CAN_MTU
        length = self.length if self.can_id & RTR and not self.fd else len(self.data)
        return struct.pack("=IBBxx", self.can_id, length, self.flags if self.fd else 0).ljust(8) + self.data.ljust(size - 8, b"\0")

    @classmethod
    def unpack(cls, raw):
        can_id, length, flags = struct.unpack_from("=IBB", raw)
        data = raw[8:8 + length]
        if len(raw) == CANFD_MTU:
            return cls(can_id, data, True, flags & ~FDF)
        if can_id & RTR:
            return cls(can_id, b"", length=length)
        return cls(can_id, data)


def length_code(length):
    """ISO 11898-1: the data length code of a payload of that many bytes."""
    return length if length <= 8 else [8, 12, 16, 20, 24, 32, 48, 64].index(length) + 8


def payload(first, k, length, error_every=0):
    """Payload of frame k of a pattern sender that counts from first; each error_every-th has one byte inverted."""
    data = bytearray(((first + k) % 2**32).to_bytes(4, "big") + bytes((i + k) % 256 for i in range(length - 4)))
    if error_every and (k + 1) % error_every == 0:
        data[((k + 1) // error_every - 1) % length_code(length)] ^= 0xFF
    return bytes(data)


def answered(data):
    """The payload of an answer: the leading bytes complemented, the rest unchanged."""
    code = length_code(len(data))
    return bytes(byte ^ 0xFF for byte in data[:code]) + data[code:]


def pattern(can_id, count, *, fd=False, brs=False, error_every=0, start=0):
    """The frames start, start + 1, ... of a pattern sender started with can_id."""
    mask = EFF_MASK if can_id & EFF else SFF_MASK
    first = can_id & mask
    length = 64 if fd else 8
    frames = []
    for k in range(start, start + count):
        sent_id = (first + k & mask or 1) | (can_id & EFF)
        if can_id & RTR:
            frames.append(Frame(sent_id | RTR, bytes(length) if fd else b"", fd, BRS if brs else 0, -1 if fd else length))
        else:
            frames.append(Frame(sent_id, payload(first, k, length, error_every), fd, BRS if brs else 0))
    return frames


def answer(frame, *, brs=False):
    """An answering node's answer on an FD bus to an FD frame: a data frame with the node's own BRS setting."""
    mask = EFF_MASK if frame.extended else SFF_MASK
    return Frame((~frame.number & mask) | (frame.can_id & EFF), answered(frame.data), True, BRS if brs else 0)


def reflected(frame):
    """canfdtest's reply to a classic frame: identifier and every data byte one up."""
    return replace(frame, can_id=frame.can_id + 1, data=bytes((byte + 1) % 256 for byte in frame.data))


def difference(seen, expected):
    """None if the lists are equal, else one line about the first difference."""
    for index, (one, other) in enumerate(zip(seen, expected)):
        if one != other:
            place = next((i for i, (a, b) in enumerate(zip(one.data, other.data)) if a != b), None)
            where = f", first at data byte {place}" if place is not None else ""
            return f"frame {index} of {len(expected)}: {one} instead of {other}{where}"
    if len(seen) != len(expected):
        more = expected[len(seen)] if len(seen) < len(expected) else seen[len(expected)]
        return f"{len(seen)} frames instead of {len(expected)}; the first {'missing' if len(seen) < len(expected) else 'extra'} is {more}"
    return None
