"""Makes the packages from the source tarball, each once, without git or a network."""

import shutil

from qv.packager import environment, run, succeed

NO_NETWORK = next((words for words in (["unshare", "-n"], ["unshare", "-rn"]) if run(*words, "true").returncode == 0), None)


class Packages:
    def __init__(self, tree, folder):
        self.tree = tree  # the developer's
        self.folder = folder
        self.built = {}
        self.git_calls = folder / "git_calls"
        tools = folder / "tools"
        tools.mkdir()
        (tools / "git").write_text(f'#!/bin/sh\necho "$*" >>"{self.git_calls}"\nexit 1\n', encoding="utf-8")
        (tools / "git").chmod(0o755)
        self.environment = environment()
        self.environment["PATH"] = f"{tools}:{self.environment['PATH']}"
        self.source = self.source_tarball(tree, folder / "source")
        # Not with the dates of the changelog: this machine's clock may be behind them, and ninja loops forever on files from the future.
        succeed("tar", "-xzf", self.source, "-C", folder, "--touch")
        self.unpacked = folder / self.source.name.removesuffix(".tar.gz")

    def source_tarball(self, tree, folder):
        succeed("cmake", "--preset", "release", "-S", tree, "-B", folder / "configured", cwd=tree)
        succeed("cpack", "--config", folder / "configured/CPackSourceConfig.cmake", "-B", folder, cwd=folder)
        return only(folder.glob("*.tar.gz"))

    def workflow(self, name, preset, pattern):
        """The package that a workflow preset leaves in its build folder."""
        if name not in self.built:
            self.built[name] = run(*(NO_NETWORK or []), "cmake", "--workflow", "--preset", name, cwd=self.unpacked, env=self.environment)
        done = self.built[name]
        assert done.returncode == 0, done.stdout + done.stderr
        return only((self.unpacked / "build" / preset).glob(pattern))

    def host_deb(self):
        return self.workflow("deb", "release", "qv_*.deb")

    def plot_deb(self):
        return self.workflow("deb", "release", "qv-plot_*.deb")

    def board_deb(self, board):
        return self.workflow(f"deb-{board}", board, "*.deb")

    def static_tarball(self, board):
        return self.workflow(f"tarball-{board}-static", f"{board}-static", "*.tar.gz")

    def host_build(self):
        self.host_deb()
        return self.unpacked / "build/release"


def only(paths):
    (path,) = paths
    return path


BOARDS = {"armhf": ("arm-linux-gnueabihf", "qemu-arm"), "arm64": ("aarch64-linux-gnu", "qemu-aarch64")}  # machine, emulator


def lacks_for(board):
    """Why nothing can be made for the board and run here, or None."""
    machine, emulator = BOARDS[board]
    needed = {f"{machine}-g++": f"g++-{machine}", emulator: "qemu-user"}
    missing = [package for tool, package in needed.items() if shutil.which(tool) is None]
    return "not installed: " + " ".join(missing) if missing else None
