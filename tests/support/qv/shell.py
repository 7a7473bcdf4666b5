"""Completions, requested from the shells themselves."""

import os
from pathlib import Path
import pty
import select
import shlex
import subprocess
import time

from qv.options import PATIENCE

COMPLETION = Path(__file__).resolve().parents[3] / "completion"


def clean_environment(**more):
    return {"PATH": os.environ["PATH"], "HOME": "/nonexistent", "LC_ALL": "C.UTF-8", "TERM": "dumb", **more}


class Bash:
    """`net` replaces /sys/class/net."""

    def __init__(self, folder, net):
        self.folder = folder
        self.setting = f"source {shlex.quote(str(COMPLETION / 'qv.bash'))}; _qv_net={shlex.quote(str(net))}"

    def function(self, *words):
        """COMPREPLY for a line that bash has split into these words; the last one is completed."""
        ask = ('COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _qv "$1" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD-1]}";'
               'printf "%s\\n" "${COMPREPLY[@]}"')
        done = subprocess.run(["bash", "--norc", "-c", f"{self.setting}; {ask}", "bash", *words], cwd=self.folder, env=clean_environment(),
                              capture_output=True, text=True, timeout=PATIENCE, check=True)
        assert done.stderr == ""
        return [word for word in done.stdout.split("\n") if word]

    def typed(self, line):
        """The words of a line typed into an interactive bash, after the key that inserts all completions (M-*)."""
        program = line.split()[0]
        result = self.folder.parent / "typed"
        rc = self.folder.parent / "bashrc"
        file = shlex.quote(str(result))
        rc.write_text(f"{self.setting}\n{program}() {{ printf '%s\\n' \"$@\" >{file}.new; mv {file}.new {file}; exit; }}\nPS1='ready>'\n",
                      encoding="utf-8")
        return in_terminal(["bash", "--noprofile", "--rcfile", str(rc), "-i"], self.folder, result, b"ready>", f"{line}\x1b*\r".encode())


class Zsh:
    """`net` replaces /sys/class/net. The line editor runs the full completion system and records what it offers."""

    RC = """
fpath=({completion} $fpath)
autoload -Uz compinit && compinit -u -D
_qv_net() {{ print -r -- {net} }}
typeset -ga offered
compadd() {{
    if [[ " ${{@[1,(i)(-|--)]}}" == *' -'(O|A|D)* ]]; then
        builtin compadd "$@"
    else
        local -a hits
        builtin compadd -O hits "$@"
        offered+=(${{IPREFIX}}${{^hits}})
        builtin compadd "$@"
    fi
}}
note() {{ _main_complete; compstate[insert]='' compstate[list]='' }}
zle -C note complete-word note
zle-line-init() {{
    BUFFER={line} CURSOR=$#BUFFER
    zle note
    print -rl -- $offered >{result}.new
    mv {result}.new {result}
    exit
}}
zle -N zle-line-init
"""

    def __init__(self, folder, net):
        self.folder = folder
        self.net = net

    def complete(self, line):
        home = self.folder.parent
        result = home / "offered"
        setting = {"completion": COMPLETION, "net": self.net, "line": line, "result": result}
        (home / ".zshrc").write_text(self.RC.format(**{key: shlex.quote(str(value)) for key, value in setting.items()}), encoding="utf-8")
        return in_terminal(["zsh", "-d", "-i"], self.folder, result, None, b"", ZDOTDIR=str(home))


def in_terminal(command, folder, result, prompt, keys, **environment):
    """Runs a shell in a terminal, sends the keys once it has shown its prompt, and returns the lines of the file that it writes."""
    result.unlink(missing_ok=True)
    master, slave = pty.openpty()
    shell = subprocess.Popen(command, cwd=folder, env=clean_environment(**environment), stdin=slave, stdout=slave, stderr=slave,
                             start_new_session=True)
    os.close(slave)
    seen = b""
    deadline = time.monotonic() + PATIENCE
    try:
        while shell.poll() is None and time.monotonic() < deadline:
            if select.select([master], [], [], 0.1)[0]:
                try:
                    seen += os.read(master, 65536)
                except OSError:  # the shell has gone
                    break
            if prompt and prompt in seen:
                os.write(master, keys)
                prompt = None
        shell.wait(timeout=PATIENCE)
    finally:
        shell.kill()
        shell.wait()
        os.close(master)
    assert result.exists(), seen.decode(errors="replace")
    return [line for line in result.read_text(encoding="utf-8").split("\n") if line]
