"""What cannot be run: one line on standard error, nothing on standard output, status 1."""

import os

import pytest

from qv.program import path_of, Result, run

PROGRAMS = ["qvcan", "qvcandev"]


def refused(line):
    return Result("", line + "\n", 1)


@pytest.mark.parametrize("program", PROGRAMS)
@pytest.mark.parametrize("arguments, line", [
    (["-x"], "[ERROR] Unknown option '-x'"),
    (["-vx"], "[ERROR] Unknown option '-vx'"),
    (["-p", "-k", "-d"], "[ERROR] Unknown option '-k'"),
    (["-?"], "[ERROR] Unknown option '-?'"),
    (["-:"], "[ERROR] Unknown option '-:'"),
    (["--nothing"], "[ERROR] Unknown option '--nothing'"),
    (["--nothing=1"], "[ERROR] Unknown option '--nothing=1'"),
    (["--s"], "[ERROR] Unknown option '--s'"),
    (["--fd=1"], "[ERROR] Unknown option '--fd=1'"),
    (["-d"], "[ERROR] Unknown option '-d'"),
    (["-vd"], "[ERROR] Unknown option '-vd'"),
    (["--device"], "[ERROR] Unknown option '--device'"),
    (["-p", "-t"], "[ERROR] Unknown option '-t'"),
    (["-vv", "-p", "--time"], "[ERROR] Unknown option '--time'"),
])
def test_unknown_options_and_missing_arguments(program, arguments, line):
    assert run(program, *arguments) == refused(line)


@pytest.mark.parametrize("arguments, consumed", [(["-p", "-xv"], "-p"), (["-t", "5", "-xv"], "5"), (["-xv"], None)], ids=str)
def test_inside_a_cluster_the_last_argument_consumed_is_named(arguments, consumed):
    assert run("qvcandev", *arguments) == refused(f"[ERROR] Unknown option '{consumed or path_of('qvcandev')}'")


@pytest.mark.parametrize("program", PROGRAMS)
@pytest.mark.parametrize("option", ["-t", "-j", "--time", "--jitter"])
@pytest.mark.parametrize("argument, unit", [
    ("10ms", "ms"), ("5s", "s"), ("2da", "da"), ("5 K", "K"), ("0x10", "x10"), ("1e3", "e3"), ("5.5", ".5"), ("5\u03bc", "\u03bc"), ("1 \"", "\""),
    ("5\u00b5s", "\u00b5s"), ("5 ms rest", "ms"),
])
def test_a_bad_prefix_is_named(program, option, argument, unit):
    assert run(program, option, argument) == refused(f'[ERROR] invalid unit "{unit}" specified')


def test_a_unit_that_is_no_utf8_is_shown_as_it_came():
    seen = run("qvcandev", "-t", b"5\xb5")
    assert seen == refused('[ERROR] invalid unit "\udcb5" specified')


@pytest.mark.parametrize("program", PROGRAMS)
@pytest.mark.parametrize("arguments, operand", [
    (["can1"], "can1"), ([""], ""), (["-"], "-"), (["-p", "can1"], "can1"), (["can1", "can2"], "can1"), (["can1", "-p", "-v"], "can1"),
    (["--", "-h"], "-h"), (["-d", "vcan0", "--", "-x"], "-x"),
])
def test_operands_are_refused_and_named(program, arguments, operand):
    assert run(program, *arguments) == refused(f"[ERROR] Unexpected argument '{operand}', the device is given with -d")


def test_an_operand_is_refused_before_the_device_is_opened(device):
    device.write_bytes(b"kept")
    assert run("qvcandev", "-vv", "-d", device, "-p", "-l", 1, "again").out == ""
    assert device.read_bytes() == b"kept"


@pytest.mark.parametrize("arguments, line", [
    (["-x", "-t", "5ms"], "[ERROR] Unknown option '-x'"),
    (["-t", "5ms", "-x"], '[ERROR] invalid unit "ms" specified'),
    (["-j", "7q", "-t", "5ms"], '[ERROR] invalid unit "q" specified'),
    (["-t", "5ms", "-d"], '[ERROR] invalid unit "ms" specified'),
])
def test_the_first_fault_on_the_line_is_the_one_reported(arguments, line):
    assert run("qvcandev", *arguments) == refused(line)


@pytest.mark.parametrize("count, shown", [(1, False), (2, True), (3, True), (65536, False), (65537, False), (65538, True)])
def test_the_settings_are_shown_from_verbosity_two_which_counts_in_16_bits(count, shown, tmp_path):
    seen = run("qvcandev", "-" + "v" * count, "-d", "nowhere", cwd=tmp_path)
    assert seen.out == ("[DEBUG] BZ::parse() timegapUnit=100000*10^0 (prefix=0) timegap=100000\u00b5s\n" if shown else "")
    assert seen.status == 1


@pytest.mark.skipif(os.path.exists("/dev/qvcan0"), reason="the default device exists here")
def test_without_a_device_the_default_one_is_opened():
    assert run("qvcandev") == refused("error opening /dev/qvcan0: No such file or directory")


def test_a_missing_interface_is_reported(can_refusal):
    assert run("qvcan", "-d", "nosuch0") == Result("", can_refusal, 1)


def test_a_refusal_reads_the_same_for_every_mode(can_refusal):
    for mode in (["-a"], ["-p"], ["-f"], ["-b"], ["-r", "in"], ["-s", "out"], ["-i", 1, "-i", 2], ["-y", "-c", 300]):
        assert run("qvcan", "-d", "nosuch0", *mode) == Result("", can_refusal, 1)
