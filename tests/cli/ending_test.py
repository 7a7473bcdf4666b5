"""How the programs end: the table of exit statuses, and signals with their default effect."""

import os
import signal

import pytest

from qv.program import command, Live, Result, run
from qv.record import unpack

READING = "nothing to send, just reading ...\n"


@pytest.mark.parametrize("program, options, status", [
    ("qvcan", ["-h"], 0), ("qvcandev", ["-h"], 0), ("qvcan", ["--help", "-x"], 0),
    ("qvcan", ["-x"], 1), ("qvcandev", ["-x"], 1), ("qvcandev", ["-d"], 1), ("qvcandev", ["operand"], 1),
    ("qvcandev", ["-t", "5ms"], 1), ("qvcandev", ["-j", "5ms"], 1), ("qvcan", ["-d", "nosuch0"], 1), ("qvcan", ["-d", "a-name-too-long-for-it"], 1),
    ("qvcandev", ["-d", "/no/such/device"], 1), ("qvcandev", ["-d", "/"], 1),
    ("qvcandev", ["-d", "/dev/null", "-p", "-l", "2", "-t", "0"], 0), ("qvcandev", ["-d", "/dev/full", "-p", "-l", "2", "-t", "0"], 0),
    ("qvcandev", ["-d", "/dev/null", "-p", "-l", "1", "-i", "1", "-i", "2"], 0),
], ids=str)
def test_exit_status(program, options, status):
    seen = run(program, *options)
    assert seen.status == status
    assert (seen.err != "") == (status == 1 or "/dev/full" in options)


def test_dev_null_takes_a_pattern_in_silence():
    assert run("qvcandev", "-d", "/dev/null", "-p", "-l", 3, "-t", 0) == Result("", "", 0)


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP], ids=lambda number: number.name)
@pytest.mark.parametrize("options, line", [
    ([], READING), (["-p", "-l", "0", "-t", "1M", "-vv"], "msg counter: 0\n"), (["-a", "-vv"], "incomplete buffer read\n"),
], ids=str)
def test_signals_end_every_mode(number, options, line, start, device):
    program = start("qvcandev", "-d", device, *options, preexec_fn=lambda: signal.signal(number, signal.SIG_DFL))
    program.until_out(line)
    seen = program.end(number)
    assert (seen.err, seen.status) == ("", -number)


def test_an_ignored_signal_stays_ignored(start, device):
    """As nohup and background jobs need it."""
    program = start("qvcandev", "-d", device, "-vv", preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_IGN))
    program.until_out(READING)
    program.process.send_signal(signal.SIGINT)
    program.until_out("incomplete buffer read\n", 5)
    assert program.end(signal.SIGTERM).status == -signal.SIGTERM


def test_a_stopped_program_goes_on(start, device):
    program = start("qvcandev", "-d", device, "-vv")
    program.until_out("incomplete buffer read\n")
    program.process.send_signal(signal.SIGSTOP)
    os.waitpid(program.process.pid, os.WUNTRACED)
    program.process.send_signal(signal.SIGCONT)
    program.until_out("incomplete buffer read\n", program.out.count("incomplete buffer read\n") + 5)
    assert program.err == ""


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM], ids=lambda number: number.name)
def test_a_sender_that_is_ended_leaves_whole_records(number, start, device):
    program = start("qvcandev", "-d", device, "-p", "-l", 0, "-t", 0, "-vv")
    program.until_out("msg counter: 20\n")
    assert program.end(number).status == -number
    assert len(unpack(device.read_bytes())) >= 21


def test_two_programs_share_a_bus_of_one_terminal(terminal, start):
    """A reader and a sender side by side: ending one leaves the other alone."""
    reader = start("qvcandev", "-d", terminal.path)
    reader.until_out(READING)
    sender = Live(command("qvcandev", "-d", terminal.path, "-p", "-l", 3, "-t", 0))
    start.keep(sender)
    assert sender.result() == Result("", "", 0)
    terminal.receive()
    assert len(unpack(bytes(terminal.seen))) == 3
    assert reader.end() == Result(READING, "", -signal.SIGTERM)
