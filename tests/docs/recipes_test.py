"""The recipes that need no bus run as they are written, and what they write is what its readers take."""

import json
import os
import re
import subprocess
import xml.etree.ElementTree

import pytest

from qv.checklog import clean_log, Frame, log_of, sent
from qv.options import PATIENCE, run
from qv.page import plain, section
from qv.recipes import on_the_bus, path, recipes

HERE = {"The verdict in a script", "JUnit", "Prometheus", "A picture for the report"}
CLEAN = clean_log(300)
LOSSY = log_of(frame for frame in sent(300) if frame.k not in (100, 101, 102))
SILENT = "(1700000000.000000) can1 123#11\n"


@pytest.fixture
def follow(tmp_path):
    """follow(heading) runs the recipe where run.log is, in a shell that ends at the first failure."""
    def run_block(heading):
        return subprocess.run(["sh", "-e", "-c", recipes()[heading]], cwd=tmp_path, env={**os.environ, "PATH": path()}, capture_output=True,
                              text=True, timeout=PATIENCE, check=False)
    return run_block


def judged(folder, name, log):
    """Writes what --json tells of a log to a file of that name, and gives the summary."""
    (folder / "run.log").write_text(log, encoding="ascii")
    run("qvcancheck", "-qq", f"--json={folder / name}", str(folder / "run.log"))
    return json.loads((folder / name).read_text(encoding="utf-8").splitlines()[-1])


def test_every_recipe_is_run_here_or_on_the_bus():
    assert set(recipes()) == HERE | on_the_bus()
    assert all(recipes().values())


@pytest.mark.parametrize("log, said", [
    (CLEAN, ["PASS: 300 frames, none lost, repeated, reordered or corrupted", "all frames came"]),
    (LOSSY, ["FAIL: 3 frames lost", "frames are missing, or wrong"]),
    (SILENT, ["NO PATTERN: 1 frame, none of a pattern", "nobody sent a pattern"]),
    (None, ["INCOMPLETE: run.log: No such file or directory", "this was no whole check"]),
], ids=["pass", "fail", "no_pattern", "incomplete"])
def test_a_script_tells_the_verdicts_apart_by_the_status(follow, tmp_path, log, said):
    if log is not None:
        (tmp_path / "run.log").write_text(log, encoding="ascii")
    done = follow("The verdict in a script")
    assert (done.stdout.splitlines(), done.returncode) == (said, 0)


def test_junit_has_a_case_for_each_run_and_a_fault_for_each_that_did_not_pass(follow, tmp_path):
    judged(tmp_path, "clean.jsonl", CLEAN)
    judged(tmp_path, 'a "<lossy>" & odd name.jsonl', LOSSY)
    judged(tmp_path, "silent.jsonl", SILENT)
    whole = (tmp_path / "clean.jsonl").read_text(encoding="utf-8").splitlines(keepends=True)
    (tmp_path / "killed.jsonl").write_text("".join(whole[:-1]), encoding="utf-8")
    done = follow("JUnit")
    assert (done.stdout, done.stderr, done.returncode) == ("", "", 0)
    suite = xml.etree.ElementTree.parse(tmp_path / "junit.xml").getroot()
    assert (suite.tag, suite.attrib) == ("testsuite", {"name": "qvcancheck", "tests": "4", "failures": "1", "errors": "2"})
    assert {case.get("name"): [(fault.tag, fault.get("message")) for fault in case] for case in suite.iterfind("testcase")} == {
        "clean.jsonl": [],
        'a "<lossy>" & odd name.jsonl': [("failure", "FAIL: 3 frames lost")],
        "silent.jsonl": [("error", "NO PATTERN: 1 frame, none of a pattern")],
        "killed.jsonl": [("error", "CUT OFF: no summary")],
    }
    assert {case.get("name"): float(case.get("time")) for case in suite.iterfind("testcase")}["clean.jsonl"] == 0.598


def test_junit_of_a_run_that_was_cut_in_the_middle_of_a_line_fails(follow, tmp_path):
    judged(tmp_path, "cut.jsonl", CLEAN)
    whole = (tmp_path / "cut.jsonl").read_bytes()
    (tmp_path / "cut.jsonl").write_bytes(whole[:-20])
    assert follow("JUnit").returncode != 0


