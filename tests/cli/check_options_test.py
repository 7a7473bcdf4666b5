"""qvcancheck's options: the help, what is refused, and that each option does what its help says."""

import pytest

from qv.check import Check, refused
from qv.checklog import clean_log, log_of, sent
from qv.program import Result, run

USAGE = """\
usage: qvcancheck <options> [file...]

Judges the test pattern of qvcan: reads a CAN interface, a device file, or
recordings, and says which frames were lost, repeated, reordered or corrupted,
and on whose account. A file is a log of candump (-l or -L), a file of trace
records, or what qvcan -vv, qvcandev -vv and qvbus -v print; - is standard input.

where options are

  -h, --help           show this help text and exit
  -v, --verbose        say more: -v the bytes of each finding, -vv every frame and what it was
                       taken for
  -q, --quiet          print the verdict only; -qq nothing
  -d, --device=device  CAN interface (any: all of them), or device file with trace records
                       (a name with a slash); may be repeated, default=can0
  -i, --id=canID       demand a stream that starts at this identifier, from its first frame on;
                       may be repeated
  -l, --loop=n         demand n frames of each stream, forever=0
  -t, --time=time      the gap between frames that the sender was told.
                       Without a unit prefix \u00b5s are assumed.
  -j, --jitter=time    the jitter of that gap, default as in qvcan: one \u00b5s less than the gap,
                       at most 100000\u00b5s
  -e, --error=num      demand that the sender corrupted every num-th frame, off=0
  -f, --fd             demand CAN FD frames with 64 bytes
  -b, --brs            demand the bit rate switch, selects -f
  -a, --answer         demand an answer to every frame; the answers are judged, too
  -T, --duration=time  end after that time. Without a unit prefix seconds are assumed;
                       m is milli.
      --idle=time      end when no frame of a pattern came for that time, in seconds;
                       default: never, with -l 10
      --stop[=kinds]   end at the first finding, or the first of these kinds
  -w, --wait=time      a frame that is missing for that time is lost, default=1.
                       Without a unit prefix seconds are assumed; m is milli.
      --allow=kinds    findings that do not fail the check, each with an optional most:
                       lost=10,reordered
      --max-gap=time   a stream that is silent for longer is a finding, in seconds
      --max-rtt=time   an answer that takes longer is a finding, in seconds
  -I, --interval=time  a line for each such time, in seconds
      --json[=file]    line-delimited JSON, instead of text, or into the file beside it
      --dump=file      the frames around each finding, as a candump log

examples

  qvcancheck -d can1
  qvcancheck -d can1 -f -i 1 -l 100000 -t 2m -j 0 -e 100
  candump -d -L can0 | qvcancheck -
  qvcancheck -f -i 1 -l 100000 -e 100 run.log
  qvcancheck -q weekend.log || echo "look at it"
"""


@pytest.mark.parametrize("arguments", [["-h"], ["--help"], ["-qh", "nothing.log"], ["-l", "5", "-h", "-x"], ["run.log", "-h"]], ids=str)
def test_help_is_the_whole_text_and_a_success(arguments):
    assert run("qvcancheck", *arguments) == Result(USAGE, "", 0)


NUMBERS = ["", "x", "-1", "+1", " 1", "1x", "0x", "08", "1.5", "1e3", "4294967296", "99999999999999999999", "0x100000000"]


@pytest.mark.parametrize("arguments, line", [
    (["-x"], "Unknown option '-x'"), (["-c", "1"], "Unknown option '-c'"), (["-p"], "Unknown option '-p'"), (["-i"], "Unknown option '-i'"),
    (["--fd=1"], "Unknown option '--fd=1'"), (["--allow"], "Unknown option '--allow'"), (["--nothing"], "Unknown option '--nothing'"),
    (["-vx"], "Unknown option '-vx'"),
    *((["-l", number], f"-l needs a number up to 0xFFFFFFFF, not '{number}'") for number in NUMBERS),
    *(([option, "no"], f"{option} needs a number up to 0xFFFFFFFF, not 'no'") for option in ("-i", "-e")),
    *(([option, "soon"], f"{option} needs a time, not 'soon'") for option in ("-t", "-j", "-w")),
    *((["-w", time], f"-w needs a time, not '{time}'") for time in ("", "-1", "1 m 2", "99999999999999999999", "m")),
    *((["-w", time], f'invalid unit "{unit}" specified') for time, unit in (("5ms", "ms"), ("1.5", ".5"), ("1s", "s"))),
    (["--max-rtt=0"], "--max-rtt needs a time above 0, not '0'"),
    *((["-w", time], f"-w needs a time above 0, not '{time}'") for time in ("0", "0m", "1p", "999p")),
    *((["-w", time], f"-w needs a shorter time, not '{time}'") for time in ("9223372037", "10G", "1Y", "18446744073709551615")),
    (["-t", "9223372036854776"], "-t needs a shorter time, not '9223372036854776'"), (["-t", "1Y"], "-t needs a shorter time, not '1Y'"),
    (["-j", "1Y", "-t", "5"], "-j needs a shorter time, not '1Y'"), (["-j", "5"], "-j needs -t"),
    *((["-l", number], "-l demands at most 2147483647 frames") for number in ("2147483648", "0xFFFFFFFE")),
    (["--allow=loss"], "--allow needs kinds of findings, not 'loss'"), (["--allow=lost,x=1"], "--allow needs kinds of findings, not 'x=1'"),
    (["--allow="], "--allow needs kinds of findings, not ''"), (["--json="], "--json= needs the name of a file"),
    (["--dump="], "--dump needs the name of a file"), (["--dump"], "Unknown option '--dump'"),
], ids=lambda value: " ".join(value) if isinstance(value, list) else "")
def test_a_wrong_command_line_is_one_line_and_status_2(arguments, line):
    assert run("qvcancheck", "nothing.log", *arguments) == refused(line)


