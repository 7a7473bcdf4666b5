"""The table of exit statuses, row by row."""

import pytest

from qv.check import Check
from qv.checklog import clean_log, log_of, sent
from qv.program import Result, RUNNER, run, run_command

LOST = "".join(log_of([frame]) for frame in sent(100) if frame.k != 50)
DROP_LINE = "DROPCOUNT: dropped 1 CAN frames on 'can1' socket (total drops 1)\n"
DROPPED = LOST.replace("(1700000000.102000)", DROP_LINE + "(1700000000.102000)")
BROKEN = clean_log(100) + "(1700000000.3) can1 broken\n" * 2
OTHERS = "(1700000000.000000) can1 123#AABBCCDD\n" * 3


def crowd(streams):
    frames = [frame for number in range(streams) for frame in sent(10, start=7 * number)]
    return log_of(sorted(frames, key=lambda frame: frame.time))


@pytest.mark.parametrize("recording, options, verdict, status", [
    (clean_log(100), [], "PASS: 100 frames, none lost, repeated, reordered or corrupted", 0),
    (LOST, ["--allow=lost"], "PASS: 99 frames; allowed: 1 lost", 0),
    (LOST, [], "FAIL: 1 frame lost", 1),
    (OTHERS, [], "NO PATTERN: 3 frames, none of a pattern", 3),
    ("", [], "NO PATTERN: 0 frames, none of a pattern", 3),
    ("no frame at all\n", [], "NO PATTERN: 0 frames, none of a pattern", 3),
    (DROPPED, [], "INCOMPLETE: 1 frame dropped by the logger, nothing else wrong", 4),
    (DROPPED, ["--allow=overrun"], "PASS: 99 frames; allowed: 1 dropped by the logger", 0),
    (clean_log(100) + DROP_LINE, [], "INCOMPLETE: 1 frame dropped by the logger, nothing else wrong", 4),
    (BROKEN, [], "INCOMPLETE: 2 lines of 102 cannot be read, the first is {path}:101", 4),
    (crowd(64), [], "PASS: 640 frames, none lost, repeated, reordered or corrupted", 0),
    (crowd(65), [], "INCOMPLETE: no room for further streams, 10 frames not judged", 4),
    (LOST + "(1.0) x\n" * 9, [], "FAIL: 1 frame lost; and 9 lines of 108 cannot be read, the first is {path}:100", 1),
    (DROPPED.replace("#00000021", "#00000121"), [], "FAIL: 1 frame corrupted; and 1 frame dropped by the logger", 1),
    (OTHERS + "(1.0) x\n", [], "INCOMPLETE: 1 line of 4 cannot be read, the first is {path}:4", 4),
    (OTHERS, ["-i", "1"], "FAIL: 1 stream absent", 1),
    ("", ["-i", "1"], "FAIL: 1 stream absent", 1),
    (OTHERS, ["--allow=foreign=2"], "FAIL: 3 foreign frames", 1),
], ids=["pass", "allowed", "fail", "no_pattern", "empty", "text", "dropped", "dropped_allowed", "dropped_at_the_end", "broken", "64_streams", "65_streams", "fail_beats_broken",
        "fail_beats_dropped", "broken_beats_no_pattern", "absent_beats_no_pattern", "absent_from_nothing", "foreign_not_allowed"])
def test_the_status_is_that_of_the_verdict(recording, options, verdict, status, tmp_path):
    check = Check(tmp_path, recording)
    assert check.verdict(*options) == (verdict.format(path=check.path), status)
    assert check.summary(*options)["verdictLine"] == verdict.format(path=check.path)


@pytest.mark.parametrize("frame, foreign", [
    ("7F0#AABBCCDDEEFF0011", 1), ("7F0#", 1), ("7F0#AABBCC", 1), ("7F0#AABBCCDD", 1), ("7F0#000007F0", 1), ("7F0#R", 1), ("00123#00:00:00000000#11", 1),
    ("20000004#0001000000000000", 0), ("065#0000006564656667", 0),
], ids=["data", "empty", "3_bytes", "4_bytes", "counter_alone", "remote", "xl", "error_frame", "pattern"])
def test_a_frame_of_no_pattern_is_foreign_whatever_it_is(frame, foreign, tmp_path):
    check = Check(tmp_path, clean_log(100) + f"(1700000000.200000) can1 {frame}\n")
    assert check.verdict()[1] == 0
    assert check.verdict("--allow=foreign=1")[1] == 0
    assert check.verdict("--allow=foreign=0")[1] == foreign
    assert check.summary()["findings"].get("foreign", 0) == foreign


@pytest.mark.parametrize("names, reason", [
    (["nothing.log"], "nothing.log: No such file or directory"),
    (["."], ".: Is a directory"),
    (["run.log", "nothing.log", "."], "nothing.log: No such file or directory"),
], ids=str)
def test_an_input_that_cannot_be_read_makes_the_check_incomplete(names, reason, tmp_path):
    (tmp_path / "run.log").write_text(clean_log(100), encoding="ascii")
    assert run("qvcancheck", "-q", *names, cwd=tmp_path) == Result(f"INCOMPLETE: {reason}\n", "", 4)


def test_an_input_that_nobody_may_read_makes_the_check_incomplete(unprivileged):
    folder, settings = unprivileged
    (folder / "run.log").touch(mode=0)
    done = run_command([*RUNNER, folder / "qvcancheck", "-q", folder / "run.log"], **settings)
    assert done == Result(f"INCOMPLETE: {folder}/run.log: Permission denied\n", "", 4)


def test_findings_beat_an_input_that_cannot_be_read(tmp_path):
    check = Check(tmp_path, LOST)
    assert check.run("-q", "nothing.log") == Result("FAIL: 1 frame lost; and nothing.log: No such file or directory\n", "", 1)
    assert "\ninput       nothing.log: No such file or directory\n" in check.run("nothing.log").out


@pytest.mark.parametrize("recording, status", [(clean_log(100), 4), (LOST, 1), (OTHERS, 4)], ids=["pass", "fail", "no_pattern"])
def test_a_report_that_cannot_be_written_passes_no_check(recording, status, tmp_path):
    path = Check(tmp_path, recording).path
    with open("/dev/full", "wb") as full:
        assert run("qvcancheck", path, stdout=full) == Result("", "[ERROR] Cannot write to standard output\n", status)
    done = run("qvcancheck", "-q", "--json=/dev/full", path)
    assert (done.err, done.status) == ("[ERROR] Cannot write to /dev/full\n", status)


def test_a_file_for_json_that_cannot_be_made_ends_it_before_anything_is_read(tmp_path):
    done = run("qvcancheck", f"--json={tmp_path}/no/file", tmp_path / "nothing.log")
    assert done == Result("", f"[ERROR] {tmp_path}/no/file: No such file or directory\n", 4)
