"""A soak: the programs under disturbances for a time, and their verdicts held against what was done. scripts/soak starts it.

usage: run.py can|device_file SECONDS SEED [PHASE,...]
"""

from contextlib import closing
import importlib
from pathlib import Path
import random
import sys
import time
import traceback

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "support"))

from account import Account  # noqa: E402
from usage import HEADING  # noqa: E402


def say(text):
    print(text, flush=True)


def kind_of_bus(name):
    """The module with its Bed and PHASES."""
    return importlib.import_module({"can": "canbus", "device_file": "devicefile"}[name])


def plan(phases, chance):
    """All phases once in random order, then all of them again."""
    while True:
        yield from chance.sample(phases, len(phases))


def soak(bed, phases, seconds):
    account, programs, end, frames = bed.account, bed.watched(), time.monotonic() + seconds, 0
    for number, phase in enumerate(plan(phases, bed.random), 1):
        account.phase = f"{number} {phase.__name__}"
        began = time.monotonic()
        frames += bed.play(phase)
        for program in programs:
            program.look()
        say(f"{time.monotonic() - began:6.1f} s  {account.phase:<28} {frames:>11,} frames  {'BROKEN' if account.broken(account.phase) else 'ok'}")
        for row in account.broken(account.phase):
            say(f"          {row}")
        if time.monotonic() > end:
            return programs, frames
    raise AssertionError("the plan has no end")


def finish(bed, programs, frames):
    account = bed.account
    account.phase = "whole run"
    for program in programs:
        program.look()
        program.judge(account)
    return frames + bed.finish()


def table(account, programs, frames):
    say(f"\n{'figure':<56} {'held':>5} {'at least':>12} {'at most':>12} {'found':>12}")
    for kind, held, low, high, found in account.by_kind():
        say(f"{kind:<56} {held:>5} {low:>12,} {high:>12,} {found:>12,}")
    say(f"\n{HEADING}")
    for program in programs:
        say(program.line())
    say(f"\nframes: {frames:,}")


def main(bus, seconds, seed, only=""):
    kind = kind_of_bus(bus)
    named = {phase.__name__: phase for phase in kind.PHASES}
    chosen = [name for name in only.split(",") if name] or list(named)
    unknown = [name for name in chosen if name not in named]
    if unknown:
        print(f"soak: no phase {unknown[0]}; there are {', '.join(named)}", file=sys.stderr)
        return 2
    phases = [named[name] for name in chosen]
    account = Account()
    with closing(kind.Bed(random.Random(seed), account, 4000 if seconds <= 120 else 40000)) as bed:
        try:
            programs, frames = soak(bed, phases, seconds)
            frames = finish(bed, programs, frames)
        except AssertionError:
            say(traceback.format_exc())
            say(f"BROKEN in {account.phase}")
            return 1
    table(account, programs, frames)
    for row in account.broken():
        say(f"BROKEN  {row}")
    say(f"{len(account.rows)} figures held, {len(account.broken())} broken")
    return 1 if account.broken() else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], int(sys.argv[2]), int(sys.argv[3]), *sys.argv[4:]))
