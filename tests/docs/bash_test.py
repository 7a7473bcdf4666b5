"""Completion in bash."""

import subprocess

import pytest

from qv.options import options_of, PROGRAMS, run
from qv.shell import COMPLETION

PREFIXES = "y z a f p n µ u m c d de h k M G T P E Z Y".split()
CAN = ["can0", "can1", "vcan0", "vxcan7"]


@pytest.mark.parametrize("program", PROGRAMS)
def test_bash_offers_the_options_of_the_program(bash, program):
    offered = set(bash.function(program, "-"))
    options = options_of(program)
    assert offered == {option.short for option in options if option.short} | {
        option.long + "=" * bool(option.argument and not option.optional) for option in options}


@pytest.mark.parametrize("words, offered", [
    (["qvcan", "-d", ""], CAN),
    (["/usr/bin/qvcan", "-d", ""], CAN),
    (["qvcan", "-d", "v"], ["vcan0", "vxcan7"]),
    (["qvcan", "-d", "eth"], []),
    (["qvcan", "--device", "can"], ["can0", "can1"]),
    (["qvcan", "--device", "="], CAN),
    (["qvcan", "--device", "=", "vx"], ["vxcan7"]),
    (["qvcan", "-fapd", "can1"], ["can1"]),
    (["qvcan", "-dcan0", "--pa"], ["--pattern"]),
    (["qvcan", "-f", "--de"], ["--device="]),
    (["qvcan", "-d", "can0", "--j"], ["--jitter="]),
    (["qvbus", "--"], ["--help", "--verbose", "--nodes=", "--link="]),
    (["qvcancheck", "--"], ["--help", "--verbose", "--quiet", "--device=", "--id=", "--loop=", "--time=", "--jitter=", "--error=", "--fd", "--brs",
                            "--answer", "--duration=", "--idle=", "--dump=", "--stop", "--wait=", "--max-gap=", "--max-rtt=", "--interval=",
                            "--allow=", "--json"]),
    (["qvcancheck", "-f", "da"], ["data"]),
    (["qvcancheck", ""], ["data", "dir", "dnode0", "dnowhere", "dpipe", "file with blanks"]),
    (["qvcancheck", "--json", "=", "da"], ["data"]),
    (["qvcancheck", "--allow", "=", "lo"], ["lost"]),
    (["qvcancheck", "--allow", "lost=10,re"], ["lost=10,repeated", "lost=10,reordered", "lost=10,restart"]),
    (["qvcancheck", "-qfw", "20d"], ["20d", "20de"]),
    (["qvcancheck", "--stop", "=", "lo"], ["lost"]),
    (["qvcancheck", "-T", "20d"], ["20d", "20de"]),
    (["qvcancheck", "--max-gap", "=", "20d"], ["20d", "20de"]),
    (["qvcancheck", "-e", ""], []),
    (["qvcan", "-l", ""], []),
    (["qvcan", "-c", ""], []),
    (["qvcan", "-vvi", ""], []),
    (["qvcan", "--error", "=", ""], []),
    (["qvbus", "-n", ""], []),
    (["qvcan", "-r", "da"], ["data"]),
    (["qvcan", "--send", "=", "di"], ["dir"]),
    (["qvcan", "-r", "file"], ["file with blanks"]),
    (["qvbus", "-l", "da"], ["data"]),
    (["qvcandev", "-d", "d"], ["dir", "dnode0", "dpipe"]),
    (["qvcandev", "-d", "da"], ["data"]),
    (["qvcandev", "-d", "nothing"], []),
    (["qvcandev", "--device", "=", "/dev/nul"], ["/dev/null"]),
    (["qvcan", "-t", ""], []),
    (["qvcan", "-t", "x"], []),
    (["qvcan", "-t", "5"], ["5" + prefix for prefix in PREFIXES]),
    (["qvcandev", "--jitter", "=", "100"], ["100" + prefix for prefix in PREFIXES]),
    (["qvcan", "-fpj", "20d"], ["20d", "20de"]),
    (["qvcan", "-t", "5m"], ["5m"]),
    (["qvcan", "-t", "5ms"], []),
], ids=lambda value: " ".join(value) if value and value[0].lstrip("/").startswith(("qv", "usr")) else "")
def test_bash_completes(bash, words, offered):
    assert sorted(bash.function(*words)) == sorted(offered)


@pytest.mark.parametrize("line, words", [
    ("qvcan -d ", ["-d", *CAN]),
    ("qvcan --device=can", ["--device=can0", "can1"]),
    ("qvcandev --receive file", ["--receive", "file with blanks"]),
    ("qvcandev -d d", ["-d", "dir/", "dnode0", "dpipe"]),
    ("qvcan -j 0 -t 7d", ["-j", "0", "-t", "7d", "7de"]),
    ("qvbus --no", ["--nodes="]),
])
def test_keys_in_an_interactive_bash_complete(bash, line, words):
    assert [word.removesuffix("/") for word in bash.typed(line)] == [word.removesuffix("/") for word in words]


@pytest.mark.parametrize("prefix", PREFIXES)
def test_the_programs_take_every_prefix_that_is_offered(prefix):
    assert "invalid unit" not in run("qvcandev", "-d", "/nonexistent", "-t", "1" + prefix).stderr


def test_bash_looks_at_the_interfaces_of_the_machine_by_default():
    done = subprocess.run(["bash", "--norc", "-c", f"source '{COMPLETION}/qv.bash'; echo $_qv_net; complete -p {' '.join(PROGRAMS)}"],
                          capture_output=True, text=True, check=True)
    assert done.stdout.splitlines() == ["/sys/class/net", *(f"complete -F _qv {program}" for program in PROGRAMS)]


def test_the_file_stands_the_strictest_settings():
    subprocess.run(["bash", "--norc", "-euo", "pipefail", "-c", f"source '{COMPLETION}/qv.bash'"], check=True)
