"""What the tests of the manual pages and completions need: the programs in QV_BIN, the pages in QV_MAN, and the tools that read them."""

import os
from pathlib import Path
import shutil

import pytest

from qv.page import PAGES
from qv.options import PROGRAMS
from qv.shell import Bash, Zsh

TOOLS = {"mandoc": "mandoc", "groff": "groff", "bash": "bash", "zsh": "zsh"}  # program: Debian package


def pytest_sessionstart():
    if not all(os.access(Path(os.environ.get("QV_BIN", ""), name), os.X_OK) for name in PROGRAMS):
        pytest.exit("QV_BIN must name the folder of the programs", returncode=2)
    if not all(Path(os.environ.get("QV_MAN", ""), name).is_file() for name in PAGES):
        pytest.exit("QV_MAN must name the folder of the manual pages", returncode=2)
    missing = [package for tool, package in TOOLS.items() if shutil.which(tool) is None]
    if missing:
        pytest.exit("not installed: " + " ".join(missing), returncode=2)


@pytest.fixture
def net(tmp_path):
    """What /sys/class/net looks like with four CAN interfaces among others (types of linux/if_arp.h)."""
    folder = tmp_path / "net"
    for name, kind in {"can0": 280, "can1": 280, "vcan0": 280, "vxcan7": 280, "eth0": 1, "lo": 772, "cantaloupe": 1}.items():
        (folder / name).mkdir(parents=True)
        (folder / name / "type").write_text(f"{kind}\n", encoding="utf-8")
    (folder / "bonding_masters").touch()
    return folder


@pytest.fixture
def folder(tmp_path):
    """A folder to stand in, with a file, a folder, a pipe, and a link to a character device as qvbus makes."""
    here = tmp_path / "here"
    (here / "dir").mkdir(parents=True)
    (here / "file with blanks").touch()
    (here / "data").touch()
    os.mkfifo(here / "dpipe")
    (here / "dnode0").symlink_to("/dev/null")
    (here / "dnowhere").symlink_to("/nonexistent/device")
    return here


@pytest.fixture
def bash(folder, net):
    return Bash(folder, net)


@pytest.fixture
def zsh(folder, net):
    return Zsh(folder, net)
