"""A separate root for dpkg, in which only the package's dependencies are installed, and those only in the database."""

import os
import shutil

from qv.packager import run, succeed

# The libraries of Debian 12, the release for which the packages are made.
DEBIAN_12 = {"libc6": "2.36-9", "libgcc-s1": "12.2.0-14", "libstdc++6": "12.2.0-14"}


class DpkgRoot:
    def __init__(self, folder, architecture):
        self.folder = folder
        self.architecture = architecture
        database = folder / "var/lib/dpkg"
        (database / "info").mkdir(parents=True)
        (database / "updates").mkdir()
        rows = [
            f"Package: {name}\nStatus: install ok installed\nArchitecture: {architecture}\nMulti-Arch: same\n"
            f"Maintainer: none <none@example.org>\nVersion: {version}\nDescription: stands in the database only\n"
            for name, version in DEBIAN_12.items()
        ]
        (database / "status").write_text("\n".join(rows), encoding="utf-8")
        # A board's dpkg has one architecture, its own: here this machine's is added.
        own = succeed("dpkg", "--print-architecture").strip()
        (database / "arch").write_text("".join(f"{name}\n" for name in sorted({own, architecture})), encoding="utf-8")

    def dpkg(self, *words, check=True):
        """dpkg in this root. The machine's own log, and its rules that omit documents, do not apply."""
        as_root = ["fakeroot", "--"] if os.geteuid() != 0 else []
        forced = ["--force-not-root"] if as_root else []
        command = [*as_root, "dpkg", *forced, f"--root={self.folder}", "--log=/dev/null", "--path-include=*", *words]
        return (succeed if check else run)(*command)

    def version(self):
        """The installed version, or None."""
        done = run("dpkg-query", f"--admindir={self.folder}/var/lib/dpkg", "--show", "--showformat=${db:Status-Status} ${Version}", "qv")
        status, _, version = done.stdout.partition(" ")
        return version if status == "installed" else None

    def files(self):
        """Every file and folder outside dpkg's database, with its contents."""
        return {
            str(path.relative_to(self.folder)): path.read_bytes() if path.is_file() else None
            for path in self.folder.rglob("*")
            if "var" not in path.relative_to(self.folder).parts[:1]
        }

    def traces(self):
        """What dpkg's own database still contains about the package."""
        return sorted(path.name for path in (self.folder / "var/lib/dpkg/info").glob("qv*"))


def older(deb, folder):
    """The package as an earlier version might have been: other programs, and files that no longer exist."""
    tree = folder / "older"
    succeed("dpkg-deb", "--raw-extract", deb, tree)
    control = tree / "DEBIAN/control"
    control.write_text(control.read_text(encoding="utf-8").replace("\nVersion: ", "\nVersion: 0.0.9~of."), encoding="utf-8")
    for name in ("qvcan", "qvcandev"):
        (tree / "usr/bin" / name).write_text("#!/bin/sh\necho the older version\n", encoding="utf-8")
    shutil.move(tree / "usr/bin/qvbus", tree / "usr/bin/qvoldbus")
    (tree / "usr/share/qv").mkdir()
    (tree / "usr/share/qv/gone").write_text("a file and a folder that went\n", encoding="utf-8")
    (tree / "DEBIAN/md5sums").unlink()
    made = folder / "older.deb"
    succeed("dpkg-deb", "--root-owner-group", "--build", tree, made)
    return made
