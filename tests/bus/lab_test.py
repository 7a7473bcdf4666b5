"""scripts/lab: the bus that it makes is there and behaves as told, what cannot be finished is undone, and nothing else is touched."""

from collections import namedtuple
import json
import os
from pathlib import Path
import shlex
import shutil
import socket
import subprocess

import pytest

from qv.frame import pattern
from qv.pair import command, Pair
from qv.watched import Program
from qv.waiting import wait_until

ROOT = Path(__file__).parents[2]
NAMESPACE = "qv-board"
NAMESPACES = Path("/run/netns")

Result = namedtuple("Result", "out err status")


def links(*place):
    """All that ip tells of each interface there, by name."""
    return {link["ifname"]: link for link in json.loads(command("ip", *place, "-j", "link", "show"))}


def names():
    return {name for _, name in socket.if_nameindex()}


def namespaces():
    return set(os.listdir(NAMESPACES)) if NAMESPACES.exists() else set()


def queues(name):
    return json.loads(command("tc", "-j", "qdisc", "show", "dev", name))


def differing_bits(one, other):
    """Between two frames as candump shows them. Of a frame whose length was hit the rest of the data cannot be seen."""
    bits = bin(one.can_id ^ other.can_id).count("1") + bin(one.flags ^ other.flags).count("1")
    bits += bin(len(one.data) ^ len(other.data)).count("1")
    return bits + sum(bin(a ^ b).count("1") for a, b in zip(one.data, other.data))


class Arrived:
    """Frames in the order of the pattern of which they are, where some may be lost, some repeated, and some differ in one bit."""

    def __init__(self, seen, expected):
        indices, self.flipped = [], 0
        index = 0
        for frame in seen:
            index = next((i for i in range(index, len(expected)) if differing_bits(frame, expected[i]) <= 1), None)
            assert index is not None, f"{frame} is not in its place in the pattern"
            indices.append(index)
            self.flipped += differing_bits(frame, expected[index])
        self.lost = len(expected) - len(set(indices))
        self.repeated = len(indices) - len(set(indices))


class LabBus(Pair):
    """The pair as lab makes it."""

    def __init__(self, lab):
        self.near, self.far = "vxcan0", "vxcan1"
        self.lab = lab

    def make(self, *profiles):
        done = self.lab("up", *(word for profile in profiles for word in ("--profile", profile)))
        assert done.status == 0, done
        # Where there are several processors, one hands on all frames: each by itself would let them overtake one another.
        for name in (self.near, self.far):
            for setting in Path("/sys/class/net", name).glob("queues/rx-*/rps_cpus"):
                setting.write_text("1")

    def become_clean(self, name):
        """Returns when all that waits has been sent, and then no profile is in the way of what follows."""
        def empty():
            return all(queue["qlen"] == 0 for queue in json.loads(command("tc", "-j", "-s", "qdisc", "show", "dev", name)))
        wait_until(empty, f"the queue of {name} to be empty")
        command("tc", "qdisc", "delete", "dev", name, "root")


@pytest.fixture
def lab():
    """lab(word...) runs scripts/lab. Afterwards nothing is left, whatever it did."""
    def run(*words, before=(), path=None, **options):
        environment = dict(os.environ, PATH=f"{path}:{os.environ['PATH']}") if path else None
        options.setdefault("stdout", subprocess.PIPE)
        done = subprocess.run([*before, "scripts/lab", *words], cwd=ROOT, stderr=subprocess.PIPE, stdin=subprocess.DEVNULL, text=True,
                              env=environment, **options)
        return Result(done.stdout, done.stderr, done.returncode)

    names_before, namespaces_before = names(), namespaces()
    yield run
    for name in names() - names_before:
        subprocess.run(["ip", "link", "delete", "dev", name], stderr=subprocess.DEVNULL)  # its other end may have taken it along
    for name in namespaces() - namespaces_before:
        command("ip", "netns", "delete", name)
    assert (names(), namespaces()) == (names_before, namespaces_before)


@pytest.fixture
def bus(lab):
    return LabBus(lab)


@pytest.fixture(scope="session")
def naming():
    """Why no namespace can be given a name here, or nothing."""
    tried = subprocess.run(["ip", "netns", "add", NAMESPACE], capture_output=True, text=True)
    if tried.returncode == 0:
        command("ip", "netns", "delete", NAMESPACE)
    return tried.stderr.strip()


@pytest.fixture
def place(naming):
    """A name for a namespace."""
    if naming:
        pytest.skip(f"no network namespace can have a name here: {naming}")
    return NAMESPACE


