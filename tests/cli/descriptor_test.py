"""Descriptors that are closed at the start, and numbers that select cannot wait for."""

from itertools import product
import os
import resource

import pytest

from qv.program import Result, run, RUNNER
from qv.record import unpack, untimed
from qv.traffic import pattern
from qv.usage import usage

COMBINATIONS = [[fd for fd, closed in enumerate(flags) if closed] for flags in product([False, True], repeat=3)]
ALL_COMBINATIONS = pytest.mark.parametrize("closed", COMBINATIONS, ids=lambda closed: "closed_" + ("_".join(map(str, closed)) or "none"))


def run_closed(closed, program, *options):
    def close_them():
        for descriptor in closed:
            os.close(descriptor)
    return run(program, *options, preexec_fn=close_them)


def shown(closed, result):
    """The result as it looks when what goes to closed descriptors is gone."""
    return Result("" if 1 in closed else result.out, "" if 2 in closed else result.err, result.status)


@ALL_COMBINATIONS
@pytest.mark.parametrize("program", ["qvcan", "qvcandev"])
def test_help_needs_no_open_descriptor(closed, program):
    assert run_closed(closed, program, "-h") == shown(closed, Result(usage(program), "", 0))


@ALL_COMBINATIONS
@pytest.mark.parametrize("program", ["qvcan", "qvcandev"])
def test_an_error_needs_no_open_descriptor(closed, program):
    assert run_closed(closed, program, "-x") == shown(closed, Result("", "[ERROR] Unknown option '-x'\n", 1))


@ALL_COMBINATIONS
def test_a_device_that_cannot_be_opened_is_an_error_without_open_descriptors(closed, tmp_path):
    missing = tmp_path / "missing"
    expected = Result("", f"error opening {missing}: No such file or directory\n", 1)
    assert run_closed(closed, "qvcandev", "-d", missing) == shown(closed, expected)


@ALL_COMBINATIONS
def test_the_device_never_becomes_a_standard_descriptor(closed, device):
    """Else the debug lines would be written to the bus, or frames to the console."""
    seen = run_closed(closed, "qvcandev", "-d", device, "-p", "-l", 3, "-t", 0, "-vv")
    assert (seen.err, seen.status) == ("", 0)
    assert untimed(unpack(device.read_bytes())) == pattern(1, 3)
    if 1 in closed:
        assert seen.out == ""
    elif not RUNNER:  # which may hold descriptors of its own
        assert seen.out.count("[DEBUG] BZ::sendPattern() select([n=4: 3],[n=4: 3],..,18446744073709551615)\n") == 3


@ALL_COMBINATIONS
def test_write_errors_do_not_reach_the_device(closed):
    seen = run_closed(closed, "qvcandev", "-d", "/dev/full", "-p", "-l", 2, "-t", 0)
    assert (seen.out, seen.status) == ("", 0)
    assert seen.err.count("write error: No space left on device\n") == (0 if 2 in closed else 2)


def occupy(limit):
    """In the child: every descriptor below `limit` is taken."""
    resource.setrlimit(resource.RLIMIT_NOFILE, (limit + 64, limit + 64))
    null = os.open("/dev/null", os.O_RDWR)
    for descriptor in range(3, limit):
        if descriptor != null:
            os.dup2(null, descriptor)
        os.set_inheritable(descriptor, True)


def run_beyond(limit, *options):
    if resource.getrlimit(resource.RLIMIT_NOFILE)[1] < limit + 64:
        pytest.skip(f"this user may not have {limit + 64} open files")
    # Without close_fds, and the error pipe of Popen out of the way: it has gone when the descriptors are taken.
    return run("qvcandev", *options, preexec_fn=lambda: occupy(limit), close_fds=False)


def test_the_last_number_that_select_can_wait_for_works(native, device):
    seen = run_beyond(1023, "-d", device, "-p", "-l", 2, "-t", 0, "-vv")
    assert "select([n=1024: 1023],[n=1024: 1023],..,18446744073709551615)\n" in seen.out
    assert (seen.err, seen.status) == ("", 0)
    assert untimed(unpack(device.read_bytes())) == pattern(1, 2)


def test_a_sender_on_a_number_beyond_ends_with_one_line(native, device):
    seen = run_beyond(1024, "-d", device, "-p", "-l", 2, "-t", 0)
    line = "[ERROR] BZ::threadCode() file descriptor 1024 is outside of what select can wait for (0 to 1023)\n"
    assert seen == Result("", line, 1)
    assert device.read_bytes() == b""


def test_each_of_several_senders_on_a_number_beyond_ends_by_itself(native, device):
    seen = run_beyond(1024, "-d", device, "-p", "-l", 2, "-t", 0, "-i", 1, "-i", 2)
    assert (seen.out, seen.err.count("[ERROR] BZ::threadCode() "), seen.err.count("\n"), seen.status) == ("", 2, 2, 1)
