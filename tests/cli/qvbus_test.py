"""qvbus by itself: its options, its names, how it ends, what it prints and counts. The nodes are played by the tests."""

import os
from pathlib import Path
import select
import signal
import stat
import subprocess
import time

import pytest

from qv.program import default_signals, PATIENCE, Result, run
from qv.record import CAN, CAN_EXT, ERROR, EXTENDED, FD_EXTENDED, FD_STANDARD, framed, Record, REMOTE, SENT, STANDARD
from qv.userbus import parse_counts

pytest_plugins = "qv.userbus"

USAGE = """\
usage: qvbus <options>

A bus in user space: makes pseudo-terminals and hands each trace record that one
node writes to all others, until SIGINT or SIGTERM; then prints counts per node.

where options are

  -h, --help         show this help text and exit
  -v, --verbose      print each record in candump's notation
  -n, --nodes=n      make n nodes, 2 to 64, default=2
  -l, --link=prefix  name the nodes <prefix>0, <prefix>1, ..., default=qvnode

example

  qvbus -n 2 -l /tmp/node &
  qvcandev -d /tmp/node1 -a &
  qvcandev -d /tmp/node0 -p -l 10 -vv
"""
PLAIN = Record(0x123, b"\1\2\3", time=1000000)


@pytest.mark.parametrize("arguments", [["-h"], ["--help"], ["--he"], ["-vh"], ["-n", "3", "-l", "no/such/folder", "-h"], ["-h", "-x"],
                                       ["-h", "-n", "1"], ["operand", "-h"]], ids=str)
def test_help_is_the_whole_text_and_a_success(arguments, tmp_path):
    assert run("qvbus", *arguments, cwd=tmp_path) == Result(USAGE, "", 0)
    assert list(tmp_path.iterdir()) == []


def test_help_to_a_full_disk_is_a_failure_and_said():
    with open("/dev/full", "wb") as full:
        assert run("qvbus", "-h", stdout=full) == Result("", "[ERROR] Cannot write to standard output\n", 1)


@pytest.mark.parametrize("arguments, line", [
    (["-x"], "Unknown option '-x'"), (["-vx"], "Unknown option '-vx'"), (["--nothing"], "Unknown option '--nothing'"),
    (["-d", "node"], "Unknown option '-d'"), (["-n"], "Unknown option '-n'"), (["-l"], "Unknown option '-l'"),
    (["--nodes"], "Unknown option '--nodes'"), (["--link"], "Unknown option '--link'"), (["--verbose=1"], "Unknown option '--verbose=1'"),
    *((["-n", text], f"The number of nodes is 2 to 64, not '{text}'")
      for text in ("0", "1", "65", "-1", "-2", "", "x", "4294967298", "18446744073709551618", "1e9", "0x", "99999999999", "3x", "2.5",
                   "7abc", "3 ", "2,3")),
    (["--nodes=1", "-x"], "The number of nodes is 2 to 64, not '1'"), (["-n", "1", "-h"], "The number of nodes is 2 to 64, not '1'"),
    (["node"], "Unexpected argument 'node'"), ([""], "Unexpected argument ''"), (["-"], "Unexpected argument '-'"),
    (["--", "-h"], "Unexpected argument '-h'"), (["-v", "one", "two"], "Unexpected argument 'one'"),
], ids=str)
def test_what_is_no_option_is_one_line_and_makes_nothing(arguments, line, tmp_path):
    assert run("qvbus", *arguments, cwd=tmp_path) == Result("", f"[ERROR] {line}\n", 1)
    assert list(tmp_path.iterdir()) == []


