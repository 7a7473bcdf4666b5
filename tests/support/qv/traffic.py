"""What the traffic modes must send, in closed form."""

from dataclasses import replace

from qv.frame import answered, BRS, EFF, EFF_MASK, Frame, payload, RTR, SFF_MASK
from qv.record import DATA, EXTENDED, Record, REMOTE, STANDARD


def mask_of(width):
    return EFF_MASK if width & 1 else SFF_MASK


def pattern(can_id, count, *, fd=False, error_every=0):
    """The first records of a pattern sender started with can_id, with time 0."""
    width = EXTENDED if can_id & EFF else STANDARD
    frame = REMOTE if can_id & RTR else DATA
    mask = mask_of(width)
    first = can_id & mask
    return [Record(first + k & mask or 1, payload(first, k, 64 if fd else 8, error_every), width, frame) for k in range(count)]


def answer(record):
    """An answering node's answer: the identifier is complemented, too."""
    return replace(record, number=~record.number & mask_of(record.width), data=answered(record.data))


def can_frame(record, *, fd=False, brs=False):
    """The record's frame as sent on a CAN socket."""
    can_id = record.number | (EFF if record.width == EXTENDED else 0) | (RTR if record.frame == REMOTE else 0)
    length = len(record.data)
    return Frame(can_id, bytes(length) if record.frame == REMOTE else record.data, fd, BRS if brs else 0, length).pack()
