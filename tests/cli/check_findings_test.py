"""What qvcancheck says about recordings with one fault each, line by line."""

import pytest

from qv.check import Check
from qv.checklog import clean_log, Frame, log_of, sent


def shifted(frames, by):
    for frame in frames:
        frame.time += by
    return frames


def changed(frames, k, **fields):
    for name, value in fields.items():
        setattr(frames[k], name, value)
    return frames


def all_of(n=100, **options):
    return list(sent(n, **options))


def inverted(k, index, **options):
    frames = all_of(**options)
    frames[k].invert(index)
    return frames


CASES = {
    "lost": (all_of()[:30] + all_of()[32:], ["lost 2: 1F to 20, in 6.000 ms; before this host"]),
    "repeated": (all_of()[:31] + shifted(all_of()[30:31], 113) + all_of()[31:], ["repeated 1F, 0.113 ms after the first"]),
    "reordered": (all_of()[:30] + all_of()[31:32] + shifted(all_of()[30:31], 2100) + all_of()[32:], ["reordered 1F, 1 frame and 0.100 ms late"]),
    "byte_0": (inverted(50, 0), ["corrupted 33: byte 0 is FF instead of 00 (inverted); identifier says 33, counter FF000033, run 32"]),
    "byte_3": (inverted(50, 3), ["corrupted 33: byte 3 is CC instead of 33 (inverted); identifier says 33, counter CC, run 32"]),
    "run_byte": (inverted(50, 5), ["corrupted 33: byte 5 is CC instead of 33 (inverted); identifier says 33, counter 33, run 32"]),
    "fd_byte_63": (inverted(50, 63, fd=True), ["corrupted 33: byte 63 is 92 instead of 6D (inverted); identifier says 33, counter 33, run 32"]),
    "identifier": (changed(all_of(), 50, can_id=0x733), ["corrupted 33: identifier; identifier says 733, counter 33, run 32"]),
    "width": (changed(all_of(), 50, extended=True), ["corrupted 33: width; identifier says 33, counter 33, run 32"]),
    "shortened": (changed(all_of(), 50, data=Frame(50).data[:5]), ["corrupted 33: shortened to 5; identifier says 33, counter 33, run 32"]),
    "restart": (all_of() + shifted(all_of(), 2000000), ["restart: the sender began again at 001, after 64"]),
    "nothing": (all_of(), []),
    "wrap_of_the_identifier": (all_of(200, start=0x7C0), []),
    "wrap_of_the_counter": (all_of(200, start=0x1FFFFFC0, extended=True), []),
}


@pytest.mark.parametrize("name", CASES)
def test_a_fault_is_found_and_told_exactly(name, tmp_path):
    frames, findings = CASES[name]
    check = Check(tmp_path, log_of(frames))
    assert [line.removeprefix("can1 s1     ") for line in check.findings()] == findings
    assert check.verdict()[1] == (1 if findings else 0)


def test_the_whole_text_of_a_run(tmp_path):
    frames = all_of()
    frames[50].invert(5)
    check = Check(tmp_path, log_of(frames[:30] + frames[32:]))
    assert check.run("-i", "1").out == f"""\
start    2023-11-14 22:13:20 UTC, {check.path}
   0.000 can1 s1     stream: classic 8, standard, start 001, first frame seen
   0.100 can1 s1     corrupted 33: byte 5 is CC instead of 33 (inverted); identifier says 33, counter 33, run 32
   0.064 can1 s1     lost 2: 1F to 20, in 6.000 ms; before this host

{check.path}, 0.198 s, 98 frames, end of input

stream  kind                 start       first        last    expected    intact  corrupted  lost  repeated  reordered
s1      classic 8, standard  001             1          64         100        97          1     2         0          0

lost        s1: 2 before this host
            on the sender: grep -c "write error", ip -s link (tx_dropped), txqueuelen 1000
gap         s1: min 2.000  mean 2.000  p50 2.000  p90 2.000  p99 2.000  p99.9 2.000  max 2.000 ms

FAIL: 2 frames lost, 1 frame corrupted
"""


def test_the_summary_counts_what_was_found_by_name_and_leaves_zeros_out(tmp_path):
    frames = all_of()
    frames[50].invert(5)
    summary = Check(tmp_path, log_of(frames[:30] + frames[31:])).summary()
    assert summary["findings"] == {"lost": 1, "corrupted": 1}
    assert [stream["causes"] for stream in summary["streams"]] == [{"before this host": 1}]