@pytest.mark.parametrize("text, nodes", [("2", 2), ("3", 3), ("0x10", 16), ("010", 8), (" 5", 5), ("+4", 4), ("64", 64)])
def test_makes_as_many_terminals_as_asked_for_and_removes_their_names(text, nodes, start, tmp_path):
    program = start("qvbus", "-n", text, cwd=tmp_path)
    program.until_out(f"{nodes} nodes: qvnode0 to qvnode{nodes - 1}\n")
    names = [f"qvnode{number}" for number in range(nodes)]
    assert sorted(entry.name for entry in tmp_path.iterdir()) == sorted([*names, "qvnode.lock"])
    assert all(stat.S_ISCHR(os.stat(tmp_path / name).st_mode) for name in names)
    assert program.end().status == 0
    assert list(tmp_path.iterdir()) == []


def test_without_options_there_are_two_nodes_in_the_current_folder(start, tmp_path):
    program = start("qvbus", cwd=tmp_path)
    program.until_out("2 nodes: qvnode0 to qvnode1\n")
    assert program.end() == Result("2 nodes: qvnode0 to qvnode1\nqvnode0: 0 sent, 0 received, 0 missed\n"
                                   "qvnode1: 0 sent, 0 received, 0 missed\n", "", 0)


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP], ids=lambda number: number.name)
def test_a_signal_ends_it_with_counts_and_without_leaving_names(number, make_bus, tmp_path):
    bus = make_bus(3)
    sender, reader = bus.join(0), bus.join(1)
    sender.send(PLAIN, PLAIN)
    assert reader.records(2, 31) == [PLAIN] * 2
    reader.send(PLAIN)
    assert sender.records(1, 31) == [PLAIN]
    assert bus.counts(number) == [(2, 1, 0), (1, 2, 0), (0, 0, 0)]
    assert bus.program.out == (f"{bus.started}{bus.paths[0]}: 2 sent, 1 received, 0 missed\n{bus.paths[1]}: 1 sent, 2 received, 0 missed\n"
                               f"{bus.paths[2]}: 0 sent, 0 received, 0 missed\n")
    assert list(tmp_path.iterdir()) == []


@pytest.mark.parametrize("what", ["file", "folder", "link to a file"])
def test_a_name_that_is_taken_is_refused_and_left_alone(what, tmp_path):
    taken = tmp_path / "node1"
    if what == "folder":
        taken.mkdir()
    elif what == "file":
        taken.write_text("kept")
    else:
        taken.symlink_to("/dev/null")
    assert run("qvbus", "-n", 3, "-l", tmp_path / "node") == Result("", f"[ERROR] {taken}: File exists\n", 1)
    assert list(tmp_path.iterdir()) == [taken], "the name made before it is gone, and this one is not"


@pytest.mark.parametrize("prefix, reason", [("missing/node", "No such file or directory"), ("file/node", "Not a directory"),
                                            ("x" * 255, "File name too long")], ids=["missing", "file", "long"])
def test_a_name_that_cannot_be_made_is_named_with_the_reason(prefix, reason, tmp_path):
    (tmp_path / "file").touch()
    assert run("qvbus", "-l", prefix, cwd=tmp_path) == Result("", f"[ERROR] {prefix}.lock: {reason}\n", 1)


def test_a_second_bus_of_the_same_names_is_refused_and_the_first_goes_on(make_bus):
    bus = make_bus(2)
    assert run("qvbus", "-l", bus.prefix) == Result("", f"[ERROR] {bus.paths[0]}: File exists\n", 1)
    sender, reader = bus.join(0), bus.join(1)
    sender.send(PLAIN)
    assert reader.records(1, 31) == [PLAIN]


def test_names_left_behind_by_a_killed_bus_are_taken_over(make_bus, tmp_path):
    killed = make_bus(3)
    killed.program.end(signal.SIGKILL)
    assert len(list(tmp_path.iterdir())) == 4, "three names and the lock"
    assert make_bus(3).counts() == [(0, 0, 0)] * 3
    assert list(tmp_path.iterdir()) == []


