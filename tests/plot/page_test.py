"""The pictures: what they are written as, and what can be read on them."""

import io
import random
import xml.etree.ElementTree

import matplotlib.image
import matplotlib.text
import pytest

from qv.checkjson import event, findings_series, pair, start, stream, summary, text, times
from qvplot import page
from qvplot.figures import figures_of
from qvplot.run import BadRun, parse

GAPS = "gaps between neighbouring frames (● p50  ▲ p99  ■ max)"


def figures(lines):
    return figures_of(parse("run.jsonl", io.BytesIO(text(*lines).encode())))


def drawn(*runs):
    page.settle(window=False)
    return page.draw([figures(lines) for lines in runs])


def words(artist):
    return {found.get_text() for found in artist.findobj(matplotlib.text.Text) if found.get_text()}


def panels(figure):
    found = {}
    for axes in figure.axes:
        found.setdefault(axes.get_title(loc="left"), []).append(axes)
    found.pop("")
    return found


@pytest.mark.parametrize("name, head", [("run.svg", b"<?xml"), ("run.png", b"\x89PNG"), ("run.PDF", b"%PDF")])
def test_the_name_decides_what_is_written_and_no_display_is_needed(plot, told, tmp_path, name, head):
    done = plot("-o", name, told(start(), summary()))
    assert (done.stdout, done.stderr, done.returncode) == (b"", b"", 0)
    assert (tmp_path / name).read_bytes().startswith(head)


def test_an_svg_is_sound_xml_whatever_the_run_was_called(plot, told, tmp_path):
    assert plot("-o", "run.svg", told(start(command=["<&$x^$\ud800\u4e2d"], host="$\\frac$"), summary())).stderr == b""
    assert xml.etree.ElementTree.parse(tmp_path / "run.svg").getroot().tag.endswith("svg")


def test_a_run_may_come_from_standard_input(plot, tmp_path):
    assert plot("-o", "run.png", "-", given=text(start(), summary()).encode()).returncode == 0
    assert (tmp_path / "run.png").exists()


@pytest.mark.parametrize("name", ["run.svg", "run.png", "run.pdf"])
def test_the_same_run_gives_the_same_bytes_whatever_the_users_settings_are(plot, told, tmp_path, name):
    run = told(start(), summary())
    plot("-o", name, run)
    first = (tmp_path / name).read_bytes()
    (tmp_path / "matplotlibrc").write_text("axes.facecolor: black\nfont.size: 20\nsavefig.transparent: True\n", encoding="utf-8")
    plot("-o", name, run, TZ="Asia/Tokyo")
    assert (tmp_path / name).read_bytes() == first


def test_where_nothing_may_be_kept_at_home_the_picture_comes_without_a_word(plot, told):
    done = plot("-o", "run.png", told(start(), summary()), HOME="/dev/null")
    assert (done.stderr, done.returncode) == (b"", 0)


def test_the_page_is_opaque_and_white_to_its_edges(plot, told, tmp_path):
    plot("-o", "run.png", told(start(), summary()))
    pixels = matplotlib.image.imread(tmp_path / "run.png")
    assert pixels.shape[2] == 3 or pixels[:, :, 3].min() == 1
    assert pixels[0, 0, :3].min() == pixels[-1, -1, :3].min() == 1


def test_a_page_has_a_heading_and_four_panels():
    figure = drawn([start(), summary()])
    assert list(panels(figure)) == ["frames a second", "findings", GAPS, "longest gap"]
    assert {"qvcancheck --json=run.jsonl run.log", "FAIL: 2 frames lost, 1 frame repeated, 1 frame reordered, 1 frame corrupted"} <= words(figure)


def test_round_trips_take_the_place_of_the_longest_gaps():
    figure = drawn([start(), summary(pairs=[pair({90000: 99, 2000000: 1}, unanswered=1217)])])
    assert "longest gap" not in panels(figure)
    (axes,) = panels(figure)["round trip"]
    assert {"50 %", "90 %", "99 %", "99.9 %", "99.99 %", "s1, answered as s2, 1,217 unanswered: p50 90.11 µs, p99 90.11 µs, max 2 ms"} <= words(axes)