def test_the_first_fault_on_the_line_is_the_one_reported():
    assert run("qvcancheck", "-l", "x", "-e", "y") == refused("-l needs a number up to 0xFFFFFFFF, not 'x'")


@pytest.mark.parametrize("option", ["--dump", "--json"])
@pytest.mark.parametrize("way", ["{folder}/run.log", "{folder}/./run.log", "{folder}/link"])
def test_a_file_that_would_overwrite_an_input_is_refused(way, option, tmp_path):
    log = clean_log(10)
    check = Check(tmp_path, log)
    (tmp_path / "link").symlink_to(check.path)
    name = way.format(folder=tmp_path)
    refusal = refused(f"{option} names an input: '{name}'")
    assert check.run(f"{option}={name}") == refusal
    with check.path.open("rb") as stdin:
        assert run("qvcancheck", "-", f"{option}={name}", stdin=stdin) == refusal
    assert run("qvcancheck", "-d", check.path, f"{option}={name}") == refusal
    assert check.path.read_text(encoding="ascii") == log


@pytest.mark.parametrize("option", ["--dump", "--json"])
def test_a_file_may_have_the_name_of_an_interface(option, tmp_path):
    (tmp_path / "nosuch0").touch()
    assert run("qvcancheck", "-q", "-d", "nosuch0", f"{option}=nosuch0", cwd=tmp_path).status == 4


def test_a_dump_and_json_need_a_file_each(tmp_path):
    name = tmp_path / "both"
    assert Check(tmp_path, "").run(f"--dump={name}", f"--json={name}") == refused("--dump and --json name the same file")


@pytest.mark.parametrize("devices, twice", [
    (["can1", "can1"], "can1"), (["can1", "can0", "can1"], "can1"), (["any", "can1"], "can1"), (["can1", "any"], "can1"), (["any", "any"], "any"),
    (["./device", "./device"], "./device"), (["./device", "./link"], "./link"), (["can1", "./device", "././device"], "././device"),
    (["./missing", "./missing"], "./missing"),
], ids=str)
def test_a_device_that_would_be_read_twice_is_refused(devices, twice, tmp_path):
    (tmp_path / "device").touch()
    (tmp_path / "link").symlink_to("device")
    arguments = [word for device in devices for word in ("-d", device)]
    assert run("qvcancheck", "-q", *arguments, cwd=tmp_path) == refused(f"-d reads '{twice}' twice")


def test_different_devices_may_be_read_together(tmp_path):
    for name in ("one", "two", "can1"):
        (tmp_path / name).touch()
    done = run("qvcancheck", "-q", "-d", "./one", "-d", "./two", cwd=tmp_path)
    assert done == Result("NO PATTERN: 0 frames, none of a pattern\n", "", 3)
    for together in (["any", "./one"], ["can1", "./can1"], ["nosuch0", "nosuch1"]):
        arguments = [word for device in together for word in ("-d", device)]
        assert run("qvcancheck", "-q", "-T", "1m", *arguments, cwd=tmp_path).err == ""