def test_names_left_behind_are_taken_over_though_somebody_has_their_terminals_numbers(make_bus, tmp_path):
    killed = make_bus(2)
    targets = {os.readlink(path) for path in killed.paths}
    killed.program.end(signal.SIGKILL)
    taken = []
    # The system gives the lowest free number: after so many openings the two have an owner, this test or another program.
    while not all(os.path.exists(target) for target in targets):
        taken.append(os.openpty())
    bus = make_bus(2)
    assert targets.isdisjoint(os.readlink(path) for path in bus.paths)
    assert bus.counts() == [(0, 0, 0)] * 2
    for pair in taken:
        for descriptor in pair:
            os.close(descriptor)
    assert list(tmp_path.iterdir()) == []


def test_a_link_to_a_terminal_that_is_gone_is_replaced_and_no_other(make_bus, tmp_path):
    (tmp_path / "node0").symlink_to("/dev/pts/987654")
    assert make_bus(2).counts() == [(0, 0, 0)] * 2
    for target in ("nowhere", "/nowhere/pts/1", "/dev/null"):
        (tmp_path / "node0").symlink_to(target)
        assert run("qvbus", "-l", tmp_path / "node") == Result("", f"[ERROR] {tmp_path}/node0: File exists\n", 1)
        assert os.readlink(tmp_path / "node0") == target
        (tmp_path / "node0").unlink()
    assert list(tmp_path.iterdir()) == []


@pytest.mark.parametrize("settings", [["sane"], ["icanon", "echo", "opost", "onlcr", "icrnl", "isig"]], ids=str)
def test_a_terminal_that_was_left_cooked_is_raw_for_the_next_node(settings, make_bus):
    bus = make_bus(2)
    reader = bus.join(1)
    for _ in range(5):
        subprocess.run(["stty", "-F", bus.paths[0], *settings], check=True)
        bus.settle()
        sender = bus.join(0)
        record = Record(1, bytes(range(3, 32)))  # with the bytes of Ctrl-C, line ends and flow control
        sender.send(record)
        assert reader.records(1, 57) == [record]
        reader.send(record)
        assert sender.records(1, 57) == [record]
        sender.close()


SHOWN = [
    (PLAIN, "00:00:01.000000 ch0 123#010203"), (Record(0x7FF), "00:00:00.000000 ch0 7FF#"),
    (Record(0x1ABCDEF0, b"\xca\xfe\x12", FD_EXTENDED, status=0x40, time=45296789012, channel=1), "12:34:56.789012 ch1 1ABCDEF0##1CAFE12"),
    (Record(1, bytes(12), FD_STANDARD), "00:00:00.000000 ch0 001##0" + "00" * 12),
    (Record(0x123, bytes(4), EXTENDED, REMOTE), "00:00:00.000000 ch0 00000123#R4"),
    (Record(2, b"\1", STANDARD, SENT), "00:00:00.000000 ch0 002#01 tx"),
    (Record(5, b"\1", frame=ERROR, status=1), "00:00:00.000000 ch0 005#01 error=stuff"),
    (Record(0x123, b"\x11\x22", kind=CAN), "00:00:00.000000 ch0 123#1122"), (framed(4711, b"abc"), "message of kind 4711, 3 bytes 61 62 63"),
    (framed(CAN_EXT, b"abc"), "message of kind 11, 3 bytes 61 62 63"),
]


@pytest.mark.parametrize("record, line", SHOWN, ids=[line for _, line in SHOWN])
def test_every_record_is_handed_on_as_it_is_and_with_v_printed_in_candumps_notation(record, line, make_bus):
    raw = record if isinstance(record, bytes) else record.pack()
    bus = make_bus(2, "-v")
    sender, reader = bus.join(1), bus.join(0)
    sender.send(raw)
    assert reader.take(len(raw)) == raw
    assert bus.counts() == [(0, 1, 0), (1, 0, 0)]
    assert bus.program.out.startswith(f"{bus.started}{bus.paths[1]} {line}\n{bus.paths[0]}: ")


def test_all_values_of_a_byte_cross_the_terminals_unchanged(make_bus):
    """Nobody but the bus puts the terminals into raw mode: the peers open them as they are."""
    bus = make_bus(2)
    sender, reader = bus.join(0), bus.join(1)
    records = [Record(start, bytes(range(start, start + 64)), channel=start) for start in range(0, 256, 64)]
    sender.send(*records)
    assert reader.records(4, 92) == records