@pytest.fixture
def stand_in(tmp_path):
    """stand_in(tool, script) puts a shell script in the tool's place and returns the folder; $REAL in it is the tool."""
    def make(tool, script):
        path = tmp_path / "tools" / tool
        path.parent.mkdir(exist_ok=True)
        path.write_text(f"#!/bin/sh\nREAL={shutil.which(tool)}\nHERE={path.parent}\n{script}\n", encoding="utf-8")
        path.chmod(0o755)
        return path.parent
    return make


NO_TYPE = "Error: Unknown device type."
NO_KIND = "Error: Specified qdisc kind is unknown."


def refusing(word, message):
    """What a tool does whose kernel has not what the word stands for, until the module has been loaded."""
    module = word if word == "vxcan" else f"sch_{word}"
    return f'case " $* " in *" add "*" {word} "*) [ -e $HERE/{module} ] || {{ echo "{message}" >&2; exit 2; }} ;; esac; exec $REAL "$@"'


CANNOT_LOAD = 'echo "modprobe: FATAL: Module $1 not found" >&2; exit 1'
CAN_LOAD = ': >$HERE/$1'


def is_ready(link):
    return link["mtu"] == 72 and link["txqlen"] == 1000 and "UP" in link["flags"] and link["operstate"] == "UP"


def test_up_and_down_say_what_they_do(lab):
    assert lab("up") == Result("""\
+ ip link add dev vxcan0 type vxcan peer name vxcan1
+ ip link set dev vxcan0 mtu 72 txqueuelen 1000 alias qv-lab:far=vxcan1:netns=-:profiles=- up
+ ip link set dev vxcan1 mtu 72 txqueuelen 1000 alias qv-lab:near=vxcan0 up
The bus is there. Each of these in a shell of its own:
  qvcan -d vxcan1 -f -a -vv
  qvcan -d vxcan0 -f -p -l 0 -t 10m -j 0 -vv
To end it: scripts/lab down vxcan0
""", "", 0)
    ends = links()
    assert is_ready(ends["vxcan0"]) and is_ready(ends["vxcan1"])
    assert lab("down") == Result("+ ip link delete dev vxcan0\n", "", 0)


def test_what_qvcan_sends_on_one_end_arrives_at_the_other(bus, qvcan, candump, same_frames):
    bus.make()
    seen = candump(bus.far)
    assert qvcan("-f", "-p", "-l", 50, "-t", 0, "-d", bus.near).exit_status() == 0
    same_frames(seen.all_frames(), pattern(1, 50, fd=True))


def test_the_commands_that_up_prints_work(lab, place, start, monkeypatch):
    before = names()
    said = lab("up", "--netns", place).out
    monkeypatch.setenv("PATH", f"{os.environ['QV_BIN']}:{os.environ['PATH']}")

    answerer, sender = [start(Program, *shlex.split(line)) for line in said.splitlines() if line.startswith("  ")]
    wait_until(lambda: sender.out.count("discard: ") >= 3, lambda: f"three answers in {sender}")
    assert answerer.runs() and sender.runs()

    answerer.end()
    sender.end()
    last = said.splitlines()[-1].removeprefix("To end it: ").split()
    assert last[0] == "scripts/lab"
    assert lab(*last[1:]).status == 0
    assert names() == before


def test_the_far_end_is_in_the_namespace(lab, place, monkeypatch):
    monkeypatch.setenv("SUDO_UID", "1000")  # a user who needed sudo for this needs it to enter the namespace
    said = lab("--netns", place, "up", "can0", "can0")
    assert said == Result(f"""\
+ ip netns add {place}
+ ip -n {place} link set dev lo alias qv-lab
+ ip link add dev can0 type vxcan peer name can0 netns {place}
+ ip link set dev can0 mtu 72 txqueuelen 1000 alias qv-lab:far=can0:netns={place}:profiles=- up
+ ip -n {place} link set dev can0 mtu 72 txqueuelen 1000 alias qv-lab:near=can0 up
The bus is there. Each of these in a shell of its own:
  sudo ip netns exec {place} qvcan -d can0 -f -a -vv
  qvcan -d can0 -f -p -l 0 -t 10m -j 0 -vv
To end it: scripts/lab down can0
""", "", 0)
    assert is_ready(links()["can0"]) and is_ready(links("-n", place)["can0"])

    assert lab("down", "can0") == Result(f"+ ip link delete dev can0\n+ ip netns delete {place}\n", "", 0)
    assert place not in namespaces()


