"""Fixtures of the tests of the built programs. QV_BIN names the folder of the programs, QV_RUNNER what runs them (program.py)."""

import os
from pathlib import Path
import pty
import shutil
import socket
import subprocess
import tempfile
import tty

import pytest

from qv.program import command, Live, path_of, RUNNER
from qv.trace import Strace

NOBODY = 65534
LAB = Path(__file__).parents[2] / "scripts" / "lab"


def pytest_sessionstart():
    if not all(os.access(Path(os.environ.get("QV_BIN", ""), name), os.X_OK) for name in ("qvcan", "qvcandev")):
        pytest.exit("QV_BIN must name the folder of the programs", returncode=2)


@pytest.fixture
def start():
    """start(program, options...) runs a program that is ended with the test."""
    started = []

    def make(program, *options, **popen):
        started.append(Live(command(program, *options), **popen))
        return started[-1]

    make.keep = started.append
    yield make
    for one in started:
        one.close()


@pytest.fixture
def device(tmp_path):
    """An empty regular file in the place of a device."""
    path = tmp_path / "device"
    path.touch()
    return path


@pytest.fixture
def fifo(tmp_path):
    """(path, a descriptor to write records to): the reading programs get what is written."""
    path = tmp_path / "fifo"
    os.mkfifo(path)
    descriptor = os.open(path, os.O_RDWR)
    yield path, descriptor
    os.close(descriptor)


class Terminal:
    """A pseudo-terminal in raw mode; programs open its path, the tests hold the other end."""

    def __init__(self):
        self.master, self.slave = pty.openpty()
        tty.setraw(self.slave)
        self.path = os.ttyname(self.slave)
        self.seen = bytearray()

    def send(self, raw):
        os.write(self.master, raw)

    def receive(self):
        self.seen += os.read(self.master, 65536)

    def hang_up(self):
        for descriptor in (self.slave, self.master):
            if descriptor >= 0:
                os.close(descriptor)
        self.master = self.slave = -1


@pytest.fixture
def terminal():
    made = Terminal()
    yield made
    made.hang_up()


@pytest.fixture
def native():
    """For tests of what the runner in front of the program would change."""
    if RUNNER:
        pytest.skip(f"the runner {RUNNER[0]} stands between the test and the program")


@pytest.fixture(scope="session")
def tracing():
    """Why strace cannot be used, or None."""
    if RUNNER:
        return f"strace would show the runner {RUNNER[0]}, not the program"
    if shutil.which("strace") is None:
        return "strace is not installed"
    tried = subprocess.run(["strace", "-o", "/dev/null", "true"], capture_output=True, text=True)
    return None if tried.returncode == 0 else f"no tracing here: {tried.stderr.strip()}"


@pytest.fixture
def strace(tracing, tmp_path):
    if tracing:
        pytest.skip(tracing)
    return Strace(tmp_path / "strace.log")


@pytest.fixture
def can_refusal():
    """What qvcan says here about the interface nosuch0."""
    try:
        socket.socket(socket.AF_CAN, socket.SOCK_RAW, socket.CAN_RAW).close()
    except OSError as error:
        return f"error creating socket: {error.strerror}\n"
    return "ioctl error nosuch0: No such device\n"


@pytest.fixture
def unprivileged():
    """(folder, settings): a folder that everybody may enter, and what makes Popen start a program without root's rights."""
    with tempfile.TemporaryDirectory(prefix="qv-", dir="/tmp") as folder:
        os.chmod(folder, 0o755)
        settings = {} if os.geteuid() != 0 else {"user": NOBODY, "group": NOBODY, "extra_groups": []}
        try:
            subprocess.run(["true"], check=True, **settings)
        except OSError as error:
            pytest.skip(f"root's rights cannot be dropped here: {error}")
        for program in (path_of("qvcandev"), path_of("qvcancheck"), LAB):  # where they are may be closed to others
            os.chmod(shutil.copy(program, folder), 0o755)
        yield Path(folder), settings
