"""Every kind of recording, and bad ones: a clear line, bounded memory, the right status."""

import json
import os
from pathlib import Path
import subprocess

import pytest

from qv.check import Check
from qv.checklog import clean_log, log_of, sent
from qv.program import command, Result, run, RUNNER

PASS = "PASS: 100 frames, none lost, repeated, reordered or corrupted"


def test_a_log_is_read_from_standard_input(tmp_path):
    log = tmp_path / "run.log"
    log.write_text(clean_log(100), encoding="ascii")
    with log.open("rb") as stdin:
        done = run("qvcancheck", "-", stdin=stdin)
    assert done.out.splitlines()[0] == "start    2023-11-14 22:13:20 UTC, standard input"
    assert done.out.splitlines()[-1] == PASS


def test_several_files_are_one_run(tmp_path):
    lines = clean_log(100).splitlines(keepends=True)
    parts = [tmp_path / name for name in ("b.log", "a.log")]
    for path, part in zip(parts, (lines[:40], lines[40:])):
        path.write_text("".join(part), encoding="ascii")
    assert run("qvcancheck", "-q", "-i", "1", "-l", "100", *parts) == Result(PASS + "\n", "", 0)


def test_a_node_on_a_device_file_is_judged_by_its_records(device, tmp_path):
    assert run("qvcandev", "-d", device, "-p", "-l", 100, "-t", 0).status == 0
    done = run("qvcancheck", "-q", "-i", "1", "-l", "100", device)
    assert done == Result(PASS + "\n", "", 0)
    damaged = bytearray(device.read_bytes())
    damaged[36 * 50 + 20] ^= 1
    check = Check(tmp_path, bytes(damaged))
    assert check.verdict() == ("FAIL: 1 frame lost", 1)
    assert check.summary()["input"]["passedOverBytes"] == 36


def test_a_sender_is_judged_by_what_it_prints(device, tmp_path):
    text = run("qvcandev", "-d", device, "-p", "-l", 100, "-t", 0, "-vv").out
    check = Check(tmp_path, text)
    assert check.verdict("-i", "1", "-l", "100") == (PASS, 0)
    (stream,) = check.summary()["streams"]
    assert (stream["interface"], stream["ownHost"]) == ("ch0", True)


def test_a_reader_is_judged_by_what_it_prints(device, start, tmp_path):
    assert run("qvcandev", "-d", device, "-p", "-l", 100, "-t", 0).status == 0
    reader = start("qvcandev", "-d", device, "-vv")
    reader.until_out(": return: ", 100)
    assert Check(tmp_path, reader.end().out).verdict("-i", "1", "-l", "100") == (PASS, 0)


@pytest.mark.parametrize("recording, verdict, status", [
    (b"(" * 1000000, "INCOMPLETE: 1 line of 1 cannot be read, the first is {path}:1", 4),
    (b"x" * 1000000, "NO PATTERN: 0 frames, none of a pattern", 3),
    (b"(1700000000.000000) can1 001#" + b"0" * 1000000 + b"\n" + clean_log(100).encode(), PASS, 0),
    (bytes(range(256)) * 4000, "NO PATTERN: 0 frames, none of a pattern", 3),
    (b"\xa7\x5e" + bytes(range(256)) * 4000, "NO PATTERN: 0 frames, none of a pattern", 3),
    (b"\0" * 1000000, "NO PATTERN: 0 frames, none of a pattern", 3),
    (b"(1.0) \0\xff\xfe 001#\n" + clean_log(100).encode(), PASS, 0),
    (clean_log(100).encode()[:-20], "FAIL: 1 frame lost", 1),
    (clean_log(100).encode()[:-1], PASS, 0),
    (b"\xef\xbb\xbf" + clean_log(100).encode(), PASS, 0),
    (b"\n \r\n" + clean_log(100).encode(), PASS, 0),
    (b"\xef\xbb\xbf", "NO PATTERN: 0 frames, none of a pattern", 3),
    (b"\n", "NO PATTERN: 0 frames, none of a pattern", 3),
], ids=["endless_broken_line", "endless_line", "endless_frame", "rubbish", "rubbish_behind_a_sync", "zeros", "rubbish_in_a_line", "cut_in_mid_line",
        "cut_before_the_line_end", "byte_order_mark", "blank_lines_first", "byte_order_mark_only", "blank_line_only"])
def test_bad_input_is_counted_and_harms_nothing_else(recording, verdict, status, tmp_path):
    check = Check(tmp_path, recording)
    options = ["-i", "1", "-l", "100"] if status == 1 else []
    assert check.verdict(*options) == (verdict.format(path=check.path), status)
    check.json(*options)


def test_stamps_that_go_back_are_counted_and_change_no_count(tmp_path):
    frames = list(sent(100))
    for frame in frames[50:]:
        frame.time -= 6000000
    check = Check(tmp_path, log_of(frames))
    assert check.verdict() == (PASS, 0)
    assert check.summary()["clockSteps"] == 1


def has_memory_of_its_own():
    """A sanitizer, or a runner, takes memory as well."""
    program = Path(os.fsdecode(command("qvcancheck")[-1])).read_bytes()
    return RUNNER or b"__asan_init" in program or b"__tsan_init" in program


def with_memory(path):
    """(its run with --json, the most memory that it took, in KiB)"""
    words = ["/usr/bin/time", "-f", "%M", *command("qvcancheck", "--json", path)]
    done = subprocess.run(words, capture_output=True, text=True, check=False)
    return done, int(done.stderr.split()[-1])


def test_100000_streams_take_bounded_memory_and_are_told(tmp_path):
    check, one = Check(tmp_path, ""), tmp_path / "one.log"
    one.write_text(log_of(sent(100, extended=True)))
    with check.path.open("w", encoding="ascii") as log:
        for number in range(100000):
            log.write(log_of(sent(3, start=number * 5003 & 0x1FFFFFFF, extended=True, gap=1)))
    done, memory = with_memory(check.path)
    summary = json.loads(done.stdout.splitlines()[-1])
    assert (summary["frames"], len(summary["streams"]), done.returncode) == (300000, 64, summary["status"])
    assert summary["furtherStreams"] > 200000
    assert memory - with_memory(one)[1] < 3000 or has_memory_of_its_own()


def test_losses_that_are_decided_leave_no_memory_behind(tmp_path):
    def memory(lost):
        path = tmp_path / "run.log"
        streams = [[frame for frame in sent(1500, start=0x101 * number, extended=True, gap=2000000) if not lost or frame.k % 2] for number in range(40)]
        path.write_text(log_of(frame for frames in zip(*streams) for frame in frames))
        return with_memory(path)[1]
    assert memory(True) - memory(False) < 600 or has_memory_of_its_own()


def test_a_frame_is_told_as_soon_as_its_line_is_there(start):
    frames = list(sent(100))
    program = start("qvcancheck", "-", stdin=subprocess.PIPE)
    os.write(program.process.stdin.fileno(), log_of(frames[:10] + frames[11:30]).encode())
    program.until_out(" stream: classic 8, standard")
    frames[30].time += 3000000
    os.write(program.process.stdin.fileno(), log_of(frames[30:31]).encode())
    program.until_out(" lost 1: B, in 4.000 ms; before this host\n")
    program.process.stdin.close()
    assert program.result().status == 1