@pytest.mark.parametrize("options, verdict, status", [
    ([], "PASS: 100 frames, none lost, repeated, reordered or corrupted", 0),
    (["-i", "1", "-l", "100"], "PASS: 100 frames, none lost, repeated, reordered or corrupted", 0),
    (["-i", "0x1", "-l", "0144"], "PASS: 100 frames, none lost, repeated, reordered or corrupted", 0),
    (["-i", "0x801"], "PASS: 100 frames, none lost, repeated, reordered or corrupted", 0),
    (["-l", "0", "-e", "0"], "PASS: 100 frames, none lost, repeated, reordered or corrupted", 0),
    (["-l", "2147483647"], "FAIL: 2,147,483,547 frames lost", 1),
    (["-l", "0xFFFFFFFF"], "PASS: 100 frames, none lost, repeated, reordered or corrupted", 0),
    (["-t", "2m", "-j", "0"], "PASS: 100 frames, none lost, repeated, reordered or corrupted", 0),
    (["-i", "1", "-l", "101"], "FAIL: 1 frame lost", 1),
    (["-i", "1", "-l", "98"], "FAIL: 2 frames too many", 1),
    (["-i", "2"], "FAIL: 1 stream absent", 1),
    (["-i", "1", "-i", "0x80000001"], "FAIL: 1 stream absent", 1),
    (["-e", "10"], "FAIL: 10 frames not corrupted as told", 1),
    (["-f"], "FAIL: 100 frames of another format", 1),
    (["-b"], "FAIL: 100 frames of another format", 1),
    (["--allow=format", "-f"], "PASS: 100 frames; allowed: 100 of another format", 0),
    (["--allow=format=100", "-f"], "PASS: 100 frames; allowed: 100 of another format", 0),
    (["--allow=format=99", "-f"], "FAIL: 100 frames of another format", 1),
    (["--allow=all", "-i", "2", "-e", "10"], "PASS: 100 frames; allowed: 10 not corrupted as told, 1 absent", 0),
], ids=lambda value: " ".join(value) if isinstance(value, list) else "")
def test_what_the_options_tell_is_demanded(options, verdict, status, tmp_path):
    assert Check(tmp_path, clean_log(100)).verdict(*options) == (verdict, status)


@pytest.mark.parametrize("options, verdict, status", [
    (["-f", "-b", "-e", "10"], "PASS: 100 frames, none lost, repeated or reordered; 10 corrupted as told", 0),
    ([], "FAIL: 10 frames corrupted", 1),
    (["-e", "20"], "FAIL: 10 frames corrupted", 1),
], ids=str)
def test_errors_that_the_sender_injects_are_demanded(options, verdict, status, tmp_path):
    assert Check(tmp_path, clean_log(100, fd=True, period=10)).verdict(*options) == (verdict, status)


def test_the_bit_rate_switch_is_demanded_of_fd_frames(tmp_path):
    frames = list(sent(100, fd=True))
    frames[50].flags = 0
    check = Check(tmp_path, log_of(frames))
    assert check.verdict("-f") == ("PASS: 100 frames, none lost, repeated, reordered or corrupted", 0)
    assert check.verdict("-b") == ("FAIL: 1 frame of another format", 1)


DROPS = "DROPCOUNT: dropped 40 CAN frames on 'can1' socket (total drops 40)\n"
OTHER = "(1700000010.000000) can1 7FF#AABBCCDD\n"


@pytest.mark.parametrize("between, options", [
    ("", ["--stop"]), ("", ["--stop=lost"]), ("", ["--stop", "--allow=lost=39"]), (DROPS, ["--stop=overrun"]), (DROPS, ["--stop", "--allow=lost"]),
    (OTHER, ["--stop=foreign", "--allow=lost"]), (OTHER, ["--stop", "--allow=lost,foreign=0"]),
], ids=str)
def test_findings_stop_it_if_asked(between, options, tmp_path):
    frames = list(sent(100000))
    check = Check(tmp_path, log_of(frames[:5000]) + between + log_of(frames[5040:]))
    summary = check.summary(*options)
    assert summary["ended"] == "--stop"
    assert 4999 < summary["frames"] < 8000


def test_findings_that_are_allowed_do_not_stop_it(tmp_path):
    frames = list(sent(10000))
    check = Check(tmp_path, log_of(frames[:5000]) + OTHER + log_of(frames[5040:]))
    assert check.summary("--stop", "--allow=lost=40")["ended"] == "end of input"


def test_after_wait_a_missing_frame_is_lost_and_comes_late(tmp_path):
    frames = list(sent(1000))
    frames[200].time = frames[300].time + 1
    check = Check(tmp_path, log_of(sorted(frames, key=lambda frame: frame.time)))
    assert check.verdict() == ("FAIL: 1 frame reordered", 1)
    assert check.verdict("-w", "100m") == ("FAIL: 1 frame lost, 1 frame late", 1)


def test_quiet_prints_the_verdict_and_twice_nothing(tmp_path):
    check = Check(tmp_path, clean_log(100))
    assert check.run("-q").out == "PASS: 100 frames, none lost, repeated, reordered or corrupted\n"
    assert check.run("-qq") == Result("", "", 0)
    assert check.run("-qqvv", "-f") == Result("", "", 1)


def test_verbose_shows_the_frames_of_findings_and_twice_every_frame(tmp_path):
    frames = list(sent(100))
    frames[50].invert(5)
    check = Check(tmp_path, log_of(frames))
    shown = [line.strip() for line in check.run("-v").out.splitlines() if line.startswith(" " * 20)]
    assert shown == ["033#0000003332CC3435"]
    lines = check.run("-vv").out.split("\n\n")[0].splitlines()
    assert [line[9:] for line in lines if "in order" in line][49:51] == [
        "can1 s1     in order 32: 032#0000003231323334", "can1 s1     in order 34: 034#0000003433343536"]
    assert sum("in order" in line for line in lines) == 99
    assert "can1 s1     corrupted 33: 033#0000003332CC3435" in [line[9:] for line in lines]