NAME, LABEL = r"[a-zA-Z_:][a-zA-Z0-9_:]*", r'[a-zA-Z_][a-zA-Z0-9_]*="(?:[^"\\\n]|\\[\\"n])*"'
SAMPLE = re.compile(rf"({NAME})(\{{{LABEL}(?:,{LABEL})*\}})? (-?[0-9.]+(?:e[+-]?[0-9]+)?)")


def samples(text):
    """{name and labels: value}, of text that has what version 0.0.4 of the format demands: each name with its help and type in front, and its samples together."""
    assert text.endswith("\n")
    found, seen = {}, []
    for line in text.splitlines():
        words = line.split(" ", 3)
        if words[:2] == ["#", "HELP"]:
            assert words[2] not in seen and re.fullmatch(NAME, words[2])
            seen.append(words[2])
            kind = None
        elif words[:2] == ["#", "TYPE"]:
            assert words[2:] == [seen[-1], "gauge"]
            kind = words[3]
        else:
            sample = SAMPLE.fullmatch(line)
            assert sample and kind and sample[1] == seen[-1], line
            assert sample[1] + (sample[2] or "") not in found
            found[sample[1] + (sample[2] or "")] = float(sample[3])
    return found


def test_prometheus_gets_the_figures_of_the_summary(follow, tmp_path):
    odd = 'a"b\\c'
    answers = [Frame(k, time=k * 2000, interface=odd).answer(delay=300) for k in range(300) if k not in (100, 101, 102)]
    frames = [*(frame for frame in sent(300, interface=odd) if frame.k not in (100, 101, 102)), *answers]
    summary = judged(tmp_path, "run.jsonl", log_of(sorted(frames, key=lambda frame: frame.time)))
    done = follow("Prometheus")
    assert (done.stdout, done.stderr, done.returncode) == ("", "", 0)
    assert sorted(file.name for file in tmp_path.iterdir()) == ["qvcancheck.prom", "run.jsonl", "run.log"]
    direct, answer = ('{stream="%s",interface="a\\"b\\\\c",role="%s"}' % which for which in (("s1", "direct"), ("s2", "answer")))
    assert summary["streams"][0]["lost"] == 3
    assert samples((tmp_path / "qvcancheck.prom").read_text(encoding="utf-8")) == {
        "qvcancheck_status": 1,
        "qvcancheck_start_seconds": 1700000000,
        **{'qvcancheck_findings{kind="%s"}' % kind: count for kind, count in summary["findings"].items()},
        **{f"qvcancheck_expected_frames{direct}": 300, f"qvcancheck_expected_frames{answer}": 300},
        **{f"qvcancheck_lost_frames{direct}": 3, f"qvcancheck_lost_frames{answer}": summary["streams"][1]["lost"]},
        'qvcancheck_round_trip_p99_seconds{stream="s1"}': summary["pairs"][0]["roundTrip"]["p99"],
    }


def test_prometheus_keeps_the_last_file_where_the_new_one_is_not_whole(follow, tmp_path):
    (tmp_path / "run.jsonl").write_text('{"event":', encoding="utf-8")
    (tmp_path / "qvcancheck.prom").write_text("the last one\n", encoding="utf-8")
    assert follow("Prometheus").returncode != 0
    assert (tmp_path / "qvcancheck.prom").read_text(encoding="utf-8") == "the last one\n"


def test_the_picture_is_drawn_of_a_check_that_passes(follow, tmp_path):
    (tmp_path / "run.log").write_text(CLEAN, encoding="ascii")
    done = follow("A picture for the report")
    assert (done.stderr, done.returncode) == ("", 0)
    assert xml.etree.ElementTree.parse(tmp_path / "run.svg").getroot().tag.endswith("svg")


def test_the_manual_page_has_its_commands_from_here():
    def joined(text):
        return text.replace("\\\n    ", "").strip()

    blocks = [joined(block) for block in recipes().values()]
    lines = [plain(line) for line in section("qvcancheck.1", "IN SCRIPTS")]
    shown = joined("\n".join(line[11:] for line in lines if line.startswith(" " * 11))).splitlines()
    assert len(shown) == 3
    assert [line for line in shown if line not in blocks] == []
