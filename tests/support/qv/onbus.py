"""Fixtures of the bus tests. They run in the bed made by scripts/run-on-bus, or on any machine that has SocketCAN: as root,
with iproute2 and can-utils, and QV_BIN naming the folder of the programs."""

import os
from pathlib import Path
import socket

import pytest

from qv.frame import difference
from qv.pair import Pair
from qv.peer import Peer
from qv.watched import Candump, Program
from qv.qvcan import Answerer, Qvcan, Reader


def pytest_sessionstart():
    if os.geteuid() != 0:
        pytest.exit("the bus tests make interfaces and need root: use scripts/run-on-bus", returncode=2)
    try:
        socket.socket(socket.PF_CAN, socket.SOCK_RAW, socket.CAN_RAW).close()
    except OSError as error:
        pytest.exit(f"no SocketCAN here ({error}): use scripts/run-on-bus", returncode=2)
    if not os.access(Path(os.environ.get("QV_BIN", ""), "qvcan"), os.X_OK):
        pytest.exit("QV_BIN must name the folder of the programs", returncode=2)


@pytest.fixture
def bus():
    """vxcan0 and vxcan1, both up and ready for FD frames."""
    pair = Pair()
    yield pair
    if pair.exists():
        pair.delete()


@pytest.fixture
def start(bus):
    """start(kind, ...) makes a Program, Peer or the like that ends with the test, before its interfaces are removed."""
    started = []

    def make(kind, *arguments, **options):
        started.append(kind(*arguments, **options))
        return started[-1]

    yield make
    for one in reversed(started):
        one.close()


@pytest.fixture
def qvcan(start):
    return lambda *options: start(Qvcan, *options)


@pytest.fixture
def reader(start):
    return lambda name, *options, devices=1: start(Reader, name, *options, devices=devices)


@pytest.fixture
def answerer(start):
    return lambda name, *options: start(Answerer, name, *options)


@pytest.fixture
def candump(start, bus):
    return lambda name: start(Candump, name, bus.other(name))


@pytest.fixture
def peer(start):
    return lambda name: start(Peer, name)


@pytest.fixture
def cangen(start, bus):
    """cangen(name, count, ...) sends that many frames, as fast as possible and without local echo, and returns once they are out."""
    def send(name, count, *options):
        program = start(Program, "cangen", name, "-g", 0, "-x", "-p", 1000, "-n", count, *options)
        assert program.exit_status() == 0, program
    return send


@pytest.fixture
def same_frames():
    def check(seen, expected):
        problem = difference(seen, expected)
        assert problem is None, problem
    return check
