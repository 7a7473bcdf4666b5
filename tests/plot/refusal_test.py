"""What cannot be drawn is named in one line on standard error, and leaves no picture."""

import pytest

from qv.checkjson import finding, interval, stream, start, summary, text, times


def refused(done, status, line):
    return (done.stdout, done.stderr.decode(), done.returncode) == (b"", f"[ERROR] {line}\n", status)


@pytest.mark.parametrize("words, line", [
    ([], "No file is given"),
    (["-o", "run.svg"], "No file is given"),
    (["-x"], "Unknown option '-x'"),
    (["--output"], "Unknown option '--output'"),
    (["--colour=red", "run.jsonl"], "Unknown option '--colour'"),
    (["-o", "run.gif", "run.jsonl"], "-o needs a name that ends in .svg, .png or .pdf, not 'run.gif'"),
    (["-o", "run", "run.jsonl"], "-o needs a name that ends in .svg, .png or .pdf, not 'run'"),
    (["-o", "run.svg", "-", "-"], "Standard input can be one file only"),
    (["-o", "run.svg", *["run.jsonl"] * 9], "A page holds 8 runs, not 9"),
])
def test_a_wrong_command_line_ends_with_2(plot, words, line):
    done = plot(*words)
    assert refused(done, 2, line), done


@pytest.mark.parametrize("given, reason", [
    (b"", "does not begin like the JSON of qvcancheck"),
    (b"(1.0) can0 123#11\n", "line 1 is no JSON"),
    (b"[1, 2]\n", "does not begin like the JSON of qvcancheck"),
    (b'{"event":"summary"}\n', "does not begin like the JSON of qvcancheck"),
    (b'{"event":"sta', "does not begin like the JSON of qvcancheck"),
    (text(start(version=2)).encode(), "is JSON of version 2, and not of version 1"),
    (text(start()).encode() + b"\xff\xfe\n" + text(summary()).encode(), "line 2 is no JSON"),
    (text(start(), start()).encode(), "holds more than one run"),
    (text(start()).encode() + b"[" * 100000 + b"\n", "line 2 is no JSON"),
    (text(start()).encode() + b" " * (1 << 24), "line 2 is too long"),
], ids=lambda value: "" if isinstance(value, bytes) else None)
def test_what_is_no_run_is_refused_with_its_place(plot, told, given, reason):
    done = plot("-o", "run.svg", told(given))
    assert refused(done, 1, f"run.jsonl: {reason}"), done


@pytest.mark.parametrize("changes, reason", [
    ({"duration": "long"}, "ValueError 'long' is no such number"),
    ({"duration": float("nan")}, "ValueError nan is no such number"),
    ({"duration": -1}, "ValueError -1 is no such number"),
    ({"frames": True}, "ValueError True is no such number"),
    ({"streams": [{}]}, "KeyError 'expected'"),
    ({"streams": [stream(series={"slot": 0, "frames": [1], "longestGap": [1]})]}, "ValueError a slot is too short"),
    ({"streams": [stream(gap=times({5: 1}) | {"buckets": []})]}, "ValueError a histogram of nothing"),
    ({"streams": [stream(gap=times({5: 1}) | {"buckets": [[2, 1], [1, 1]]})]}, "ValueError values that do not ascend"),
    ({"verdictLine": None}, "ValueError None is no text"),
], ids=lambda value: "" if isinstance(value, dict) else None)
def test_json_that_is_not_what_qvcancheck_tells_is_refused(plot, told, changes, reason):
    done = plot("-o", "run.svg", told(start(), summary(**changes)))
    assert refused(done, 1, f"run.jsonl: not what qvcancheck tells: {reason}"), done


@pytest.mark.parametrize("first, second", [((1, 1), (1, 2)), ((1, 2), (2, 1))])
def test_intervals_that_take_no_time_or_go_back_are_refused(plot, told, first, second):
    done = plot("-o", "run.svg", told(start(), interval(*first, 5), interval(*second, 5)))
    assert refused(done, 1, "run.jsonl: not what qvcancheck tells: ValueError values that do not ascend"), done


@pytest.mark.parametrize("words, line", [
    (["-o", "run.svg", "none.jsonl"], "none.jsonl: No such file or directory"),
    (["-o", "run.svg", "."], ".: Is a directory"),
    (["-o", "none/run.svg", "run.jsonl"], "none/run.svg: No such file or directory"),
    (["-o", "full.svg", "run.jsonl"], "full.svg: No space left on device"),
])
def test_files_that_cannot_be_read_or_written_are_named(plot, told, tmp_path, words, line):
    told(start(), summary())
    (tmp_path / "full.svg").symlink_to("/dev/full")
    done = plot(*words)
    assert refused(done, 1, line), done


def test_a_refusal_leaves_the_picture_that_was_there(plot, told, tmp_path):
    (tmp_path / "run.svg").write_text("the old one", encoding="utf-8")
    assert plot("-o", "run.svg", told(start(), finding("soon", "lost"))).returncode == 1
    assert (tmp_path / "run.svg").read_text(encoding="utf-8") == "the old one"


def test_without_a_display_a_window_is_refused(plot, told):
    done = plot(told(start(), summary()))
    assert refused(done, 1, "There is no display for a window: -o writes a file"), done


def test_without_matplotlib_its_package_is_named(plot, told, tmp_path):
    (tmp_path / "matplotlib.py").write_text("raise ImportError('No module')", encoding="utf-8")
    done = plot("-o", "run.svg", told(start(), summary()), PYTHONPATH=str(tmp_path))
    assert refused(done, 1, "matplotlib is needed, on Debian the package python3-matplotlib: No module"), done
