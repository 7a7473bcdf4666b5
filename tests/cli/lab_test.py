"""scripts/lab without a bus: what it refuses, and the commands that a dry run shows. What it makes is tested in tests/bus/lab_test.py."""

from pathlib import Path
import shutil
import subprocess

import pytest

ROOT = Path(__file__).parents[2]
SCRIPT = ROOT / "scripts" / "lab"


def lab(*words, program="scripts/lab", **options):
    return subprocess.run([program, *words], cwd=options.pop("cwd", ROOT), stdin=subprocess.DEVNULL, capture_output=True, text=True,
                          **options)


@pytest.mark.parametrize("words, message", [
    ([], "up, down or status?"),
    (["--dry-run"], "up, down or status?"),
    (["start"], "unknown action start"),
    (["--verbose", "up"], "unknown option --verbose"),
    (["up", "can0"], "up takes two names, or none"),
    (["up", "can0", "can1", "can2"], "up takes two names, or none"),
    (["up", "can0", "can0"], "two ends in one place need two names"),
    (["up", "can0", "a/b"], "'a/b' is no name for an interface"),
    (["up", "can0", "can 1"], "'can 1' is no name for an interface"),
    (["up", "can0", ""], "'' is no name for an interface"),
    (["up", "can0", "can:1"], "'can:1' is no name for an interface"),
    (["up", "can0", "a123456789012345"], "'a123456789012345' is no name for an interface"),
    (["up", "--netns"], "--netns takes a name"),
    (["up", "--netns", ""], "--netns takes a name"),
    (["up", "--netns", "../net"], "--netns takes a name"),
    (["up", "--netns", "--dry-run"], "--netns takes a name"),
    (["up", "--profile"], "--profile takes 500k, lossy, reorder or bitflip"),
    (["up", "--profile", "500"], "--profile takes 500k, lossy, reorder or bitflip"),
    (["down", "can0", "can1"], "down takes one name, or none"),
    (["down", "--netns", "board"], "down takes no --netns"),
    (["--dry-run", "down"], "down takes no --dry-run"),
    (["status", "can0"], "status takes no name"),
    (["status", "--profile", "lossy"], "status takes no --profile"),
], ids=str)
def test_a_wrong_command_line_is_named_and_the_usage_shown(words, message):
    done = lab(*words)
    assert (done.stdout, done.returncode) == ("", 2)
    assert done.stderr == f"lab: {message}\n{lab('--help').stdout}"


@pytest.mark.parametrize("option", ["-h", "--help"])
def test_help_is_the_head_of_the_script(option):
    done = lab(option)
    head = SCRIPT.read_text(encoding="utf-8").partition("\nset ")[0].splitlines()[1:]
    assert (done.stderr, done.returncode) == ("", 0)
    assert done.stdout.splitlines() == [line[2:] for line in head]


@pytest.fixture
def needs_ip():
    if shutil.which("ip", path="/usr/sbin:/sbin:/usr/bin:/bin") is None:
        pytest.skip("the package iproute2 is not installed")


@pytest.mark.parametrize("words", [
    ["up"], ["up", "can8", "can9", "--netns", "board", "--profile", "lossy"], ["down"], ["down", "can8"],
], ids=" ".join)
def test_without_roots_rights_it_says_how_to_get_them(unprivileged, needs_ip, words):
    folder, settings = unprivileged
    done = lab(*words, program="./lab", cwd=folder, **settings)
    assert (done.stdout, done.stderr, done.returncode) == ("", f"lab: needs root: sudo ./lab {' '.join(words)}\n", 1)


TBF = "root handle 1: tbf rate 500kbit burst 1000 limit 64000"


@pytest.mark.parametrize("profiles, queues", [
    ([], []),
    (["500k"], [TBF, "parent 1:1 handle 10: pfifo limit 1000"]),
    (["lossy"], ["root handle 10: netem loss 5% duplicate 3%"]),
    (["bitflip"], ["root handle 10: netem corrupt 2%"]),
    (["reorder"], ["root handle 10: netem delay 20ms reorder 25% gap 3 limit 4000"]),
    (["reorder", "lossy", "lossy"], ["root handle 10: netem loss 5% duplicate 3% delay 20ms reorder 25% gap 3 limit 4000"]),
    (["bitflip", "500k"], [TBF, "parent 1:1 handle 10: netem corrupt 2%"]),
    (["reorder", "bitflip", "500k", "lossy"],
     [TBF, "parent 1:1 handle 10: netem loss 5% duplicate 3% corrupt 2% delay 20ms reorder 25% gap 3 limit 4000"]),
], ids=lambda value: "+".join(value))
def test_a_dry_run_needs_no_rights_and_shows_the_commands(unprivileged, needs_ip, profiles, queues):
    folder, settings = unprivileged
    options = [word for profile in profiles for word in ("--profile", profile)]
    done = lab("--dry-run", "up", "qvlab0", "qvlab1", *options, program="./lab", cwd=folder, **settings)
    names = "+".join(dict.fromkeys(profiles)) or "-"
    assert done.stdout.splitlines() == [
        "+ ip link add dev qvlab0 type vxcan peer name qvlab1",
        f"+ ip link set dev qvlab0 mtu 72 txqueuelen 1000 alias qv-lab:far=qvlab1:netns=-:profiles={names} up",
        "+ ip link set dev qvlab1 mtu 72 txqueuelen 1000 alias qv-lab:near=qvlab0 up",
        *[f"+ tc qdisc add dev {end} {queue}" for end in ("qvlab0", "qvlab1") for queue in queues],
    ]
    assert (done.stderr, done.returncode) == ("", 0)
