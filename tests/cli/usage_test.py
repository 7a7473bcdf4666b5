"""The usage text: whole, on standard output alone, under the name the user called."""

import ctypes
import os
import subprocess

import pytest

from qv.program import command, environment, path_of, Result, run
from qv.usage import usage

PROGRAMS = ["qvcan", "qvcandev"]


@pytest.mark.parametrize("program", PROGRAMS)
@pytest.mark.parametrize("option", ["-h", "--help", "--hel"])
def test_help_is_the_whole_text_and_a_success(program, option):
    assert run(program, option) == Result(usage(program), "", 0)


def test_help_names_the_defaults():
    text = run("qvcandev", "-h").out
    for part in ("defaults are 1 (file) or 1024 (pattern)\n", "set CAN ID to <id>, default=0x1\n", "Channel to use, default=0\n",
                 "default=100000\u00b5s.\n", "jitter time, default=0.\n", "default is off\n"):
        assert part in text


def test_help_lists_the_options_in_order():
    lines = run("qvcandev", "-h").out.splitlines()
    assert [line[3] for line in lines if line.startswith("  -")] == list("hvdrasfbplcitjey")


@pytest.mark.parametrize("program", PROGRAMS)
@pytest.mark.parametrize("arguments", [
    ["-vv", "-h"], ["-d", "no/such/device", "-h"], ["-p", "-a", "-t", "5m", "-i", "7", "-h"], ["-h", "-x"], ["-h", "-t", "5ms"],
    ["-h", "--nothing"], ["-h", "-d"], ["-h", "can1"], ["can1", "-h"], ["-vh"], ["-hx"], ["-vvh", "-vv"], ["-h", "-h"], ["-h", ""],
])
def test_help_anywhere_prints_nothing_but_itself(program, arguments):
    assert run(program, *arguments) == Result(usage(program), "", 0)


@pytest.mark.parametrize("arguments", [["-d", "-h"], ["--", "-h"], ["-t", "5ms", "-h"], ["-x", "-h"], ["--help=1"]])
def test_help_is_not_shown_where_it_is_no_option_or_too_late(arguments):
    seen = run("qvcandev", *arguments)
    assert (seen.out, seen.status) == ("", 1)
    assert seen.err.count("\n") == 1


@pytest.mark.parametrize("name, shown", [
    ("qvcandev", "qvcandev"), ("/usr/bin/qvcandev", "qvcandev"), ("./other name", "other name"), ("../x/", ""), ("/", ""), ("", ""),
    ("\u00b5", "\u00b5"), ("-h", "-h"), ("a\nb", "a\nb"), ("%s%n", "%s%n"), ("x" * 4000, "x" * 4000),
], ids=str)
def test_help_shows_the_last_part_of_the_name_called(native, name, shown):
    seen = run("qvcandev", "-h")
    called = subprocess.run([name, "-h"], executable=path_of("qvcandev"), capture_output=True, env=environment(), check=False)
    assert called.stdout.decode() == seen.out.replace("usage: qvcandev ", f"usage: {shown} ", 1)
    assert (called.stderr, called.returncode) == (b"", 0)


def test_help_through_a_link_shows_the_links_name(tmp_path):
    link = tmp_path / "mylink"
    link.symlink_to(path_of("qvcan"))
    words = [*command("qvcan")[:-1], link, "-h"]
    done = subprocess.run(words, capture_output=True, env=environment(), check=False)
    assert (done.stdout.decode(), done.stderr, done.returncode) == (usage("mylink"), b"", 0)


def run_without_arguments(program):
    """execve with an empty vector, which Python refuses: (stdout and stderr together, wait status)."""
    read_end, write_end = os.pipe()
    libc = ctypes.CDLL(None, use_errno=True)
    path = os.fsencode(path_of(program))
    nothing = (ctypes.c_char_p * 1)(None)
    child = os.fork()
    if child == 0:
        os.dup2(write_end, 1)
        os.dup2(write_end, 2)
        libc.execve(path, nothing, nothing)
        os._exit(99)
    os.close(write_end)
    with os.fdopen(read_end, "rb") as pipe:
        seen = pipe.read().decode()
    return seen, os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])


@pytest.mark.skipif(os.path.exists("/dev/qvcan0"), reason="the default device exists here")
def test_a_call_without_any_name_runs_on_the_default_device(native):
    assert run_without_arguments("qvcandev") == ("error opening /dev/qvcan0: No such file or directory\n", 1)