def test_without_v_no_record_is_printed(make_bus):
    bus = make_bus(2)
    sender, reader = bus.join(0), bus.join(1)
    sender.send(PLAIN)
    reader.take(31)
    assert bus.program.end().out.count("\n") == 3


def test_what_is_under_way_when_the_bus_is_asked_to_end_is_handed_on(make_bus):
    bus = make_bus(3)
    sender, reader = bus.join(0), bus.join(1)
    records = [Record(number, bytes(8)) for number in range(100)]  # no more than a terminal holds
    bus.program.process.send_signal(signal.SIGSTOP)
    sender.send(*records)
    bus.program.process.send_signal(signal.SIGTERM)
    bus.program.process.send_signal(signal.SIGCONT)
    assert reader.records(100) == records
    assert parse_counts(bus, bus.program.result().out) == [(100, 0, 0), (0, 100, 0), (0, 0, 0)]


def test_what_a_node_has_not_read_when_the_bus_ends_is_counted_as_missed(make_bus):
    bus = make_bus(2)
    sender, sleeper = bus.join(0), bus.join(1)
    count = 5000  # less than the bus keeps for a node, and more than its terminal holds
    sender.send(*[PLAIN] * count)
    bus.await_read(0)
    seen = bus.program.end()
    (sent, *_), (_, received, missed) = parse_counts(bus, seen.out)
    assert sent == count
    assert (received, missed) == (0, count), "what waits in its terminal goes with the terminal"


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM], ids=lambda number: number.name)
def test_a_signal_ends_it_while_nobody_reads_its_output(number, start, tmp_path):
    program = start("qvbus", "-v", "-l", tmp_path / "node")
    program.until_out("node1\n")
    with open(tmp_path / "node0", "r+b", buffering=0) as sender:
        os.set_blocking(sender.fileno(), False)
        written = 0
        # Until the pipe is full, the bus no longer reads, and the terminal is full as well.
        end = time.monotonic() + 1
        while time.monotonic() < end:
            if select.select([], [sender], [], 0.2)[1] and (n := sender.write(PLAIN.pack())):
                written += n
                end = time.monotonic() + 1
        program.process.send_signal(number)
        assert program.process.wait(PATIENCE) == 1
    seen = program.result()
    assert seen.err == "[ERROR] Cannot write to standard output\n"
    assert written > 20000, "more than the terminal holds: the bus has read until its output was full"
    assert [entry.name for entry in tmp_path.iterdir()] == []


def test_a_closed_standard_output_ends_it_late_and_leaves_no_names(start, tmp_path):
    read_end, write_end = os.pipe()
    program = start("qvbus", "-v", "-l", tmp_path / "node", stdout=write_end, preexec_fn=default_signals)
    os.close(write_end)
    assert os.read(read_end, 4096).endswith(b"node1\n")
    os.close(read_end)
    assert program.end() == Result("", "[ERROR] Cannot write to standard output\n", 1)
    assert list(tmp_path.iterdir()) == []


@pytest.mark.parametrize("closed", [[0], [0, 1, 2]], ids=str)
def test_descriptors_that_are_closed_at_the_start_become_no_terminals(closed, start, tmp_path):
    """A terminal in the place of standard output would get every line that is printed."""
    def close_them():
        for descriptor in closed:
            os.close(descriptor)
    program = start("qvbus", "-v", "-l", tmp_path / "node", preexec_fn=close_them)
    if 1 not in closed:
        program.until_out("2 nodes: ")
    targets = []
    while len(targets) < 2:
        targets = sorted(tmp_path.glob("node?"))
        assert program.runs()
    folder = Path(f"/proc/{program.process.pid}/fd")
    assert [os.readlink(folder / str(number)) for number in closed] == ["/dev/null"] * len(closed)
    assert program.end().status == 0
