"""The whole table of argument vectors against the model of the command line: outputs and exit status, to the byte."""

import errno
import os

import pytest

from qv.model import debug_line, Help, read, Refused
from qv.program import path_of, Result, run
from qv.usage import usage
from qv.vectors import ROWS

START = ["-vv", "-d", "no/such/device"]


def expected(name, arguments):
    try:
        reading = read([path_of(name), *START, *arguments], None)
    except Help:
        return Result(usage(name), "", 0)
    except Refused as refusal:
        return Result("", str(refusal), 1)
    return Result(debug_line(*reading.time), f"error opening {reading.device}: {os.strerror(errno.ENOENT)}\n", 1)


def test_the_table_names_each_row_once():
    names = [name for name, _ in ROWS]
    assert len(set(names)) == len(names) > 500


@pytest.mark.parametrize("arguments", [pytest.param(arguments, id=name) for name, arguments in ROWS])
def test_prints_what_the_rules_say(arguments, tmp_path):
    assert run("qvcandev", *START, *arguments, cwd=tmp_path) == expected("qvcandev", arguments)


@pytest.mark.parametrize("arguments, line", [
    (["-t", "1m"], "timegapUnit=1*10^-3 (prefix=1) timegap=1000"),
    (["-t", "100"], "timegapUnit=100*10^0 (prefix=0) timegap=100"),
    (["-t", "5m"], "timegapUnit=5*10^-3 (prefix=1) timegap=5000"),
    (["-t", "5 m"], "timegapUnit=5*10^-3 (prefix=1) timegap=5000"),
    (["-t", "2"], "timegapUnit=2*10^0 (prefix=0) timegap=2"),
    (["-t", "1k"], "timegapUnit=1*10^3 (prefix=1) timegap=1000000000"),
    (["-t", "500n"], "timegapUnit=500*10^-9 (prefix=1) timegap=0"),
    (["-t", "2de"], "timegapUnit=2*10^1 (prefix=1) timegap=20000000"),
    (["-t", "3\u00b5"], "timegapUnit=3*10^-6 (prefix=1) timegap=3"),
    (["-t", "3u"], "timegapUnit=3*10^-6 (prefix=1) timegap=3"),
    (["-t", "5Y"], "timegapUnit=5*10^24 (prefix=1) timegap=18446744073709551611"),
    (["-t", ""], "timegapUnit=0*10^0 (prefix=0) timegap=0"),
    ([], "timegapUnit=100000*10^0 (prefix=0) timegap=100000"),
])
def test_figures_worked_out_by_hand(arguments, line, tmp_path):
    assert run("qvcandev", *START, *arguments, cwd=tmp_path).out == f"[DEBUG] BZ::parse() {line}\u00b5s\n"


@pytest.mark.parametrize("arguments", [
    pytest.param(arguments, id=name) for name, arguments in ROWS if name.startswith(("help", "unknown", "operand"))
])
def test_the_network_program_reads_the_same_way(arguments, can_refusal):
    """Its interface is always nosuch0: what the rows give for a device is replaced by it in the end."""
    seen = run("qvcan", "-vv", *arguments, "-d", "nosuch0")
    try:
        reading = read([path_of("qvcan"), "-vv", *arguments, "-d", "nosuch0"], None)
        assert seen == Result(debug_line(*reading.time), can_refusal, 1)
    except Help:
        assert seen == Result(usage("qvcan"), "", 0)
    except Refused as refusal:
        assert seen == Result("", str(refusal), 1)
