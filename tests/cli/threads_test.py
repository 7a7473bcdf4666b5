"""Four devices, a thread each, on one device file, in each mode at every verbosity. What they must not do to each other shows in a
build with the thread sanitizer, or under helgrind: its report is a line on standard error."""

import signal

import pytest

from qv.record import Record, unpack, untimed
from qv.traffic import answer, pattern

IDS = [0x100, 0x80000200, 0x300, 0x80000400]
DEVICES = [word for one in IDS for word in ("-i", hex(one))]
READING = "nothing to send, just reading ...\n"
COUNT = 25

verbosities = pytest.mark.parametrize("verbosity", range(5), ids=lambda count: "-" + "v" * count if count else "quiet")


def request(k):
    return Record(0x7F0 - k, bytes([k] * (k % 9)), time=k)


@verbosities
@pytest.mark.parametrize("mode", [[], ["-r", "named"], ["-s", "named"]], ids=lambda mode: mode[0] if mode else "read")
def test_four_readers_share_what_comes(mode, verbosity, start, terminal):
    program = start("qvcandev", "-d", terminal.path, *DEVICES, *mode, *["-v"] * verbosity)
    program.until_out(READING, 4)
    for k in range(COUNT):
        terminal.send(request(k).pack())
        if verbosity >= 2:
            program.until_out(f": return: {request(k)}\n")
    seen = program.end()
    assert (seen.err, seen.status) == ("", -signal.SIGTERM)
    assert seen.out.count(": return: ") == (COUNT if verbosity >= 2 else 0)


@verbosities
def test_four_answering_nodes_give_one_answer_to_each_record(verbosity, start, terminal):
    program = start("qvcandev", "-d", terminal.path, "-a", *DEVICES, *["-v"] * verbosity)
    expected, size = [], 0
    for k in range(COUNT):
        expected.append(answer(request(k)))
        size += len(expected[-1].pack())
        terminal.send(request(k).pack())
        program.until(lambda: len(terminal.seen) >= size, f"answer {k}", also=terminal)
    seen = program.end()
    assert (seen.err, seen.status) == ("", -signal.SIGTERM)
    assert unpack(bytes(terminal.seen)) == expected


@verbosities
def test_four_pattern_senders_send_whole_records_while_records_come_in(verbosity, start, terminal):
    program = start("qvcandev", "-d", terminal.path, "-p", "-l", COUNT, "-t", "2m", "-j", "1m", "-e", 7, *DEVICES, *["-v"] * verbosity)
    for k in range(COUNT):
        terminal.send(request(k).pack())
    program.until(lambda: not program.open, "its end", also=terminal)
    size = 4 * COUNT * len(pattern(1, 1)[0].pack())
    program.until(lambda: len(terminal.seen) >= size, "all records", also=terminal)
    ended = program.result()
    assert (ended.err, ended.status) == ("", 0)
    assert ("discard: " in ended.out) == (verbosity >= 2)
    seen = untimed(unpack(bytes(terminal.seen)))
    for one in IDS:
        own = pattern(one, COUNT, error_every=7)
        assert [record for record in seen if record.number & 0xF00 == one & 0xF00] == own
