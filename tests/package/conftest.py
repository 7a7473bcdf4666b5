"""Packages made once for all tests, from the source tree in QV_TREE."""

from dataclasses import dataclass
import importlib.util
import os
from pathlib import Path
import shutil

import pytest

from qvpackage.build import lacks_for_armhf, Packages
from qvpackage.command import succeed

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


@pytest.fixture(scope="session")
def armhf():
    reason = lacks_for_armhf()
    if reason:
        pytest.skip(reason)


@dataclass(frozen=True)
class Deb:
    path: Path
    architecture: str
    runner: tuple  # what runs its programs here


@pytest.fixture(scope="session", params=["host", "armhf"])
def deb(request, packages):
    if request.param == "host":
        return Deb(packages.host_deb(), succeed("dpkg", "--print-architecture").strip(), ())
    request.getfixturevalue("armhf")
    return Deb(packages.armhf_deb(), "armhf", ("qemu-arm", "-L", "/usr/arm-linux-gnueabihf"))