def test_a_bus_at_500k_is_slow_and_loses_nothing(bus, qvcan, candump, same_frames):
    bus.make("500k")
    seen = candump(bus.far)
    assert qvcan("-f", "-p", "-l", 900, "-t", 0, "-d", bus.near).exit_status() == 0
    bus.become_clean(bus.near)
    records = seen.all_records()
    same_frames([frame for _, frame in records], pattern(1, 900, fd=True))
    assert records[-1][0] - records[0][0] > 0.95 * seconds_at_500k(900)


def seconds_at_500k(count):
    """What that many FD frames take at least: the first 1000 bytes are free."""
    return (72 * count - 1000) * 8 / 500_000


def test_a_lossy_bus_loses_some_and_repeats_some_in_order(bus, qvcan, candump):
    bus.make("lossy")
    seen = candump(bus.far)
    assert qvcan("-p", "-l", 2000, "-t", 0, "-d", bus.near).exit_status() == 0
    bus.become_clean(bus.near)
    arrived = Arrived(seen.all_frames(), pattern(1, 2000))
    # Six standard deviations at least.
    assert 35 < arrived.lost < 160
    assert 10 < arrived.repeated < 105
    assert arrived.flipped == 0


def test_a_reordering_bus_lets_some_overtake_and_loses_none(bus, qvcan, candump, same_frames):
    bus.make("reorder")
    seen = candump(bus.far)
    assert qvcan("-p", "-l", 500, "-t", 0, "-d", bus.near).exit_status() == 0
    bus.become_clean(bus.near)
    frames = seen.all_frames()
    same_frames(sorted(frames, key=lambda frame: frame.number), pattern(1, 500))
    assert any(later.number < frame.number for frame, later in zip(frames, frames[1:]))


def test_a_bus_that_flips_bits_flips_one_in_some_frames(bus, qvcan, candump):
    bus.make("bitflip")
    seen = candump(bus.far)
    assert qvcan("-f", "-p", "-l", 2000, "-t", 0, "-d", bus.near).exit_status() == 0
    bus.become_clean(bus.near)
    arrived = Arrived(seen.all_frames(), pattern(1, 2000, fd=True))
    assert 5 < arrived.flipped < 85
    assert arrived.lost <= 10, "only a length that cannot be is lost"
    assert arrived.repeated == 0


def test_profiles_add_up(bus, qvcan, candump):
    bus.make("lossy", "500k", "bitflip")
    seen = candump(bus.far)
    assert qvcan("-f", "-p", "-l", 600, "-t", 0, "-d", bus.near).exit_status() == 0
    bus.become_clean(bus.near)
    records = seen.all_records()
    arrived = Arrived([frame for _, frame in records], pattern(1, 600, fd=True))
    assert 2 < arrived.lost < 65
    assert 0 < arrived.repeated < 45
    assert 0 < arrived.flipped < 35
    assert records[-1][0] - records[0][0] > 0.95 * seconds_at_500k(len(records))


@pytest.mark.parametrize("profiles, tree", [
    (["500k"], [("tbf", "root"), ("pfifo", "1:1")]),
    (["bitflip", "reorder", "500k", "lossy"], [("tbf", "root"), ("netem", "1:1")]),
], ids=["500k", "all"])
def test_profiles_are_at_work_in_both_directions(lab, profiles, tree):
    assert lab("up", *(word for name in profiles for word in ("--profile", name))).status == 0
    near, far = queues("vxcan0"), queues("vxcan1")
    assert near == far
    assert [(queue["kind"], queue.get("parent", "root")) for queue in near] == tree


def test_status_lists_and_down_removes_all_that_lab_made_and_nothing_else(lab, place):
    command("ip", "link", "add", "other0", "type", "vxcan", "peer", "name", "other1")
    command("ip", "link", "set", "other0", "alias", "mine")
    before = links()
    lab("up", "--profile", "500k", "--profile", "reorder")
    lab("up", "can0", "can0", "--netns", place)
    assert lab("status") == Result(f"vxcan0 and vxcan1, 500k reorder\ncan0 and can0 in namespace {place}\n", "", 0)
    removed = f"+ ip link delete dev vxcan0\n+ ip link delete dev can0\n+ ip netns delete {place}\n"
    assert lab("down") == Result(removed, "", 0)
    assert links() == before
    assert place not in namespaces()