def test_legends_have_the_counts_of_the_findings_and_the_figures_of_the_gaps():
    series = findings_series(lost=[2, 0, 1], overrun=[1700, 0, 0], injected=[4, 4, 4])
    figure = drawn([start(pace={"gap": 0.002, "jitter": 0.0005}), event(0.1, "link down"), event(0.2, "link up"),
                    summary(series=series, streams=[stream(gap=times({2000000: 98, 9000000: 2}))])])
    found = {title: words(axes) for title, (axes,) in panels(figure).items()}
    assert {"lost before this host (3)", "lost by this host or the logger (1,700)", "corrupted as told (12)",
            "frames in 100 ms, square-root scale"} <= found["findings"]
    assert not any("repeated" in word for word in found["findings"])
    assert {"told: 1.5 ms to 2.5 ms", "s1 on can0: 2.032 ms, 9 ms, 9 ms"} <= found[GAPS]
    assert {"s1 on can0", "link down (1)"} <= found["frames a second"]


def test_panels_without_content_say_why():
    assert {"no stream", "nothing found", "no gaps"} <= words(drawn([start(), summary(streams=[], series=findings_series())]))
    assert {"not told: no summary", "not told: neither a summary nor intervals (-I)", "nothing told"} <= words(drawn([start()]))


def test_of_many_streams_the_first_are_named_and_the_others_counted():
    figure = drawn([start(), summary(streams=[stream(f"s{n}") for n in range(1, 65)])])
    (axes,) = panels(figure)["frames a second"]
    assert {"s6 on can0", "and 58 more"} <= words(axes)
    assert "s7 on can0" not in words(axes)


def test_runs_side_by_side_have_the_same_scales_where_they_are_compared():
    faster = stream(series={"slot": 0.1, "frames": [900, 900, 900], "longestGap": [0.5, 0.001, 0.002]}, gap=times({100000: 5}))
    figure = drawn([start(), summary()], [start(), summary(streams=[faster])], [start()])
    found = panels(figure)
    assert [len(axes) for axes in found.values()] == [3, 3, 3, 3]
    first, second, _ = found["frames a second"]
    assert first.get_ylim() == second.get_ylim() and first.get_ylim()[1] > 9000
    first, second, _ = found[GAPS]
    assert first.get_xlim() == second.get_xlim() and first.get_xlim()[0] < 1e-4 and first.get_xlim()[1] > 0.01
    first, second, _ = found["longest gap"]
    assert first.get_ylim() == second.get_ylim() and first.get_ylim()[0] < 0.002 and first.get_ylim()[1] > 0.5


@pytest.mark.parametrize("duration, unit", [(0, "s"), (599, "s"), (601, "min"), (7300, "h"), (300000, "days")])
def test_time_is_told_in_the_unit_that_fits(duration, unit):
    assert f"since the first frame ({unit})" in words(drawn([start(), summary(duration=duration)]))


def spoiled(value, dice):
    """A copy with one thing changed somewhere."""
    if isinstance(value, (dict, list)) and value:
        key = dice.choice(list(value)) if isinstance(value, dict) else dice.randrange(len(value))
        copy = value.copy()
        if dice.random() < 0.1:
            del copy[key]
        else:
            copy[key] = spoiled(value[key], dice)
        return copy
    return dice.choice([None, True, -1, 0, 1, 1e300, 10**30, "", "x", [], {}, [[]], 0.5, 1e-9, 2**63])


@pytest.mark.parametrize("seed", range(8))
def test_json_that_was_tampered_with_is_drawn_or_refused(seed):
    dice = random.Random(seed)
    shown = None
    while shown is None or dice.random() < 0.9:
        run = [start(pace={"gap": 0.002, "jitter": 0.0005}), event(0.1, "link down"), summary(pairs=[pair({90000: 9, 1000000: 1})])]
        for _ in range(dice.randint(1, 4)):
            run = spoiled(run, dice) or run
        try:
            shown = figures(run)
        except (BadRun, KeyError, TypeError, ValueError, AttributeError):
            continue
    page.settle(window=False)
    page.draw([shown]).draw_without_rendering()
