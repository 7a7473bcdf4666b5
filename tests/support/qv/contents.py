"""What is installed, and where: the one list against which packages, tarballs and installations are checked."""

from pathlib import PurePosixPath

PROGRAMS = ("qvcan", "qvcandev", "qvbus", "qvcancheck")
PAGES = ("man1/qvcan.1", "man1/qvcandev.1", "man1/qvbus.1", "man1/qvcancheck.1", "man5/qvpattern.5", "man5/qvtrace.5", "man7/qv.7")


def installed(tree):
    """File below the prefix: mode, for an installation of the source tree."""
    files = {f"bin/{name}": 0o755 for name in PROGRAMS}
    plain = [f"share/man/{page}" for page in PAGES]
    plain += [f"share/bash-completion/completions/{name}" for name in PROGRAMS]
    plain += ["share/zsh/site-functions/_qv"]
    plain += [f"share/doc/qv/{name}" for name in ("README", "CHANGELOG.md", "copyright", "trace-record.md", "recipes.md")]
    plain += [f"share/doc/qv/{path.name}" for path in (tree / "docs").glob("*.json")]
    return files | dict.fromkeys(plain, 0o644)


def plotting(tree):
    """The same for qvcancheck-plot, which only a workstation needs."""
    plain = ["share/man/man1/qvcancheck-plot.1", "share/bash-completion/completions/qvcancheck-plot"]
    plain += [f"share/qv/qvplot/{path.name}" for path in (tree / "qvplot").glob("*.py")]
    return {"bin/qvcancheck-plot": 0o755} | dict.fromkeys(plain, 0o644)


def packaged_plot(tree):
    """The contents of qv-plot, below /usr."""
    files = {(f"{path}.gz" if path.startswith("share/man/") else path): mode for path, mode in plotting(tree).items()}
    return files | dict.fromkeys(["share/doc/qv-plot/copyright", "share/doc/qv-plot/changelog.Debian.gz"], 0o644)


def packaged(tree):
    """The same for a .deb, below /usr: pages and changelogs as in Debian policy (12.1, 12.7), completion where its zsh searches."""
    files = {(f"{path}.gz" if path.startswith("share/man/") else path): mode for path, mode in installed(tree).items()}
    for moved in ("share/doc/qv/CHANGELOG.md", "share/zsh/site-functions/_qv"):
        del files[moved]
    more = ("share/doc/qv/changelog.gz", "share/doc/qv/changelog.Debian.gz", "share/zsh/vendor-completions/_qv")
    return files | dict.fromkeys(more, 0o644)


def below(prefix, files):
    """The files below a prefix, with their parent folders; "" is the root of all."""
    found = {f"{prefix}{path}": mode for path, mode in files.items()}
    folders = {str(parent) for path in found for parent in PurePosixPath(path).parents} - {"."}
    return found | dict.fromkeys(folders, 0o755)


def on_disk(root):
    return {str(path.relative_to(root)): path.stat().st_mode & 0o7777 for path in root.rglob("*")}


def in_archive(archive):
    return {member.name.removeprefix("./").rstrip("/"): member.mode for member in archive if member.name.rstrip("/") != "."}
