"""The commands in the pages are commands of these programs."""

import itertools
import shlex
import subprocess
import threading

import pytest

from qv.page import displays, PAGES
from qv.options import command, PATIENCE, run

# What a command says when only its device is wrong: its options have all been taken.
OPENED = {
    "qvcan": ("-d", "nosuch0", ("error creating socket: ", "ioctl error nosuch0: ")),
    "qvcandev": ("-d", "/dev/null/node", ("error opening /dev/null/node: ",)),
    "qvbus": ("-l", "/dev/null/node", ("[ERROR] /dev/null/node.lock: ",)),
}


def commands():
    lines = {line for page in PAGES for line in displays(page)}
    # What stands behind a pipe is a check of what the command prints (page_check_test.py).
    return sorted(line.split(" | ")[0] for line in lines if line.split()[0] in OPENED)


def test_there_are_commands_for_each_program():
    for program in OPENED:
        assert any(line.startswith(program + " ") for line in commands())


@pytest.mark.parametrize("line", commands())
def test_a_command_is_understood(line):
    program, *words = shlex.split(line)
    option, device, answers = OPENED[program]
    done = run(program, *words, option, device)
    assert done.stderr.startswith(answers)
    assert done.returncode == 1


def in_folder(line, folder):
    program, *words = shlex.split(line.replace("/tmp/", f"{folder}/"))
    return command(program, *words)


def user_bus(page, folder):
    """The commands of the page's bus in user space: the bus, the nodes that run on, the sender."""
    lines = displays(page)
    begin = next(i for i, line in enumerate(lines) if line.startswith("qvbus -n"))
    end = next(i for i in range(begin, len(lines)) if " -p " in lines[i])
    return [in_folder(line, folder) for line in lines[begin:end + 1]]


@pytest.mark.parametrize("page", ["qvbus.1", "qv.7"])
def test_the_bus_in_user_space_carries_the_pattern_as_told(page, tmp_path):
    bus_command, *others, sender = user_bus(page, tmp_path)
    nodes = []
    with subprocess.Popen(bus_command, stdout=subprocess.PIPE, text=True) as bus:
        patience = threading.Timer(PATIENCE, bus.kill)
        patience.start()
        try:
            assert bus.stdout.readline() == f"3 nodes: {tmp_path}/node0 to {tmp_path}/node2\n"
            nodes += [subprocess.Popen(words, stdout=subprocess.DEVNULL) for words in others]
            subprocess.run(sender, stdout=subprocess.DEVNULL, timeout=PATIENCE, check=True)
            sent = (line.split()[3] for line in bus.stdout if line.startswith(f"{tmp_path}/node0 "))
            frames = list(itertools.islice(sent, 3))
        finally:
            patience.cancel()
            for process in (*nodes, bus):
                process.terminate()
                process.wait()
    assert frames == ["001#0000000100010203", "002#0000000201020304", "003#0000000302030405"]
    assert bus.returncode == 0
    assert list(tmp_path.iterdir()) == []


def test_the_output_in_the_page_is_of_such_a_run():
    lines = displays("qvbus.1")
    shown = lines[lines.index("3 nodes: /tmp/node0 to /tmp/node2") + 1:]
    sent = [line.split()[3] for line in shown if line.startswith("/tmp/node0 ")]
    answers = [line.split()[3] for line in shown if line.startswith("/tmp/node1 ")]
    assert sent == ["001#0000000100010203", "002#0000000201020304", "003#0000000302030405"]
    assert answers == [complement(frame) for frame in sent]


def complement(frame):
    identifier, data = frame.split("#")
    return f"{0x7FF ^ int(identifier, 16):03X}#{bytes(0xFF ^ byte for byte in bytes.fromhex(data)).hex().upper()}"


def test_records_in_a_file_are_three_as_the_page_says(tmp_path):
    line = next(line for line in displays("qvcandev.1") if line.startswith("qvcandev -d trace "))
    trace = tmp_path / "trace"
    trace.touch()
    subprocess.run(in_folder(line, tmp_path), cwd=tmp_path, timeout=PATIENCE, check=True)
    assert trace.stat().st_size == 3 * 36
