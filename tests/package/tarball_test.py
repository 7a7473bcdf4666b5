"""The tarballs for ARM boards that have nothing on them."""

from pathlib import Path
import tarfile

import pytest

from qv.packager import run, succeed
from qv.packages import BOARDS
from qv.contents import below, in_archive, installed, PROGRAMS


@pytest.fixture
def tarball(packages, board):
    return packages.static_tarball(board)


@pytest.fixture
def top(version, board):
    return f"qv-{version}-{BOARDS[board][0]}-static"


def test_it_is_one_folder_with_exactly_what_is_installed(tarball, top, packages):
    assert tarball.name == f"{top}.tar.gz"
    with tarfile.open(tarball) as archive:
        assert in_archive(archive) == below(f"{top}/", installed(packages.unpacked))
        assert {(member.uid, member.gid) for member in archive} == {(0, 0)}


def test_unpacked_below_any_prefix_its_programs_need_nothing_of_the_board(tarball, board, tmp_path):
    succeed("tar", "-xzf", tarball, "-C", tmp_path, "--strip-components=1")
    for name in PROGRAMS:
        program = tmp_path / "bin" / name
        assert "INTERP" not in succeed("readelf", "--wide", "--program-headers", program)
        assert succeed(BOARDS[board][1], program, "-h").startswith(f"usage: {name} ")


def test_its_programs_are_position_independent_where_the_c_library_has_what_that_takes(tarball, board, tmp_path):
    succeed("tar", "-xzf", tarball, "-C", tmp_path, "--strip-components=1")
    start_file = succeed(f"{BOARDS[board][0]}-gcc", "-print-file-name=rcrt1.o").strip()
    expected = "DYN" if Path(start_file).is_absolute() else "EXEC"
    for name in PROGRAMS:
        assert f"Type:                              {expected} " in succeed("readelf", "--file-header", tmp_path / "bin" / name), name


def test_its_sum_lies_beside_it(tarball):
    assert succeed("sha256sum", "--check", f"{tarball.name}.sha256", cwd=tarball.parent) == f"{tarball.name}: OK\n"


def test_packing_again_in_other_surroundings_gives_the_same_bytes(tarball, tmp_path):
    words = f'umask 077; TZ=Asia/Tokyo LC_ALL=C cpack --config "{tarball.parent}/CPackConfig.cmake" -G TGZ -B "{tmp_path}"'
    succeed("sh", "-c", words, cwd=tarball.parent)
    assert (tmp_path / tarball.name).read_bytes() == tarball.read_bytes()


def test_no_debian_package_comes_of_a_static_build(tarball, tmp_path):
    done = run("cpack", "--config", tarball.parent / "CPackConfig.cmake", "-G", "DEB", "-B", tmp_path)
    assert done.returncode != 0 and "a static build makes no .deb" in done.stderr
    assert list(tmp_path.glob("*.deb")) == []
