"""The recipes for Buildroot and Yocto, as far as Debian's tools can read them: neither of the two is packaged."""

import hashlib
import re

import kconfiglib
import pytest

from qv.packager import run, succeed
from qv.contents import below, installed


@pytest.fixture(scope="module")
def buildroot(packages):
    return packages.unpacked / "packaging/buildroot"


@pytest.fixture(scope="module")
def makefile(buildroot, tmp_path_factory):
    """The variables of the recipe for Buildroot, read by make where cmake-package only says that it was called."""
    stub = tmp_path_factory.mktemp("make") / "Makefile"
    stub.write_text(
        "TOPDIR = /topdir\n"
        "cmake-package = $(info infrastructure=cmake-package)\n"
        f"include {buildroot}/qv.mk\n"
        "$(foreach name,$(filter QV_%,$(.VARIABLES)),$(info $(name)=$($(name))))\n"
        "all: ;\n",
        encoding="utf-8",
    )
    done = run("make", "--warn-undefined-variables", "--silent", "-f", stub)
    assert (done.stderr, done.returncode) == ("", 0)
    return dict(line.split("=", 1) for line in done.stdout.splitlines() if "=" in line)


ASSIGNMENT = re.compile(r'([A-Za-z0-9_:${}.-]+?)(?:\[\w+\])? *(?:\?=|=\+|\+=|=) *"([^"]*)"')


def recipe_path(packages, version):
    return packages.unpacked / f"packaging/yocto/qv_{version}.bb"


@pytest.fixture(scope="module")
def bitbake(packages, version):
    """The variables of the recipe for Yocto, whose name has the version in it. Each line must be of a kind that is known here."""
    found = {"inherit": []}
    text = recipe_path(packages, version).read_text(encoding="utf-8").replace("\\\n", "")
    for line in (line for line in text.splitlines() if line and not line.startswith("#")):
        assignment = ASSIGNMENT.fullmatch(line)
        if line.startswith("inherit "):
            found["inherit"] += line.split()[1:]
        else:
            assert assignment, f"neither assignment nor inherit: {line}"
            found[assignment[1]] = assignment[2]
    known = {"${PN}": "qv", "${PV}": version, "${datadir}": "/usr/share"}

    def expanded(words):
        return re.sub(r"\$\{\w+\}", lambda name: known[name[0]], words)

    return {expanded(name): value if name == "inherit" else expanded(value) for name, value in found.items()}


def configure_again(packages, options):
    """Configures the built tree once more: what CMake has to say of the options, and what there is to build anew with them."""
    done = run("cmake", "-S", packages.unpacked, "-B", packages.host_build(), *options.split())
    assert done.returncode == 0, done.stderr
    work = succeed("cmake", "--build", packages.host_build()).strip()
    succeed("cmake", "-S", packages.unpacked, "-B", packages.host_build(), "-DQV_PLOT=ON")  # as it was, for other tests
    return done.stderr, work


SAME_BUILD = "ninja: no work to do."


def test_buildroot_gets_this_version_as_a_cmake_package_from_the_recipes_own_folder(makefile, buildroot, packages, version):
    assert makefile["infrastructure"] == "cmake-package"
    assert (makefile["QV_VERSION"], makefile["QV_SOURCE"]) == (version, packages.source.name)
    # The recipe's own folder, wherever it is copied to.
    assert makefile["QV_SITE"] == f"file://{buildroot}"


def test_buildroot_is_told_that_there_is_no_licence(makefile, packages):
    assert (makefile["QV_LICENSE"], makefile["QV_REDISTRIBUTE"]) == ("PROPRIETARY", "NO")
    assert "A licence has not been chosen yet" in (packages.unpacked / makefile["QV_LICENSE_FILES"]).read_text(encoding="utf-8")


def test_buildroots_options_make_the_product(makefile, packages):
    # CMake would warn of an option that nobody reads.
    assert configure_again(packages, makefile["QV_CONF_OPTS"]) == ("", SAME_BUILD)


def test_the_options_that_buildroot_gives_to_every_package_change_nothing(packages):
    # Of its pkg-cmake.mk. It does warn of those that are not ours.
    _, work = configure_again(packages, "-DCMAKE_INSTALL_PREFIX=/usr -DBUILD_SHARED_LIBS=ON -DBUILD_TESTING=OFF -DBUILD_DOCS=OFF")
    assert work == SAME_BUILD


