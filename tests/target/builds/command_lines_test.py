"""A 64-bit build says exactly what the target says: outputs and exit status of both, line for line, over the table of argument vectors."""

import os
from pathlib import Path
import re

import pytest

from qv.program import run_command, RUNNER
from qv.record import unpack, untimed
from qv.vectors import NUMBERS, ROWS

BUILDS = {"host": ([], os.environ["QV_HOST_BIN"]), "target": (RUNNER, os.environ["QV_BIN"])}

# Where the options of the table take effect: identifiers, channels and counts show in what is sent.
EDGES = ["0x10", "0X1f", "010", "08", "0x", "0xg", "2147483647", "2147483648", "-2147483648", "-2147483649", "4294967294", "4294967295",
         "4294967296", "-4294967295", "-4294967296", "0xFFFFFFFF", "0x100000000", "0x80000123", "0xC0000001", "-0x10", "037777777777",
         "9223372036854775807", "9223372036854775808", "18446744073709551615", "18446744073709551616", "-18446744073709551615", "1e3"]

BUS_ROWS = {
    "help": ["-h"], "help_long": ["--help"], "unknown": ["-x"], "unknown_name": ["--nonsense"], "no_argument": ["-n"], "operand": ["node"],
    "no_node": ["-n", "0"], "one_node": ["-n", "1"], "one_too_many": ["-n", "65"], "no_number": ["-n", "many"], "negative": ["-n", "-3"],
    "32_bits": ["-n", "4294967298"], "64_bits": ["-n", "18446744073709551618"], "no_folder": ["-l", "no/such/folder/node"],
}


def run_both(program, arguments, tmp_path):
    """What each build does, started by the same name in a folder of its own; with what it left in the file `device`."""
    results = {}
    for build, (runner, programs) in BUILDS.items():
        folder = tmp_path / build
        folder.mkdir()
        (folder / program).symlink_to(Path(programs, program).resolve())
        device = folder / "device"
        device.touch()
        words = [os.fsencode(word) for word in (*runner, f"./{program}", *arguments)]
        results[build] = run_command(words, cwd=folder), device.read_bytes()
    return results["host"], results["target"]


def lines(result):
    return [*(f"out: {line}" for line in result.out.splitlines()), *(f"err: {line}" for line in result.err.splitlines()),
            f"exit status {result.status}"]


def assert_same(host, target):
    assert lines(host) == lines(target)
    assert host == target


@pytest.mark.parametrize("arguments", [pytest.param(arguments, id=name) for name, arguments in ROWS])
def test_same_lines(arguments, tmp_path):
    (host, _), (target, _) = run_both("qvcandev", ["-vv", "-d", "no/such/device", *arguments], tmp_path)
    assert_same(host, target)


@pytest.mark.parametrize("arguments", [pytest.param(arguments, id=name) for name, arguments in ROWS
                                       if name.startswith(("help", "unknown", "operand", "prefix_-6", "bad"))])
def test_same_lines_of_the_network_program(arguments, tmp_path):
    (host, _), (target, _) = run_both("qvcan", ["-vv", "-d", "nosuch0", *arguments], tmp_path)

    def same_reason(result):
        # The two kernels, one of them emulated, may lack CAN each in its own way.
        err = re.sub(r"^(error creating socket|ioctl error \S*): .*$", r"\1: no CAN here", result.err, flags=re.MULTILINE)
        return type(result)(result.out, err, result.status)

    assert_same(same_reason(host), same_reason(target))


@pytest.mark.parametrize("arguments", [pytest.param(arguments, id=name) for name, arguments in BUS_ROWS.items()])
def test_same_lines_of_the_bus(arguments, tmp_path):
    (host, _), (target, _) = run_both("qvbus", arguments, tmp_path)
    assert_same(host, target)


@pytest.mark.parametrize("text", [*EDGES, *(pytest.param(text, id=name) for name, text in NUMBERS.items())])
@pytest.mark.parametrize("option", ["-i", "-c", "-e"])
def test_same_records(option, text, tmp_path):
    arguments = ["-d", "device", "-p", "-t", "0", "-l", "5", "-f", option, text]
    (host, host_records), (target, target_records) = run_both("qvcandev", arguments, tmp_path)
    assert_same(host, target)
    records = untimed(unpack(host_records))
    assert len(records) == 5
    assert records == untimed(unpack(target_records))