def test_down_of_one_leaves_the_other_and_the_namespace_of_both(lab, place):
    lab("up", "can0", "can0", "--netns", place)
    lab("up", "can1", "can1", "--netns", place)
    assert lab("down", "can0") == Result("+ ip link delete dev can0\n", f"lab: namespace {place} stays: in it is can1\n", 0)
    assert lab("status").out == f"can1 and can1 in namespace {place}\n"
    assert lab("down", "can1").status == 0
    assert place not in namespaces()


def test_down_of_nothing_says_so(lab):
    assert lab("down") == Result("", "lab: there is no bus that lab made\n", 1)
    assert lab("status") == Result("", "lab: there is no bus that lab made\n", 1)


def test_a_second_up_says_so_and_changes_nothing(lab):
    lab("up")
    before = links()
    said = "lab: {} is there already, made by lab: it is left as it is; to end it: scripts/lab down vxcan0\n"
    assert lab("up", "--profile", "lossy") == Result("", said.format("vxcan0"), 1)
    assert lab("up", "vxcan1", "vxcan2") == Result("", said.format("vxcan1"), 1)
    assert links() == before


@pytest.mark.parametrize("name", ["vxcan0", "vxcan1"])
def test_an_interface_of_somebody_else_is_left_alone(lab, name):
    command("ip", "link", "add", name, "type", "vxcan", "peer", "name", "other1")
    before = links()
    assert lab("up") == Result("", f"lab: {name} is there already, and not made by lab: it is left as it is\n", 1)
    assert lab("down", name) == Result("", f"lab: there is no bus {name} that lab made\n", 1)
    assert links() == before


def test_an_interface_of_somebody_else_in_the_namespace_is_left_alone(lab, place):
    command("ip", "netns", "add", place)
    command("ip", "-n", place, "link", "add", "vxcan1", "type", "vxcan", "peer", "name", "other1")
    before = links(), links("-n", place)
    assert lab("up", "--netns", place) == Result("", "lab: vxcan1 is there already, and not made by lab: it is left as it is\n", 1)
    assert (links(), links("-n", place)) == before


def test_a_namespace_of_somebody_else_is_used_and_stays(lab, place):
    command("ip", "netns", "add", place)
    before = links("-n", place)
    assert lab("up", "--netns", place).status == 0
    assert is_ready(links("-n", place)["vxcan1"])
    assert lab("down") == Result("+ ip link delete dev vxcan0\n", "", 0)
    assert links("-n", place) == before


def test_a_namespace_stays_while_somebody_has_something_in_it(lab, place):
    lab("up", "--netns", place)
    command("ip", "-n", place, "link", "add", "other0", "type", "vxcan", "peer", "name", "other1")
    assert lab("down") == Result("+ ip link delete dev vxcan0\n", f"lab: namespace {place} stays: in it is other1 other0\n", 0)
    assert set(links("-n", place)) == {"lo", "other0", "other1"}
    command("ip", "-n", place, "link", "delete", "dev", "other0")
    assert lab("down") == Result(f"+ ip netns delete {place}\n", "", 0)


def test_what_fails_half_way_is_undone(lab, place, stand_in):
    before = names()
    tools = stand_in("tc", f'case " $* " in *" dev vxcan1 "*) echo "{NO_KIND}" >&2; exit 2 ;; esac; exec $REAL "$@"')
    stand_in("modprobe", CANNOT_LOAD)
    done = lab("up", "--netns", place, "--profile", "lossy", path=tools)
    assert done.status == 1
    assert done.err == f"""\
lab: {NO_KIND}
lab: modprobe: FATAL: Module sch_netem not found
lab: this kernel has no netem: it needs CONFIG_NET_SCHED and CONFIG_NET_SCH_NETEM (module sch_netem); \
scripts/run-on-bus boots one that has it
lab: undoing what was done
"""
    assert done.out.endswith(f"+ modprobe sch_netem\n+ ip link delete dev vxcan0\n+ ip netns delete {place}\n")
    assert names() == before
    assert place not in namespaces()


