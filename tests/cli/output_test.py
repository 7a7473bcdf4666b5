"""Standard output: full, closed at the other end, slow, and in every language."""

import os
import signal
import subprocess
import sys

import pytest

from qv.program import default_signals, environment, Result, run, run_command
from qv.record import unpack, untimed
from qv.traffic import pattern
from qv.usage import usage

FULL = "[ERROR] Cannot write to standard output\n"
READING = "nothing to send, just reading ...\n"


@pytest.fixture
def full():
    with open("/dev/full", "wb") as device:
        yield device


@pytest.mark.parametrize("program", ["qvcan", "qvcandev"])
def test_help_to_a_full_disk_is_a_failure_and_said(program, full):
    assert run(program, "-h", stdout=full) == Result("", FULL, 1)


def test_an_error_to_a_full_disk_is_reported_as_ever(full):
    assert run("qvcandev", "-x", stdout=full) == Result("", "[ERROR] Unknown option '-x'\n", 1)


def test_debug_lines_to_a_full_disk_do_not_stop_the_sender(full, device):
    seen = run("qvcandev", "-d", device, "-p", "-l", 3, "-t", 0, "-vv", stdout=full)
    assert seen == Result("", FULL, 1)
    assert untimed(unpack(device.read_bytes())) == pattern(1, 3)


def test_a_run_that_prints_nothing_does_not_notice_a_full_disk(full, device):
    assert run("qvcandev", "-d", device, "-p", "-l", 1, stdout=full) == Result("", "", 0)


def test_a_missing_device_and_a_full_disk_are_both_said(full, tmp_path):
    seen = run("qvcandev", "-vv", "-d", tmp_path / "no", stdout=full)
    assert seen == Result("", f"error opening {tmp_path}/no: No such file or directory\n{FULL}", 1)


def test_standard_error_on_a_full_disk_changes_no_status(full):
    assert run("qvcandev", "-x", stderr=full) == Result("", "", 1)
    assert run("qvcandev", "-h", stderr=full) == Result(usage("qvcandev"), "", 0)
    assert run("qvcandev", "-h", stdout=full, stderr=full) == Result("", "", 1)


@pytest.fixture
def broken_pipe():
    """The writing end of a pipe that nobody reads."""
    read_end, write_end = os.pipe()
    os.close(read_end)
    yield write_end
    os.close(write_end)


def test_a_closed_pipe_ends_the_program_as_it_ends_any_other(broken_pipe):
    assert run("qvcandev", "-h", stdout=broken_pipe, preexec_fn=default_signals) == Result("", "", -signal.SIGPIPE)


def test_a_closed_pipe_is_a_failure_where_its_signal_is_ignored(broken_pipe):
    seen = run("qvcandev", "-h", stdout=broken_pipe, restore_signals=False)  # Python itself ignores SIGPIPE
    assert seen == Result("", FULL, 1)


def test_a_sender_outlives_a_closed_pipe_whose_signal_is_ignored(broken_pipe, device):
    seen = run("qvcandev", "-d", device, "-p", "-l", 3, "-t", 0, "-vv", stdout=broken_pipe, restore_signals=False)
    assert seen == Result("", FULL, 1)
    assert untimed(unpack(device.read_bytes())) == pattern(1, 3)


def test_lines_reach_a_pipe_while_the_program_runs(start, device):
    program = start("qvcandev", "-d", device, "-vv")
    program.until_out(READING)
    program.until_out("[DEBUG] BZ::readCAN() incomplete buffer read\n")
    assert program.runs()


def test_each_sent_frame_shows_in_a_pipe_before_the_next_is_due(start, device):
    program = start("qvcandev", "-d", device, "-p", "-t", "1M", "-j", "0", "-vv")  # the second frame is due in days
    program.until_out("[DEBUG] BZ::sendPattern() msg counter: 0\n")
    assert program.runs()
    assert "msg counter: 1" not in program.out


def test_lines_reach_a_file_while_the_program_runs(start, terminal, tmp_path):
    """The pattern's last line is in the file when its record arrives after it."""
    path = tmp_path / "out"
    with open(path, "wb") as out:
        program = start("qvcandev", "-d", terminal.path, "-p", "-t", "1M", "-j", "0", "-vv", stdout=out)
    program.until(lambda: len(terminal.seen) == 36, "a record", also=terminal)
    assert "[DEBUG] BZ::sendCAN() send: " in path.read_text()
    assert program.runs()


