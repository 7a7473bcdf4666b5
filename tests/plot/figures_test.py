"""What a page shows is what the JSON says."""

import io

import pytest

from qv.checkjson import event, finding, findings_series, interval, pair, start, stream, summary, text, times
from qvplot import slots, spreads
from qvplot.figures import figures_of, Mark
from qvplot.run import parse

KINDS = ("lost", "overrun", "repeated", "reordered", "corrupted", "injected")


def figures(*lines, ending=b""):
    return figures_of(parse("run.jsonl", io.BytesIO(text(*lines).encode() + ending)))


def of_summary(**changes):
    return figures(start(), summary(**changes))


def of_stream(**changes):
    return of_summary(streams=[stream(**changes)])


def total(steps):
    return sum(value * (end - begin) for value, begin, end in zip(steps.values, steps.edges, steps.edges[1:]))


def test_the_heading_says_verdict_counts_command_host_and_date():
    shown = of_stream(injected={"period": 10, "told": True, "found": 1, "missing": 0, "lost": 0, "damagedOtherwise": 0})
    assert shown.heading == "FAIL: 2 frames lost, 1 frame repeated, 1 frame reordered, 1 frame corrupted"
    assert shown.counts == [
        "29 frames in 0.300 s, 29 of a pattern, 0 of others; ended: end of input",
        "s1 on can0: 30 expected, 27 intact, 1 corrupted (1 as told), 2 lost, 1 repeated, 1 reordered, 0 late",
    ]
    assert shown.command == "qvcancheck --json=run.jsonl run.log"
    assert shown.origin == "bench-2, 2026-11-21 16:16:40.179105 UTC, qvcancheck 0.1.0, run.jsonl"


def test_a_run_without_a_date_and_a_host_says_so():
    shown = figures(start(start=None, host=None, command=["qvcancheck", "two words.log"]), summary())
    assert (shown.command, shown.origin) == ("qvcancheck 'two words.log'", "unknown host, no date, qvcancheck 0.1.0, run.jsonl")


def test_the_counts_of_four_streams_are_in_words_and_further_ones_are_counted():
    shown = of_summary(streams=[stream(f"s{n}") for n in range(1, 8)])
    assert [line.split(" on ")[0] for line in shown.counts[1:]] == ["s1", "s2", "s3", "s4", "and 3 more streams"]


def test_signs_that_cannot_be_printed_are_replaced():
    assert figures(start(command=["a\nb\x1b"]), summary()).command == "'a?b?'"


def test_frames_a_second_are_those_of_the_series():
    (line,) = of_stream().rates
    assert (line.label, line.values) == ("s1 on can0", pytest.approx([100, 80, 110]))
    assert line.edges == pytest.approx([0, 0.1, 0.2, 0.3])


@pytest.mark.parametrize("duration, edges, values", [
    (0.22, [0, 0.1, 0.22], [100, 19 / 0.12]),         # a last slot that has only just begun goes with the one before it
    (0.27, [0, 0.1, 0.2, 0.27], [100, 80, 11 / 0.07]),
    (1.0, [0, 0.1, 0.2, 0.3, 1], [100, 80, 110, 0]),  # the stream ended before the run did
])
def test_the_last_slot_is_as_long_as_the_run_left_it(duration, edges, values):
    (line,) = of_summary(duration=duration).rates
    assert (line.edges, line.values) == (pytest.approx(edges), pytest.approx(values))


@pytest.mark.parametrize("slots", [1, 99, 100, 101, 350, 600])
def test_many_slots_are_drawn_as_fewer_and_no_frame_is_lost(slots):
    frames = [n % 7 for n in range(slots)]
    series = {"slot": 0.2, "frames": frames, "longestGap": [n / 1000 for n in range(slots)]}
    shown = of_summary(duration=slots * 0.2, streams=[stream(series=series)], series=findings_series(0.2, lost=frames))
    assert total(shown.rates[0]) == pytest.approx(sum(frames))
    assert max(shown.longest_gaps[0].values) == (slots - 1) / 1000
    assert sum(shown.findings["lost"].values) == sum(frames)
    for steps in (shown.rates[0], shown.longest_gaps[0], shown.findings["lost"]):
        assert len(steps.edges) == len(steps.values) + 1 <= 102
        assert (steps.edges[0], steps.edges[-1]) == (0, pytest.approx(slots * 0.2))


def test_a_stream_that_ended_early_has_no_frames_behind_its_last_slot():
    series = {"slot": 0.1, "frames": [10] * 250, "longestGap": [0.01] * 250}
    (line,) = of_summary(duration=30, streams=[stream(series=series)]).rates
    assert (line.edges[-2:], line.values[-2:]) == (pytest.approx([25, 30]), pytest.approx([100, 0]))


def test_the_longest_gap_is_that_of_the_series():
    (line,) = of_stream().longest_gaps
    assert (line.label, line.values) == ("s1 on can0", [0.011, 0.03, 0.012])


def test_findings_are_those_of_the_series():
    columns = {kind: [n, 0, 1] for n, kind in enumerate(KINDS)}
    shown = of_summary(series=findings_series(**columns))
    assert {kind: steps.values for kind, steps in shown.findings.items()} == columns
    assert all(steps.edges == pytest.approx([0, 0.1, 0.2, 0.3]) for steps in shown.findings.values())


@pytest.mark.parametrize("nothing", [None, findings_series()])
def test_a_run_without_any_finding_has_slots_of_none(nothing):
    shown = of_summary(series=nothing)
    assert {kind: sum(steps.values) for kind, steps in shown.findings.items()} == dict.fromkeys(KINDS, 0)


