"""A packager's commands, in an environment with nothing of the caller's except the path to the tools."""

import os
import subprocess

PATIENCE = 500  # seconds; only a failure waits that long


def environment(**more):
    return {"PATH": os.environ["PATH"] + ":/usr/sbin:/sbin", "HOME": "/nonexistent", "LC_ALL": "C.UTF-8", **more}


def run(*words, **popen):
    """The finished command, whatever its status."""
    popen.setdefault("env", environment())
    words = [str(word) for word in words]
    return subprocess.run(words, stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=PATIENCE, check=False, **popen)


def succeed(*words, **popen):
    """What the command prints; it must succeed."""
    done = run(*words, **popen)
    assert done.returncode == 0, f"{done.args}: status {done.returncode}\n{done.stdout}{done.stderr}"
    return done.stdout
