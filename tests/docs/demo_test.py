"""scripts/demo where something is missing: it says what in one line, and shows the same over qvbus."""

import os
from pathlib import Path
import shutil
import subprocess
import sys

import pytest

DEMO = Path(__file__).parents[2] / "scripts" / "demo"
NEEDED = ("bash", "cat", "dirname", "env", "grep", "id", "mktemp", "rm", "sed", "sleep", "tail")


@pytest.fixture
def demo(tmp_path):
    """demo(program...) runs it where these programs are beside the basic ones, and no package manager."""
    def run(*programs):
        tools = tmp_path / "bin"
        tools.mkdir()
        for program in map(Path, (*map(shutil.which, NEEDED), *programs)):
            (tools / program.name).symlink_to(program)
        (tmp_path / "tmp").mkdir()
        environment = {"PATH": str(tools), "TMPDIR": str(tmp_path / "tmp"), "QV_BIN": os.environ["QV_BIN"]}
        done = subprocess.run([DEMO], env=environment, stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=60, check=False)
        assert list((tmp_path / "tmp").iterdir()) == []
        return done
    return run


def test_without_can_utils_and_a_package_manager_the_demo_says_so_in_one_line_and_runs_over_qvbus(demo):
    done = demo("/usr/bin/python3")
    first, rest = done.stdout.split("\n", 1)
    assert first == "No CAN bus to be had here (no apt-get here to install can-utils): the same over qvbus, a bus in user space.", done
    assert "  qvbus -v -n 2 -l node" in rest and rest.endswith("\nAll came as promised.\n")
    assert (done.stderr, done.returncode) == ("", 0)


def test_over_qvbus_the_demo_ends_with_the_check_as_the_judge(demo):
    scene = demo("/usr/bin/python3").stdout.split("\nA judge that was told what the sender was told\n")[1]
    assert "  node1  qvcancheck -d ./node1 -f -l 500 " in scene
    assert "\n  PASS: 500 frames, none lost, repeated or reordered; 5 corrupted as told\n" in scene
    assert "\n  ok  the check passes, and every injected error is found\n\nAll came as promised.\n" in scene


def test_without_python_the_demo_shows_the_records_of_qvbus_and_says_that_nothing_is_checked(demo):
    done = demo()
    lines = done.stdout.splitlines()
    assert lines[0] == "No Python to check what crosses the bus: 12 pattern frames and their answers, as qvbus -v prints them", done
    assert [sum(f"/{node} " in line and "##" in line for line in lines) for node in ("node0", "node1")] == [12, 12], done
    assert done.returncode == 0


def test_the_scenes_need_no_python_package():
    scenes = DEMO.parent / "lib"
    subprocess.run([sys.executable, "-S", "-B", "-c", "import demo_scenes"], cwd=scenes, check=True)
