"""strace around a program: its system calls, and faults injected into them."""

import os
from pathlib import Path
import re

from qv.program import command, environment, Live, run_command


class Strace:
    """One traced program; the log is complete once it has ended."""

    def __init__(self, log):
        self.log = Path(log)

    def words(self, program, *options, only=None, inject=(), path=None):
        words = ["strace", "-f", "-qq", "-o", str(self.log)]
        words += ["-e", f"trace={only}"] if only else []
        words += ["-P", str(path)] if path else []
        for fault in inject:
            words += ["-e", f"inject={fault}"]
        return [os.fsencode(word) for word in words] + command(program, *options)

    def settings(self, popen):
        # The leak check of sanitized programs does not work under a tracer.
        options = os.environ.get("ASAN_OPTIONS")
        return {"env": environment(ASAN_OPTIONS=":".join(filter(None, [options, "detect_leaks=0"]))), **popen}

    def run(self, program, *options, only=None, inject=(), path=None, **popen):
        return run_command(self.words(program, *options, only=only, inject=inject, path=path), **self.settings(popen))

    def live(self, program, *options, only=None, inject=(), path=None, **popen):
        return Live(self.words(program, *options, only=only, inject=inject, path=path), **self.settings(popen))

    def calls(self, name=None):
        """The calls in order, without thread numbers; only those with the name, if given."""
        lines = [re.sub(r"^\d+ +", "", line) for line in self.log.read_text(errors="replace").splitlines()]
        return [re.sub(r"\) +=", ") =", line) for line in lines if name is None or line.startswith(f"{name}(")]
