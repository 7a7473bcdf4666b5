"""The bus in user space and the device-file build on it, on the target."""

import os
from pathlib import Path
import re
import signal

import pytest

from qv.frame import answer, Frame, pattern
from qv.watched import Program
from qv.waiting import wait_until

RECORD = re.compile(r"^\S*/node(\d+) \d\d:\d\d:\d\d\.\d{6} ch0 (\S+)$", re.MULTILINE)


@pytest.fixture
def programs():
    started = []

    def start(name, *options):
        started.append(Program(Path(os.environ["QV_BIN"], name), *options))
        return started[-1]

    yield start
    for one in reversed(started):
        one.close()


@pytest.mark.parametrize("mode", [[], ["-f"]], ids=["classic", "fd"])
def test_pattern_node_and_answering_node_meet(programs, tmp_path, mode):
    count = 100
    user_bus = programs("qvbus", "-v", "-n", 3, "-l", tmp_path / "node")
    user_bus.wait_for_out("3 nodes:")
    node = programs("qvcandev", "-a", *mode, "-vv", "-d", tmp_path / "node1")
    node.wait_for_out("timegap=")

    sender = programs("qvcandev", *mode, "-p", "-l", count, "-t", "2m", "-j", 0, "-i", "0x7e0", "-d", tmp_path / "node0")
    assert sender.exit_status() == 0

    def carried(number):
        return [Frame.parse(text) for node_number, text in RECORD.findall(user_bus.out) if node_number == number]

    wait_until(lambda: len(carried("1")) == count, lambda: f"{count} answers: {user_bus}")
    user_bus.signal(signal.SIGINT)
    assert user_bus.exit_status() == 0

    questions = pattern(0x7E0, count, fd=bool(mode))
    assert [str(frame) for frame in carried("0")] == [str(question) for question in questions]
    assert [frame.data for frame in carried("1")] == [answer(question).data for question in questions]
    assert not list(tmp_path.glob("node*")), "its names are gone"
    assert f"/node1: {count} sent, {count} received, 0 missed\n" in user_bus.out
    assert "/node2: 0 sent, 0 received, 0 missed\n" in user_bus.out, "nobody has opened it"
    assert (sender.out, sender.err) == ("", "")