def test_answers_are_a_stream_of_their_own(tmp_path):
    both = [frame for k in range(100) for frame in (Frame(k, time=k * 2000), Frame(k, time=k * 2000).answer())]
    summary = Check(tmp_path, log_of(both)).summary()
    assert [(stream["role"], stream["expected"], stream["intact"], stream["lost"]) for stream in summary["streams"]] == [
        ("direct", 100, 100, 0), ("answer", 100, 100, 0)]
    assert summary["verdict"] == "pass"


def asked_and_answered(missing=(), **slow):
    """100 frames, 2 ms apart, each answered after 0.1 ms but those that miss their answer, and one that comes `late` (k, µs)."""
    delays = {k: 100 for k in range(100) if k not in missing} | dict([slow["late"]] if slow else [])
    frames = list(sent(100)) + [Frame(k, time=k * 2000).answer(delay) for k, delay in delays.items()]
    return log_of(sorted(frames, key=lambda frame: frame.time))


@pytest.mark.parametrize("log, options, findings, verdict", [
    (asked_and_answered(), ["-a", "--max-rtt=200u"], [], "PASS: 200 frames, none lost, repeated, reordered or corrupted"),
    (asked_and_answered([40, 41, 60]), ["-a"], ["unanswered 29 to 2A", "unanswered 3D"], "FAIL: 3 answers missing"),
    (asked_and_answered([99]), ["-a"], [], "PASS: 199 frames, none lost, repeated, reordered or corrupted"),
    (asked_and_answered(late=(40, 1500)), ["-a", "--max-rtt=1m"], ["slow 29: answered after 1.500 ms"], "FAIL: 1 answer slow"),
    (asked_and_answered(late=(40, 1500)), ["-a"], [], "PASS: 200 frames, none lost, repeated, reordered or corrupted"),
    (asked_and_answered(range(100)), ["-a"], ["unanswered 1 to 64"], "FAIL: 100 answers missing"),
], ids=["all", "missing", "the_last_is_open", "slow", "not_slow", "none"])
def test_answers_are_demanded_and_their_faults_told(log, options, findings, verdict, tmp_path):
    check = Check(tmp_path, log)
    assert [line.split(" ", 1)[1].split(maxsplit=1)[1] for line in check.findings(*options)] == findings
    assert check.verdict(*options) == (verdict, 1 if findings else 0)
    check.json(*options)


def test_a_stream_that_is_absent_is_told_where_nothing_was_read(tmp_path):
    check = Check(tmp_path, "")
    assert check.findings("-i", "1") == ["absent: no frame of the stream from 001"]
    assert [(each["kind"], each["interface"]) for each in check.json("-i", "1") if each["event"] == "finding"] == [("absent", None)]


def test_streams_of_several_senders_and_interfaces_are_told_apart(tmp_path):
    frames = []
    for start, interface in ((0x100, "can0"), (0x211, "can0"), (0x322, "can1")):
        frames += sent(500, start=start, interface=interface)
    frames.sort(key=lambda frame: frame.time)
    del frames[600]
    summary = Check(tmp_path, log_of(frames)).summary()
    assert sorted((stream["interface"], stream["expected"]) for stream in summary["streams"]) == [("can0", 500), ("can0", 500), ("can1", 500)]
    assert sum(stream["lost"] for stream in summary["streams"]) == 1


def test_frames_of_others_are_counted_and_no_finding(tmp_path):
    lines = clean_log(100).splitlines(keepends=True)
    others = ["(1700000000.050000) can1 456#AABBCCDDEEFF0011\n", "(1700000000.060000) can1 123#\n", "(1700000000.070000) can1 123#R\n",
              "(1700000000.080000) can1 20000004#0001000000000000\n", "(1700000000.090000) can1 00123#00:00:00000000#11\n"]
    summary = Check(tmp_path, "".join(lines + others)).summary()
    assert {name: summary[name] for name in ("foreign", "tooShort", "remote", "errorFrames", "xl", "frames", "pattern")} == {
        "foreign": 1, "tooShort": 1, "remote": 1, "errorFrames": 1, "xl": 1, "frames": 105, "pattern": 100}
    assert summary["verdict"] == "pass"
