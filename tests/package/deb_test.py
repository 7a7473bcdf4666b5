"""The Debian packages: what is in them, and what becomes of a root that they are installed in."""

import gzip
import io
import re
import subprocess
import tarfile

import pytest

from qv.packager import run, succeed
from qv.contents import below, in_archive, packaged, PAGES, PROGRAMS
from qv.dpkgroot import DpkgRoot, older

DEPENDENCY = re.compile(r"([a-z0-9+.-]+) \(>= ([0-9.]+)\)")


@pytest.fixture
def archive(deb):
    data = subprocess.run(["dpkg-deb", "--fsys-tarfile", deb.path], capture_output=True, check=True).stdout
    with tarfile.open(fileobj=io.BytesIO(data)) as opened:
        yield opened


@pytest.fixture
def root(deb, tmp_path):
    return DpkgRoot(tmp_path / "root", deb.architecture)


def field(deb, name):
    return succeed("dpkg-deb", "--field", deb.path, name).strip()


def test_it_holds_exactly_what_is_installed_with_its_modes(archive, packages):
    assert in_archive(archive) == below("usr/", packaged(packages.unpacked))


def test_everything_belongs_to_root_and_has_the_date_of_the_changelog(archive, packages):
    newest = succeed("dpkg-parsechangelog", "-l", packages.unpacked / "packaging/debian/changelog", "-S", "Timestamp")
    assert {(m.uid, m.gid, m.uname, m.gname, m.mtime) for m in archive} == {(0, 0, "root", "root", int(newest))}


def test_its_name_and_version_are_those_of_the_changelog_and_the_project(deb, packages, version):
    newest = succeed("dpkg-parsechangelog", "-l", packages.unpacked / "packaging/debian/changelog", "-S", "Version").strip()
    assert newest.rpartition("-")[0] == version
    assert field(deb, "Version") == newest
    assert deb.path.name == f"qv_{newest}_{deb.architecture}.deb"


def test_its_control_fields_say_what_it_is(deb):
    # Only a desk gets matplotlib by it.
    recommended = "iproute2, qv-plot" if deb.architecture == "amd64" else "iproute2"
    names = ("Package", "Architecture", "Section", "Priority", "Recommends", "Suggests")
    assert [field(deb, name) for name in names] == ["qv", deb.architecture, "net", "optional", recommended, "can-utils"]
    assert int(field(deb, "Installed-Size")) > 0


def test_it_depends_on_the_boards_own_libraries_in_a_version_that_debian_12_has(deb):
    found = dict(DEPENDENCY.fullmatch(dependency).groups() for dependency in field(deb, "Depends").split(", "))
    assert sorted(found) == ["libc6", "libgcc-s1", "libstdc++6"]


def test_pages_and_changelogs_are_compressed_without_a_name_and_time(archive):
    pages = [f"./usr/share/man/{page}.gz" for page in PAGES]
    for name in [*pages, "./usr/share/doc/qv/changelog.gz", "./usr/share/doc/qv/changelog.Debian.gz"]:
        data = archive.extractfile(name).read()
        # RFC 1952: no flag set, no time, and 2 for the slowest and best compression.
        assert (data[3], data[4:8], data[8]) == (0, bytes(4), 2), name
        assert gzip.decompress(data)


def test_lintian_finds_nothing_to_warn_of(deb):
    done = run("lintian", "--allow-root", "--fail-on", "error,warning", deb.path)
    assert (done.stdout + done.stderr, done.returncode) == ("", 0)


def test_its_programs_are_stripped_position_independent_and_bound_at_the_start(deb, archive, tmp_path):
    for name in PROGRAMS:
        program = tmp_path / name
        program.write_bytes(archive.extractfile(f"./usr/bin/{name}").read())
        shown = succeed("readelf", "--wide", "--file-header", "--sections", "--program-headers", "--dynamic", program)
        assert not re.search(r"\.symtab|\.debug|\.comment", shown), name
        assert re.search(r"Type: +DYN ", shown) and "GNU_RELRO" in shown and re.search(r"BIND_NOW|Flags: NOW", shown), name


def test_installed_its_programs_start_and_its_files_are_whole(deb, root, packages):
    root.dpkg("--install", deb.path)
    assert root.version() == field(deb, "Version")
    assert root.dpkg("--verify", "qv") == ""
    for name in PROGRAMS:
        shown = succeed(*deb.runner, root.folder / "usr/bin" / name, "-h")
        assert shown.startswith(f"usage: {name} "), shown


def test_its_manual_page_names_the_version(deb, root, version):
    root.dpkg("--install", deb.path)
    page = gzip.decompress((root.folder / "usr/share/man/man1/qvcan.1.gz").read_bytes()).decode()
    assert f"\n.Os qv {version}\n" in page


def test_an_upgrade_leaves_what_a_fresh_installation_has(deb, root, tmp_path):
    fresh = DpkgRoot(tmp_path / "fresh", deb.architecture)
    fresh.dpkg("--install", deb.path)

    root.dpkg("--install", older(deb.path, tmp_path))
    assert "the older version" in (root.folder / "usr/bin/qvcan").read_text(encoding="utf-8")
    root.dpkg("--install", deb.path)

    assert root.version() == field(deb, "Version")
    assert root.files() == fresh.files()


@pytest.mark.parametrize("removal", ["--remove", "--purge"])
def test_a_removal_leaves_nothing(deb, root, removal):
    before = root.files()
    root.dpkg("--install", deb.path)
    assert root.files() != before
    root.dpkg(removal, "qv")
    assert (root.files(), root.version(), root.traces()) == (before, None, [])


def test_a_root_without_its_libraries_refuses_it(deb, root):
    status = root.folder / "var/lib/dpkg/status"
    status.write_text(status.read_text(encoding="utf-8").replace("Version: 2.36-9", "Version: 2.31-13"), encoding="utf-8")
    done = root.dpkg("--install", deb.path, check=False)
    assert done.returncode == 1 and "libc6" in done.stderr
    assert root.version() is None


def pack_again(deb, umask, folder):
    words = f'umask {umask}; TZ=Asia/Tokyo LC_ALL=C cpack --config "{deb.path.parent}/CPackConfig.cmake" -G DEB -B "{folder}"'
    succeed("sh", "-c", words, cwd=deb.path.parent)
    return folder / deb.path.name


def test_packing_again_in_another_folder_language_and_clock_zone_gives_the_same_bytes(deb, tmp_path):
    assert pack_again(deb, "022", tmp_path).read_bytes() == deb.path.read_bytes()


def test_the_umask_of_who_packs_is_not_seen_in_it(deb, tmp_path):
    again = pack_again(deb, "077", tmp_path)
    # But for the modes of these three, which nobody unpacks.
    for member in ("debian-binary", "control.tar.gz", "data.tar.xz"):
        first, second = (subprocess.run(["ar", "p", path, member], capture_output=True, check=True).stdout for path in (deb.path, again))
        assert first == second, member


def test_a_changelog_that_was_forgotten_makes_no_package(packages, tmp_path):
    config = packages.host_build() / "CPackConfig.cmake"
    done = run("cpack", "--config", config, "-G", "DEB", "-D", "CPACK_PACKAGE_VERSION=9.9", "-B", tmp_path)
    assert done.returncode != 0 and "packaging/debian/changelog is at" in done.stderr
    assert list(tmp_path.glob("*.deb")) == []