def test_streams_are_called_by_name_interface_and_role():
    shown = of_summary(streams=[stream("s1"), stream("s2", role="answer"), stream("s3", interface="can1", role="remote")])
    assert [line.label for line in shown.rates] == ["s1 on can0", "s2 on can0, answers", "s3 on can1, remote"]


def test_gaps_have_the_buckets_and_figures_of_the_histogram():
    gap = times({1999999: 5, 2000000: 90, 2300000: 4, 9000000: 1})
    (spread,) = of_stream(gap=gap).gaps
    assert [(end, count) for _, end, count in spread.buckets] == list(map(tuple, gap["buckets"]))
    assert (spread.p50, spread.p99, spread.longest) == (gap["p50"], gap["p99"], 0.009)


@pytest.mark.parametrize("ns", [132, 255, 256, 1000000, 2000000, 2**40 - 1])
def test_a_bucket_begins_where_the_one_before_it_ends(ns):
    end = times({ns: 1})["buckets"][0][0]
    begin = round(spreads.bucket_begin(end) * 1e9)
    before = times({begin - 1: 1})["buckets"][0][0]
    assert begin <= ns <= round(end * 1e9)
    assert begin == round(before * 1e9) + 1


def test_an_outline_goes_down_between_buckets_that_do_not_touch():
    (spread,) = of_stream(gap=times({1000: 3, 1010: 2, 5000: 1})).gaps
    edges, counts = spreads.outline(spread)
    assert counts == [3, 2, 0, 1]
    assert [round(edge * 1e9) for edge in edges] == [992, 1007, 1023, 4992, 5119]


def test_streams_without_gaps_have_no_histogram():
    assert of_stream(gap=None).gaps == []


@pytest.mark.parametrize("pace, gap", [
    (None, None),
    ({"gap": 0.002, "jitter": 0}, (0.002, 0.002)),
    ({"gap": 0.002, "jitter": 0.0005}, (0.0015, 0.0025)),
    ({"gap": 0.002, "jitter": 0.003}, (0, 0.005)),
])
def test_the_told_gap_is_that_of_the_start(pace, gap):
    assert figures(start(pace=pace), summary()).told_gap == (gap and pytest.approx(gap))


def test_round_trips_are_those_of_the_pairs_that_have_any():
    shown = of_summary(pairs=[pair({90000: 9, 1000000: 1}), pair(None, direct="s3", answers="s4")])
    assert [(spread.label, spread.longest) for spread in shown.round_trips] == [("s1, answered as s2", 0.001)]
    low, high = spreads.shares(shown.round_trips[0])
    assert (low[:2], high) == ((0, 0.9), (0.9, 1.0, 0.001))
    assert low[2] == shown.round_trips[0].p50


def test_what_happened_is_marked_and_what_lasts_has_an_end():
    shown = figures(start(), event(1.5, "link down"), event(2, "link down", "can1"), event(3, "link up"), event(4, "interface deleted"),
                    event(5, "error frame", text="bus-off; bus error"), event(6, "error frame", text="controller: receive passive"),
                    event(7, "error frame", text="restarted"), finding(8, "restart"), finding(9, "jump"), finding(9, "lost", causes={}),
                    summary(duration=10))
    assert shown.marks == [
        Mark("link down", 1.5, 3), Mark("link down", 2, 10), Mark("interface deleted", 4, 10), Mark("bus-off", 5), Mark("error frame", 6),
        Mark("restarted", 7), Mark("restart", 8), Mark("jump", 9),
    ]


def test_a_run_without_a_summary_says_so_and_shows_what_it_told():
    gap = {"count": 9, "p99": 0.01, "max": 0.02}
    shown = figures(start(), interval(0, 5, 500, gap=gap), finding(5.2, "lost", 3, causes={"before this host": 1, "this host, queue": 1, "input": 1}),
                    finding(5.2, "repeated"), finding(5.3, "corrupted"), finding(5.25, "restart"), interval(5, 6, 50))
    assert shown.heading == "CUT OFF: there is no summary, and so the picture ends with what was told"
    assert (shown.whole, shown.duration, shown.counts) == (False, 6, [])
    assert [(line.label, line.edges, line.values) for line in shown.rates] == [("s1 on can0", [0, 5, 6], [100, 50])]
    assert [line.values for line in shown.longest_gaps] == [[0.02, 0]]
    assert {kind: sum(steps.values) for kind, steps in shown.findings.items()} == {
        "lost": 1, "overrun": 2, "repeated": 1, "reordered": 0, "corrupted": 1, "injected": 0}
    assert shown.findings["lost"].values[52] == 1
    assert (shown.gaps, shown.round_trips) == ([], [])
    assert shown.marks == [Mark("restart", 5.25)]


@pytest.mark.parametrize("ending", [b'{"event":"summ', b'{"event":"summary"}', b"\xc3"])
def test_a_line_that_was_not_finished_is_no_part_of_the_run(ending):
    shown = figures(start(), finding(1, "repeated"), ending=ending)
    assert (shown.whole, sum(shown.findings["repeated"].values)) == (False, 1)


def test_the_slots_of_a_run_that_was_cut_off_are_bounded_however_long_it_was():
    run = parse("run.jsonl", io.BytesIO(text(start(), finding(1e9, "repeated")).encode()))
    assert len(slots.counted(run)["repeated"]) <= 600


@pytest.mark.parametrize("last", [0, 0.05, 59.99, 60, 1e6])
def test_the_findings_of_a_run_that_was_cut_off_are_all_in_its_slots(last):
    shown = figures(start(), finding(0, "lost", 2, causes={"before this host": 2}), finding(last, "lost", 5, causes={"before this host": 5}))
    assert sum(shown.findings["lost"].values) == 7
    assert len(shown.findings["lost"].values) <= 101
