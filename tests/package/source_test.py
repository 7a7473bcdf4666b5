"""The source tarball, and what a packager does with it."""

import os
import re
import shutil
import subprocess
import sys
import tarfile

import pytest

from qv.packages import NO_NETWORK
from qv.packager import environment, run, succeed
from qv.contents import below, installed, on_disk, plotting, PROGRAMS


def kept_by_git(tree):
    words = ["git", "-C", tree, "-c", "safe.directory=*", "ls-files", "-z", "--cached", "--others", "--exclude-standard"]
    done = subprocess.run(words, capture_output=True, text=True, check=False) if shutil.which("git") else None
    if done is None or done.returncode != 0:
        pytest.skip("no git, or the source tree is not one of git's")
    return {name for name in done.stdout.split("\0") if name and os.path.lexists(tree / name)}


def test_it_holds_the_tree_as_git_keeps_it_and_nothing_else(packages, version, tmp_path):
    kept = kept_by_git(packages.tree)
    with tarfile.open(packages.source_tarball(packages.tree, tmp_path)) as archive:
        files = {member.name for member in archive if not member.isdir()}
    assert files == {f"qv-{version}/{name}" for name in kept}


def test_made_from_itself_it_has_the_same_bytes(packages, tmp_path):
    # Another folder, other times, another order in the file system; no git.
    succeed("tar", "-xzf", packages.source, "-C", tmp_path, "--touch")
    again = packages.source_tarball(tmp_path / packages.unpacked.name, tmp_path / "again")
    assert again.read_bytes() == packages.source.read_bytes()


def test_every_place_that_states_the_version_agrees(packages, version):
    stated = {"CHANGELOG.md": r"^## ([0-9.]+)", "README.md": r"\bqv[-_]([0-9]+\.[0-9]+\.[0-9]+)", "docs/packages.md": r"\bqv[-_]([0-9]+\.[0-9]+\.[0-9]+)"}
    for name, form in stated.items():
        found = re.findall(form, (packages.unpacked / name).read_text(encoding="utf-8"), re.MULTILINE)
        assert found and set(found if name != "CHANGELOG.md" else found[:1]) == {version}, name


def test_it_builds_without_git(packages):
    packages.host_deb()
    assert not packages.git_calls.exists(), packages.git_calls.read_text(encoding="utf-8")


def test_it_builds_without_a_network(packages):
    if NO_NETWORK is None:
        pytest.skip("this machine allows no network namespace")
    # RFC 5737: an address that is nobody's, to which a machine with a network has a way nevertheless.
    probe = "import socket; socket.socket(socket.AF_INET, socket.SOCK_DGRAM).connect(('192.0.2.1', 9))"
    assert "Network is unreachable" in run(*NO_NETWORK, sys.executable, "-c", probe).stderr
    packages.host_deb()


def test_it_builds_without_the_tests_sources(packages):
    packages.host_deb()
    commands = (packages.host_build() / "compile_commands.json").read_text(encoding="utf-8")
    assert "qvcan.cpp" in commands and "googletest" not in commands and "/tests/" not in commands


def test_the_documents_that_are_installed_name_no_file_of_the_source_tree(packages, tmp_path):
    succeed("cmake", "--install", packages.host_build(), "--prefix", tmp_path)
    for path in (tmp_path / "share/doc/qv").iterdir():
        if path.name != "CHANGELOG.md":  # which is the source tree's
            named = re.findall(r"\b(?:scripts|tests|docs|packaging|build|lib\w+)/[\w/.-]+", path.read_text(encoding="utf-8"))
            assert named == [], path.name


@pytest.mark.parametrize("prefix", ["/usr", "/opt/qv"])
def test_an_installation_below_destdir_has_every_file_at_its_prefix(packages, tmp_path, prefix):
    succeed("cmake", "--install", packages.host_build(), "--prefix", prefix, "--strip", env=environment(DESTDIR=str(tmp_path)))
    assert on_disk(tmp_path) == below(f"{prefix[1:]}/", installed(packages.unpacked) | plotting(packages.unpacked))
    for name in (*PROGRAMS, "qvcancheck-plot"):
        assert succeed(f"{tmp_path}{prefix}/bin/{name}", "-h").startswith(f"usage: {name} ")