LANGUAGES = [{}, {"LC_ALL": "C"}, {"LC_ALL": "POSIX"}, {"LC_ALL": "C.UTF-8"}, {"LC_ALL": "de_DE"}, {"LC_ALL": "de_DE.UTF-8"}, {"LC_ALL": ""},
             {"LC_ALL": "tr_TR.UTF-8"}, {"LC_ALL": "no such"}, {"LANG": "de_DE.UTF-8", "LANGUAGE": "de"}, {"LANGUAGE": "de"}, {"LC_NUMERIC": "de_DE.UTF-8"},
             {"LC_CTYPE": "ja_JP.SJIS"}, {"LOCPATH": "/nonexistent"}]


@pytest.mark.parametrize("variables", LANGUAGES, ids=lambda variables: ",".join(f"{n}={v}" for n, v in variables.items()) or "none")
def test_the_language_changes_no_byte(variables, device, tmp_path):
    settings = dict(env=environment(**variables), cwd=tmp_path)
    assert run("qvcandev", "-h", **settings) == Result(usage("qvcandev"), "", 0)
    debug = "[DEBUG] BZ::parse() timegapUnit=1234567*10^-6 (prefix=1) timegap=1234567\u00b5s\n"
    assert run("qvcandev", "-vv", "-t", "1234567\u00b5", "-d", "no", **settings) == \
        Result(debug, "error opening no: No such file or directory\n", 1)
    assert run("qvcandev", "-t", "5ms", **settings) == Result("", '[ERROR] invalid unit "ms" specified\n', 1)
    assert run("qvcandev", "-d", device, "-p", "-l", 1, **settings) == Result("", "", 0)
    assert untimed(unpack(device.read_bytes())) == pattern(1, 1)


@pytest.fixture(scope="module", name="english")
def english_locale(tmp_path_factory):
    """A folder with en_US.UTF-8, which the programs ask for and few boards have."""
    folder = tmp_path_factory.mktemp("locale")
    subprocess.run(["localedef", "-i", "en_US", "-f", "UTF-8", folder / "en_US.UTF-8"], check=True)
    return str(folder)


@pytest.mark.parametrize("variables", LANGUAGES[:-1], ids=lambda variables: ",".join(f"{n}={v}" for n, v in variables.items()) or "none")
def test_no_language_changes_a_byte_where_the_locale_is_installed(native, english, variables, tmp_path):
    ask = "import locale, os; locale.setlocale(locale.LC_ALL, 'en_US.UTF-8'); print(os.strerror(2))"
    german = run_command([sys.executable, "-c", ask], env=environment(LOCPATH=english, LANGUAGE="de"))
    assert german.out == "Datei oder Verzeichnis nicht gefunden\n", "the German texts are there to be printed (package libc-l10n)"
    settings = dict(env=environment(**{**variables, "LOCPATH": english}), cwd=tmp_path)
    assert run("qvcandev", "-d", "no", **settings) == Result("", "error opening no: No such file or directory\n", 1)
    assert run("qvcandev", "-h", **settings) == Result(usage("qvcandev"), "", 0)


def test_posixly_correct_hides_no_option_behind_an_operand():
    settings = dict(env=environment(POSIXLY_CORRECT="1"))
    assert run("qvcandev", "can1", "-x", **settings) == Result("", "[ERROR] Unknown option '-x'\n", 1)


def test_the_micro_sign_is_two_bytes():
    assert run("qvcandev", "-h").out.encode().count(b"\xc2\xb5") == 3


def test_the_terminals_width_does_not_wrap_the_help(start, terminal):
    """Help texts are not wrapped; to a terminal they are the same bytes as to a pipe."""
    expected = usage("qvcandev").encode()
    program = start("qvcandev", "-h", stdout=terminal.slave, env=environment(COLUMNS="20"))
    program.until(lambda: len(terminal.seen) >= len(expected), "the help", also=terminal)
    assert bytes(terminal.seen) == expected
    assert program.result() == Result("", "", 0)