@pytest.mark.parametrize("tool, word, message, need", [
    ("ip", "vxcan", NO_TYPE, "vxcan: it needs CONFIG_CAN, CONFIG_CAN_RAW and CONFIG_CAN_VXCAN (module vxcan)"),
    ("tc", "tbf", NO_KIND, "tbf: it needs CONFIG_NET_SCHED and CONFIG_NET_SCH_TBF (module sch_tbf)"),
    ("tc", "netem", NO_KIND, "netem: it needs CONFIG_NET_SCHED and CONFIG_NET_SCH_NETEM (module sch_netem)"),
], ids=["vxcan", "tbf", "netem"])
def test_what_the_kernel_lacks_is_named(lab, stand_in, tool, word, message, need):
    stand_in("modprobe", CANNOT_LOAD)
    before = names()
    done = lab("up", "--profile", "500k", "--profile", "lossy", path=stand_in(tool, refusing(word, message)))
    assert done.status == 1
    assert f"lab: this kernel has no {need}; scripts/run-on-bus boots one that has it\n" in done.err
    assert names() == before


def test_what_the_kernel_lacks_is_loaded_where_it_is_a_module(lab, stand_in):
    stand_in("modprobe", CAN_LOAD)
    stand_in("ip", refusing("vxcan", NO_TYPE))
    done = lab("up", "--profile", "500k", path=stand_in("tc", refusing("tbf", NO_KIND)))
    assert done.status == 0
    lines = done.out.splitlines()
    assert lines[0:3] == [lines[0], "+ modprobe vxcan", lines[0]]
    assert lines[5:8] == [lines[5], "+ modprobe sch_tbf", lines[5]]
    assert is_ready(links()["vxcan0"])


def test_interrupted_in_the_middle_it_ends_what_it_began(lab, stand_in):
    tools = stand_in("tc", 'kill -INT 0; kill -TERM 0; kill -HUP 0; exec $REAL "$@"')  # a terminal signals the whole group, too
    assert lab("up", "--profile", "lossy", path=tools, start_new_session=True).status == 0
    assert [queue["kind"] for queue in queues("vxcan0") + queues("vxcan1")] == ["netem", "netem"]
    assert lab("status").out == "vxcan0 and vxcan1, lossy\n"


def test_nothing_is_done_that_cannot_be_told(lab):
    before = names()
    with open("/dev/full", "w", encoding="ascii") as full:
        assert lab("up", stdout=full) == Result(None, "lab: cannot write to standard output\n", 1)
    assert names() == before


def test_when_nobody_listens_any_more_it_is_undone(lab, place):
    before = names()
    done = lab("up", "--netns", place, before=["bash", "-c", '"$@" | head -n 2; exit ${PIPESTATUS[0]}', "bash"])
    assert done.status == 1
    assert "lab: undoing what was done\n" in done.err
    assert names() == before
    assert place not in namespaces()


def test_a_dry_run_prints_the_commands_of_up_and_does_nothing(lab, place):
    before = names()
    words = ["up", "--netns", place, "--profile", "500k", "--profile", "bitflip"]
    dry = lab("--dry-run", *words)
    assert (dry.err, dry.status, names()) == ("", 0, before)
    assert place not in namespaces()
    assert lab(*words).out.startswith(dry.out + "The bus is there.")


def test_root_without_the_rights_is_told_which(lab, tmp_path):
    """That root may not enter a folder that only its owner may: it gets a copy."""
    before = names()
    copy = shutil.copy(ROOT / "scripts" / "lab", tmp_path)
    done = lab("up", before=["unshare", "-U", "-r", "bash", "-c", 'exec "$0" "${@:2}"', copy])
    assert done.status == 1
    assert done.err == """\
lab: RTNETLINK answers: Operation not permitted
lab: root may not do that here; in a container it takes CAP_NET_ADMIN, and CAP_SYS_ADMIN for a namespace
"""
    assert names() == before


@pytest.mark.parametrize("there, message", [
    ([], "lab: needs the program ip: package iproute2\n"),
    (["ip"], "lab: --profile needs the program tc: package iproute2\n"),
], ids=["ip", "tc"])
def test_a_missing_tool_is_named(lab, tmp_path, there, message):
    for tool in there:
        (tmp_path / tool).symlink_to(os.path.realpath(shutil.which(tool)))
    before = names()
    hide = 'mount -t tmpfs none /usr/sbin && mount -t tmpfs none /sbin && export PATH="$0" && exec "$@"'
    done = lab("up", "--profile", "lossy", before=["unshare", "-m", "sh", "-c", hide, tmp_path])
    assert done == Result("", message, 1)
    assert names() == before


def test_the_ip_of_busybox_is_refused(lab, stand_in):
    tools = stand_in("ip", 'exec busybox ip "$@"')
    before = names()
    done = lab("up", path=tools)
    assert done.status == 1
    assert done.err.endswith("lab: this ip is not that of the package iproute2, which makes vxcan pairs\n")
    assert names() == before
