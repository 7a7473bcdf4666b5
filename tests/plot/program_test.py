"""What qvcancheck itself tells is drawn, number for number."""

import json
import os
from pathlib import Path
import re
import subprocess

import pytest

from qvplot import page
from qvplot.figures import figures_of
from qvplot.run import read


def frame(k):
    """Frame k of a sender that starts at 1, in candump's notation."""
    return f"{(1 + k) % 2048 or 1:03X}#{1 + k:08X}{bytes((i + k) % 256 for i in range(4)).hex().upper()}"


def answered(text):
    """What a node answers to it."""
    identifier, data = text.split("#")
    return f"{0x7FF ^ int(identifier, 16):03X}#{bytes(0xFF ^ byte for byte in bytes.fromhex(data)).hex().upper()}"


def log(numbers):
    """Frames 2 ms apart, in the time of a log of candump."""
    return "".join(f"({1700000000 + 0.002 * i:.6f}) can0 {frame(k)}\n" for i, k in enumerate(numbers))


@pytest.fixture
def told(tmp_path):
    """told(option..., log) runs qvcancheck over a log, and gives the path of its JSON."""
    def run(*options, text):
        words = [Path(os.environ["QV_BIN"], "qvcancheck").resolve(), *options, "-q", "--json=run.jsonl", "-"]
        subprocess.run(words, input=text.encode(), cwd=tmp_path, capture_output=True, timeout=60, check=False)
        return tmp_path / "run.jsonl"
    return run


def last(path):
    return json.loads(path.read_text(encoding="utf-8").splitlines()[-1])


def test_a_run_of_the_program_is_drawn_as_it_was_told(told, plot):
    path = told(text=log([*range(500), *range(503, 1000), 999]))
    shown, summary = figures_of(read(str(path))), last(path)
    assert shown.heading == "FAIL: 3 frames lost, 1 frame repeated" == summary["verdictLine"]
    assert {kind: sum(steps.values) for kind, steps in shown.findings.items() if any(steps.values)} == {"lost": 3, "repeated": 1}
    (rates,) = shown.rates
    assert rates.label == "s1 on can0"
    assert sum(n * (end - begin) for n, begin, end in zip(rates.values, rates.edges, rates.edges[1:])) == pytest.approx(998)
    (gap,) = shown.gaps
    assert sum(count for _, _, count in gap.buckets) == 995
    assert gap.p50 == pytest.approx(0.002, rel=0.04)
    done = plot("-o", "run.svg", str(path))
    assert (done.stderr, done.returncode) == (b"", 0)


def test_a_run_without_a_pattern_is_drawn(told, plot):
    path = told(text="(1.000000) can0 123#11\n")
    assert figures_of(read(str(path))).heading == last(path)["verdictLine"]
    assert plot("-o", "run.svg", str(path)).returncode == 0


def test_a_run_over_nothing_is_drawn(told, plot):
    assert plot("-o", "run.svg", str(told(text=""))).returncode == 0


def test_the_gap_that_was_demanded_is_the_one_that_is_shaded(told):
    assert figures_of(read(str(told("-t", "2m", "-j", "100", text=log(range(300)))))).told_gap == pytest.approx((0.0019, 0.0021))
    assert figures_of(read(str(told(text=log(range(300)))))).told_gap is None


def test_a_file_that_was_cut_anywhere_is_drawn_as_far_as_it_goes(told, plot, tmp_path):
    whole = told(text=log([*range(500), *range(503, 1000)])).read_bytes()
    for end in (whole.index(b"\n") + 1, len(whole) // 2, len(whole) - 1):
        (tmp_path / "cut.jsonl").write_bytes(whole[:end])
        assert figures_of(read(str(tmp_path / "cut.jsonl"))).heading.startswith("CUT OFF: ")
        assert plot("-o", "run.png", "cut.jsonl").returncode == 0


FIGURE = re.compile(r"(?<![\w.,:#])(\d[\d,]*(?:\.\d+)?)(?: (ns|µs|ms|s)\b)?(?![\w:-])")
SECONDS = {"ns": 1e-9, "µs": 1e-6, "ms": 1e-3, "s": 1}


def values(told):
    """Every number in JSON."""
    if isinstance(told, (dict, list)):
        return {value for part in (told.values() if isinstance(told, dict) else told) for value in values(part)}
    return {told} if isinstance(told, (int, float)) else set()


def shown_figures(figure):
    """{(number, unit)} in the heading, the notes, the labels of the axes and the legends."""
    texts = [text for axes in figure.axes for text in (*axes.texts, axes.xaxis.label, axes.yaxis.label)]
    texts += [text for axes in figure.axes if axes.get_legend() for text in axes.get_legend().get_texts()]
    return {found.groups() for text in texts for found in FIGURE.finditer(text.get_text())}


def test_every_figure_on_the_page_is_in_the_json(told, monkeypatch):
    """A total is that of the slots, and the gap that was demanded has its jitter on both sides."""
    times = {k: 0.002 * k for k in range(1200)}
    asked = [(time, f"can0 {frame(k)}") for k, time in times.items() if k not in (100, 101, 102, 700)]
    answers = [(time + 0.0002 + k * 1e-7, f"can1 {answered(frame(k))}") for k, time in times.items() if k not in (100, 101, 102, 300, 700)]
    again = [(times[900] + 0.0011, f"can0 {frame(900)}")]
    log = "".join(f"({1700000000 + time:.6f}) {text}\n" for time, text in sorted(asked + answers + again))
    path = told("-a", "-t", "2m", "-j", "50", text=log)
    lines = [json.loads(line) for line in path.read_text(encoding="utf-8").splitlines()]
    summary, pace = lines[-1], lines[0]["pace"]
    page.settle(window=False)
    monkeypatch.chdir(path.parent)  # the name of the file is on the page
    shown = shown_figures(page.draw([figures_of(read(path.name))]))
    assert {("1,195", None), ("4", None), ("1", None)} <= shown and len(shown) > 20
    totals = {sum(column) for column in summary["series"].values() if isinstance(column, list)}
    known = values(summary) | totals | {pace["gap"] - pace["jitter"], pace["gap"] + pace["jitter"]}
    in_texts = {found for line in (lines[0], summary) for text in map(str, line.values()) for found in FIGURE.findall(text.replace("T", " "))}
    unknown = [(number, unit) for number, unit in shown if (number, unit or "") not in in_texts
               and not any(abs(float(number.replace(",", "")) * SECONDS.get(unit, 1) - value) <= 5e-4 * value for value in known)]
    assert unknown == []
