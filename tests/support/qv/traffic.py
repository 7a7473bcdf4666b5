"""What the traffic modes must send, in closed form."""

from dataclasses import replace
import struct

from qv.record import DATA, EXTENDED, Record, REMOTE, STANDARD

EFF = 0x80000000
RTR = 0x40000000


def mask_of(width):
    return 0x1FFFFFFF if width & 1 else 0x7FF


def length_code(length):
    """ISO 11898-1: the data length code of a payload of that many bytes."""
    return length if length <= 8 else [8, 12, 16, 20, 24, 32, 48, 64].index(length) + 8


def pattern(can_id, count, *, fd=False, error_every=0):
    """The first records of a pattern sender that was given can_id, with time 0."""
    width = EXTENDED if can_id & EFF else STANDARD
    frame = REMOTE if can_id & RTR else DATA
    length = 64 if fd else 8
    records = []
    for k in range(count):
        counter = ((can_id & mask_of(width)) + k) % 2**32
        data = bytearray(counter.to_bytes(4, "big") + bytes((i + k) % 256 for i in range(length - 4)))
        if error_every and (k + 1) % error_every == 0:
            data[((k + 1) // error_every - 1) % length_code(length)] ^= 0xFF
        records.append(Record(counter & mask_of(width) or 1, bytes(data), width, frame))
    return records


def answer(record):
    """What an answering node makes of it: identifier and leading payload bytes complemented, the rest as it came."""
    code = length_code(len(record.data))
    data = bytes(byte ^ 0xFF for byte in record.data[:code]) + record.data[code:]
    return replace(record, number=~record.number & mask_of(record.width), data=data)


def can_frame(record, *, fd=False, brs=False):
    """The record's frame as it crosses a CAN socket: 72 bytes with FD, else 16 (linux/can.h)."""
    can_id = record.number | (EFF if record.width == EXTENDED else 0) | (RTR if record.frame == REMOTE else 0)
    payload = b"" if record.frame == REMOTE else record.data
    head = struct.pack("=IBBxx", can_id, len(record.data), 1 if brs else 0)
    return head + payload.ljust(64 if fd else 8, b"\0")
