"""qvcancheck --dump: a log of the frames around each finding, which shows the same findings when it is judged."""

import copy

import pytest

from qv.check import Check
from qv.checklog import Frame, log_of, sent
from qv.program import run

N = 20000
DROPS = "DROPCOUNT: dropped 31 CAN frames on 'can1' socket (total drops 31)\n"


def without(frames, *ranges):
    return [frame for frame in frames if not any(low <= frame.k < high for low, high in ranges)]


def spaced(frames):
    frames = [copy.copy(frame) for frame in frames]
    for place, frame in enumerate(frames):
        frame.time = 2000 * place
    return frames


def inverted(frames, **places):
    frames = list(frames)
    for name, k in places.items():
        frames[k].invert(int(name.removeprefix("byte_")))
    return frames


def merged(*streams):
    return sorted((frame for stream in streams for frame in stream), key=lambda frame: frame.time)


def moved(frames, by):
    frames = list(frames)
    for frame in frames:
        frame.time += by
    return frames


def out_of_order():
    k = list(sent(N))
    return spaced(k[:5000] + k[5001:5004] + k[5000:5001] + k[5004:9001] + k[9000:9001] + k[9001:12000] + k[12001:12400] + k[12000:12001] + k[12400:])


def answered():
    answers = [Frame(k, time=k * 2000, interface="can1").answer() for k in range(N) if not 7000 <= k < 7100]
    return merged(sent(N, interface="can0"), answers)


RUNS = {
    "lost": (log_of(without(sent(N), (3000, 3031), (9000, 9001), (15000, 15500))), ["-i", "1", "-l", N]),
    "corrupted": (log_of(inverted(sent(N), byte_5=4000, byte_0=8000, byte_3=12000)), []),
    "out_of_order": (log_of(out_of_order()), []),
    "injected": (log_of(without(sent(N, period=10), (7000, 7003), (9000, 9012))), ["-e", "10", "-i", "1"]),
    "several_streams": (log_of(merged(without(sent(N, start=0x100), (5000, 5010)),
                                      moved(without(sent(N, start=0x211), (5005, 5006), (12000, 12900)), 700))), []),
    "restart": (log_of(list(sent(5000)) + moved(sent(5000), 10000000)), []),
    "slow": (log_of(without(sent(N, gap=1000000), (8000, 8002), (16000, 16020))), ["-i", "1", "-l", N, "--max-gap=10"]),
    "dropped": (log_of(list(sent(N))[:6000]) + DROPS + log_of(list(sent(N))[6031:]), []),
    "dropped_behind": (log_of(sent(N)) + DROPS, []),
    "answers": (log_of(answered()), []),
    "late": (log_of(merged(without(sent(N), (10000, 10001)), moved(list(sent(N))[10000:10001], 1201000))), []),
    "absent": (log_of(sent(100)), ["-i", "1", "-i", "5"]),
    "nothing": (log_of(sent(100)), []),
}


def told(check, *options):
    """Its findings with their times, in no order, and its status."""
    done = check.run(*options)
    assert done.err == ""
    return sorted(done.out.split("\n\n")[0].splitlines()[1:]), done.status


@pytest.mark.parametrize("name", RUNS)
def test_a_dump_shows_the_findings_of_its_run(name, tmp_path):
    log, options = RUNS[name]
    dump = tmp_path / "dump"
    original = told(Check(tmp_path, log), f"--dump={dump}", *options)
    (tmp_path / "again").mkdir()
    again = Check(tmp_path / "again", dump.read_bytes())
    assert told(again, *options) == original
    assert again.summary(*options)["clockSteps"] == 0
    lines = dump.read_text(encoding="ascii").splitlines()
    assert len(lines) < 3500, "the rest is left out"
    frames = [line for line in lines if line.startswith("(")]
    assert set(frames) <= set(log.splitlines())


def test_a_dump_shows_the_first_hundred_findings(tmp_path):
    dump = tmp_path / "dump"
    check = Check(tmp_path, log_of(frame for frame in sent(30000) if frame.k % 200 != 100))
    original, status = told(check, f"--dump={dump}")
    check.path = dump
    assert told(check) == (original[:101], status)
    assert dump.read_text(encoding="ascii").splitlines()[-1] == "# and 50 more findings"


def test_a_dump_has_what_was_lost_in_its_place(tmp_path):
    dump = tmp_path / "dump"
    Check(tmp_path, log_of(without(sent(100), (50, 52)))).run(f"--dump={dump}")
    lines = dump.read_text(encoding="ascii").splitlines()
    place = lines.index("# 0.104000 can1 s1 lost 2: 33 to 34, in 6.000 ms; before this host")
    assert lines[place - 1:place + 2:2] == [Frame(49, time=98000).line().strip(), Frame(52, time=104000).line().strip()]


def test_a_dump_that_cannot_be_made_ends_it_before_anything_is_read(tmp_path):
    done = run("qvcancheck", f"--dump={tmp_path}/no/file", tmp_path / "nothing.log")
    assert (done.out, done.err, done.status) == ("", f"[ERROR] {tmp_path}/no/file: No such file or directory\n", 4)


def test_a_dump_that_cannot_be_written_is_said_and_makes_the_check_incomplete(tmp_path):
    check = Check(tmp_path, log_of(sent(100)))
    done = check.run("-q", "--dump=/dev/full")
    assert done.err == "[ERROR] Cannot write to /dev/full\n"
    assert done.status == 4