def test_buildroots_menu_offers_it_where_the_toolchain_can_build_it(buildroot, tmp_path, monkeypatch):
    needs = ["INSTALL_LIBSTDCPP", "TOOLCHAIN_HAS_THREADS", "TOOLCHAIN_GCC_AT_LEAST_7", "TOOLCHAIN_HEADERS_AT_LEAST_3_6"]
    top = tmp_path / "Config.in"
    others = ["ARCH_IS_64", "TOOLCHAIN_USES_UCLIBC", "HOST_CMAKE_AT_LEAST_3_22", "PACKAGE_JSON_FOR_MODERN_CPP"]
    rows = [f'config BR2_{name}\n\tbool "{name}"\n' for name in needs + others]
    top.write_text("".join(rows) + f'source "{buildroot}/Config.in"\n', encoding="utf-8")
    monkeypatch.setenv("KCONFIG_WARN_UNDEF", "y")
    menu = kconfiglib.Kconfig(str(top), warn_to_stderr=False)
    assert menu.warnings == []

    package = menu.syms["BR2_PACKAGE_QV"]
    (comment,) = menu.comments
    for name in needs:
        menu.syms[f"BR2_{name}"].set_value(2)
    assert (package.visibility, kconfiglib.expr_value(comment.dep)) == (2, 0)
    for name in needs:
        menu.syms[f"BR2_{name}"].set_value(0)
        assert (package.visibility, kconfiglib.expr_value(comment.dep)) == (0, 2), name
        menu.syms[f"BR2_{name}"].set_value(2)
    menu.syms["BR2_TOOLCHAIN_USES_UCLIBC"].set_value(2)
    assert (package.visibility, kconfiglib.expr_value(comment.dep)) == (0, 0)
    menu.syms["BR2_ARCH_IS_64"].set_value(2)
    assert (package.visibility, package.set_value(2), menu.syms["BR2_HOST_CMAKE_AT_LEAST_3_22"].tri_value) == (2, True, 2)
    text = (buildroot / "Config.in").read_text(encoding="utf-8").splitlines()
    assert max(len(line.expandtabs(8)) for line in text) <= 80
    # Buildroot's manual: a tab, two blanks and 62 characters of help.
    assert max(len(line) - 3 for line in text if line.startswith("\t  ")) <= 62


@pytest.mark.parametrize("recipe", ["buildroot/Config.in", "buildroot/qv.mk", "buildroot/qv.hash", "yocto/qv_{version}.bb"])
def test_a_recipe_that_has_not_run_says_so_in_its_first_line(packages, version, recipe):
    text = (packages.unpacked / "packaging" / recipe.format(version=version)).read_text(encoding="utf-8")
    assert text.startswith("# Not run in ")


def test_buildroots_hash_file_is_filled_by_the_command_that_it_names(buildroot, packages, tmp_path):
    text = (buildroot / "qv.hash").read_text(encoding="utf-8")
    assert [line for line in text.splitlines() if not line.startswith("#")] == []
    (command,) = [line.lstrip("# ") for line in text.splitlines() if line.startswith("#   ")]
    sums = packages.source.with_name(f"{packages.source.name}.sha256")
    (tmp_path / sums.name).write_bytes(sums.read_bytes())
    (tmp_path / "package/qv").mkdir(parents=True)
    succeed("sh", "-c", command, cwd=tmp_path)
    sha256 = hashlib.sha256(packages.source.read_bytes()).hexdigest()
    # Buildroot's manual: the kind of the sum, the sum and the name, with two blanks between them.
    assert (tmp_path / "package/qv/qv.hash").read_text(encoding="utf-8") == f"sha256  {sha256}  {packages.source.name}\n"


def test_yocto_gets_this_version_and_is_told_that_there_is_no_licence(bitbake, packages):
    assert bitbake["SRC_URI"] == f"file://{packages.source.name}"
    assert bitbake["LICENSE"] == "CLOSED"
    assert bitbake["inherit"] == ["cmake", "bash-completion"]


def test_yoctos_options_make_the_product(bitbake, packages):
    assert configure_again(packages, bitbake["EXTRA_OECMAKE"]) == ("", SAME_BUILD)


def test_yocto_has_a_package_for_every_installed_file(bitbake, packages):
    split = {
        bitbake["PACKAGES"]: bitbake["FILES:qv-zsh-completion"],
        "qv-bash-completion": "/usr/share/bash-completion",  # by the class of that name
        "qv": "/usr/bin",  # by bitbake.conf, as the next
        "qv-doc": "/usr/share/doc /usr/share/man",
    }
    owners = {
        file: [name for name, folders in split.items() if any(f"/{file}".startswith(f"{folder}/") for folder in folders.split())]
        for file in below("usr/", installed(packages.unpacked))
        if f"/{file}".count("/") > 3 or "/bin/" in file
    }
    assert {len(names) for names in owners.values()} == {1}, owners
    assert {name for names in owners.values() for name in names} == set(split)
