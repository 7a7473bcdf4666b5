"""What is installed, and where: the one list that packages, tarballs and installations are held against."""

from pathlib import PurePosixPath

PROGRAMS = ("qvcan", "qvcandev", "qvbus")
PAGES = ("man1/qvcan.1", "man1/qvcandev.1", "man1/qvbus.1", "man5/qvtrace.5", "man7/qv.7")


def installed(tree):
    """File below the prefix: mode, of an installation of the source tree."""
    files = {f"bin/{name}": 0o755 for name in PROGRAMS}
    plain = [f"share/man/{page}" for page in PAGES]
    plain += [f"share/bash-completion/completions/{name}" for name in PROGRAMS]
    plain += ["share/zsh/vendor-completions/_qv"]
    plain += [f"share/doc/qv/{name}" for name in ("README.md", "CHANGELOG.md", "copyright")]
    plain += [f"share/doc/qv/docs/{path.relative_to(tree / 'docs')}" for path in (tree / "docs").rglob("*") if path.is_file()]
    return files | dict.fromkeys(plain, 0o644)


def packaged(tree):
    """The same of a .deb, below /usr: pages and changelogs as Debian policy (12.1, 12.7) wants them."""
    files = {(f"{path}.gz" if path.startswith("share/man/") else path): mode for path, mode in installed(tree).items()}
    del files["share/doc/qv/CHANGELOG.md"]
    return files | dict.fromkeys(["share/doc/qv/changelog.gz", "share/doc/qv/changelog.Debian.gz"], 0o644)


def below(prefix, files):
    """The files below a prefix, with the folders that lead to them; "" is the root of all."""
    found = {f"{prefix}{path}": mode for path, mode in files.items()}
    folders = {str(parent) for path in found for parent in PurePosixPath(path).parents} - {"."}
    return found | dict.fromkeys(folders, 0o755)


def on_disk(root):
    return {str(path.relative_to(root)): path.stat().st_mode & 0o7777 for path in root.rglob("*")}


def in_archive(archive):
    return {member.name.removeprefix("./").rstrip("/"): member.mode for member in archive if member.name.rstrip("/") != "."}
