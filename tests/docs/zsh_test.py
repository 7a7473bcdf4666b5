"""Completion in zsh."""

import shlex
import subprocess

import pytest

from qv.options import options_of, PROGRAMS
from qv.shell import COMPLETION

PREFIXES = "y z a f p n µ u m c d de h k M G T P E Z Y".split()
CAN = ["can0", "can1", "vcan0", "vxcan7"]


@pytest.mark.parametrize("program", PROGRAMS)
def test_zsh_offers_the_options_of_the_program(zsh, program):
    options = options_of(program)
    offered = {word.rstrip("=") for word in zsh.complete(f"{program} -")} | {word.rstrip("=") for word in zsh.complete(f"{program} --")}
    assert offered == {option.short for option in options if option.short} | {option.long for option in options}


@pytest.mark.parametrize("line, offered", [
    ("qvcan -d ", CAN),
    ("qvcan -dv", ["-dvcan0", "-dvxcan7"]),
    ("qvcan --device=can", ["--device=can0", "--device=can1"]),
    ("qvcan --device vx", ["vxcan7"]),
    ("qvcan -f -a -d eth", []),
    ("qvcan -fad can1", ["can1"]),
    ("qvcan -d can0 --pa", ["--pattern"]),
    ("qvcan -h -", []),
    ("qvcancheck da", ["data"]),
    ("qvcancheck --allow=lo", ["--allow=lost"]),
    ("qvcancheck --allow lost,sl", ["lost,slow"]),
    ("qvcancheck --json=da", ["--json=data"]),
    ("qvcancheck -w 20d", ["20d", "20de"]),
    ("qvcancheck --idle 20d", ["20d", "20de"]),
    ("qvcancheck --stop=lo", ["--stop=lost"]),
    ("qvcan -l ", []),
    ("qvcan -i ", []),
    ("qvbus -n ", []),
    ("qvcan -r da", ["data"]),
    ("qvbus -l da", ["data"]),
    ("qvcandev -d d", ["dir", "dnode0", "dpipe"]),
    ("qvcandev -d da", ["data"]),
    ("qvcandev -d nothing", []),
    ("qvcan -t ", []),
    ("qvcan -t 5", ["5" + prefix for prefix in PREFIXES]),
    ("qvcandev --jitter=100", ["--jitter=100" + prefix for prefix in PREFIXES]),
    ("qvcan -j 20d", ["20d", "20de"]),
    ("qvcan -t 5ms", []),
])
def test_zsh_completes(zsh, line, offered):
    assert sorted(set(zsh.complete(line))) == sorted(offered)


@pytest.mark.parametrize("line, times", [("qvcan -v -i 1 -", True), ("qvbus -v -", False)])
def test_zsh_offers_again_what_may_be_repeated(zsh, line, times):
    assert ("-v" in zsh.complete(line)) == times


def test_zsh_finds_the_file_by_its_commands():
    first = (COMPLETION / "_qv").read_text(encoding="utf-8").splitlines()[0]
    assert first.split() == ["#compdef", *PROGRAMS]


def test_zsh_looks_at_the_interfaces_of_the_machine_by_default():
    ask = f"compdef() {{ : }}; _arguments() {{ : }}; service=qvcan; source {shlex.quote(str(COMPLETION / '_qv'))}; _qv_net"
    done = subprocess.run(["zsh", "-f", "-c", ask], capture_output=True, text=True, check=True)
    assert done.stdout == "/sys/class/net\n"
