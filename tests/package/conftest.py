"""Packages made once for all tests, from the source tree in QV_TREE."""

from dataclasses import dataclass
import importlib.util
import os
from pathlib import Path
import shutil

import pytest

from qv.packages import BOARDS, lacks_for, Packages
from qv.packager import succeed

TOOLS = {  # program: Debian package
    "cmake": "cmake",
    "ninja": "ninja-build",
    "g++": "g++",
    "make": "make",
    "lintian": "lintian",
    "dpkg-shlibdeps": "dpkg-dev",
    "fakeroot": "fakeroot",
    "unshare": "util-linux",
    "readelf": "binutils",
}


def pytest_sessionstart():
    if not Path(os.environ.get("QV_TREE", ""), "CMakePresets.json").is_file():
        pytest.exit("QV_TREE must name the source tree", returncode=2)
    missing = [package for tool, package in TOOLS.items() if shutil.which(tool) is None]
    if importlib.util.find_spec("kconfiglib") is None:
        missing.append("python3-kconfiglib")
    if missing:
        pytest.exit("not installed: " + " ".join(missing), returncode=2)


@pytest.fixture(scope="session")
def packages(tmp_path_factory):
    return Packages(Path(os.environ["QV_TREE"]).resolve(), tmp_path_factory.mktemp("packages"))


@pytest.fixture(scope="session")
def version(packages):
    """The project's version, as its source tarball has it."""
    return packages.source.name.removeprefix("qv-").removesuffix(".tar.gz")


def need_board(board):
    reason = lacks_for(board)
    if reason:
        pytest.skip(reason)


@pytest.fixture(scope="session", params=BOARDS)
def board(request):
    need_board(request.param)
    return request.param


@dataclass(frozen=True)
class Deb:
    path: Path
    architecture: str
    runner: tuple  # what runs its programs here


@pytest.fixture(scope="session", params=["host", *BOARDS])
def deb(request, packages):
    if request.param == "host":
        return Deb(packages.host_deb(), succeed("dpkg", "--print-architecture").strip(), ())
    need_board(request.param)
    machine, emulator = BOARDS[request.param]
    return Deb(packages.board_deb(request.param), request.param, (emulator, "-L", f"/usr/{machine}"))
