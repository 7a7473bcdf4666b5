"""The Debian package of qvcancheck-plot: Python for the desk, apart from the programs for the board."""

import io
import subprocess
import tarfile

from qv.contents import below, in_archive, packaged_plot
from qv.packager import run, succeed

FIELDS = {
    "Package": "qv-plot", "Architecture": "all", "Depends": "python3 (>= 3.10), python3-matplotlib (>= 3.6)", "Recommends": "python3-tk",
    "Suggests": "qv",
}


def archive(path):
    data = subprocess.run(["dpkg-deb", "--fsys-tarfile", path], capture_output=True, check=True).stdout
    return tarfile.open(fileobj=io.BytesIO(data))


def test_it_holds_exactly_what_draws(packages):
    with archive(packages.plot_deb()) as opened:
        assert in_archive(opened) == below("usr/", packaged_plot(packages.unpacked))
        assert {(member.uid, member.gid) for member in opened} == {(0, 0)}


def test_its_control_fields_say_what_it_is_and_needs(packages):
    assert {name: succeed("dpkg-deb", "--field", packages.plot_deb(), name).strip() for name in FIELDS} == FIELDS
    assert "draws what a check of a CAN bus has told" in succeed("dpkg-deb", "--field", packages.plot_deb(), "Description")


def test_its_version_is_that_of_the_programs(packages):
    versions = {succeed("dpkg-deb", "--field", path, "Version") for path in (packages.plot_deb(), packages.host_deb())}
    assert len(versions) == 1


def test_unpacked_anywhere_it_starts_and_leaves_nothing_behind(packages, tmp_path):
    succeed("dpkg-deb", "--extract", packages.plot_deb(), tmp_path)
    before = sorted(tmp_path.rglob("*"))
    assert succeed(tmp_path / "usr/bin/qvcancheck-plot", "-h").startswith("usage: qvcancheck-plot ")
    assert sorted(tmp_path.rglob("*")) == before


def test_lintian_finds_nothing_to_warn_of(packages):
    done = run("lintian", "--allow-root", "--fail-on", "error,warning", packages.plot_deb())
    assert (done.stdout + done.stderr, done.returncode) == ("", 0)
