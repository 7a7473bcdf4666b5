"""Trace records: A7 5E, version, header check, kind (2), body length (2), body, CRC-32 (4); all numbers big-endian."""

from dataclasses import dataclass, replace
import struct
import zlib

CAN, CAN_EXT = 1, 11  # kinds
DATA, ERROR, SENT, REMOTE = 0, 1, 2, 3  # frame types
STANDARD, EXTENDED, FD_STANDARD, FD_EXTENDED = 0, 1, 2, 3  # CAN types

SYNC = b"\xa7\x5e"
BODY = struct.Struct(">QBBBBI")


def framed(kind, body):
    """The complete record around a body."""
    fields = struct.pack(">HH", kind, len(body))
    check = 0x5A ^ 1
    for byte in fields:
        check ^= byte
    checked = bytes([1, check]) + fields + body
    return SYNC + checked + struct.pack(">I", zlib.crc32(checked))


@dataclass(frozen=True)
class Record:
    number: int  # the identifier without flags
    data: bytes = b""
    width: int = STANDARD
    frame: int = DATA
    time: int = 0  # microseconds
    channel: int = 0
    status: int = 0
    kind: int = CAN_EXT

    def pack(self):
        return framed(self.kind, BODY.pack(self.time, self.channel, self.frame, self.status, self.width, self.number) + self.data)

    def __str__(self):
        """As printed by the programs: time of day, channel, then candump's log notation."""
        number = f"{self.number:08X}" if self.width & 1 else f"{self.number:03X}"
        separator = f"##{(self.status >> 6 & 1) | (self.status >> 6 & 2)}" if self.width & 2 or len(self.data) > 8 else "#"
        data = f"R{len(self.data) or ''}" if self.frame == REMOTE else self.data.hex().upper()
        tail = " tx" if self.frame == SENT else ""
        return f"{time_of_day(self.time)} ch{self.channel} {number}{separator}{data}{tail}"


def time_of_day(micros):
    seconds, rest = divmod(micros, 1000000)
    return f"{seconds // 3600 % 24:02}:{seconds // 60 % 60:02}:{seconds % 60:02}.{rest:06}"


def unpack(stream):
    """All records of a stream, which must contain nothing else."""
    records = []
    while stream:
        kind, length = struct.unpack_from(">HH", stream, 4)
        size = 12 + length
        time, channel, frame, status, width, number = BODY.unpack_from(stream, 8)
        record = Record(number, stream[24:8 + length], width, frame, time, channel, status, kind)
        assert stream[:size] == record.pack(), f"no sound record: {stream[:size].hex(' ')}"
        records.append(record)
        stream = stream[size:]
    return records


def untimed(records):
    return [replace(record, time=0) for record in records]
