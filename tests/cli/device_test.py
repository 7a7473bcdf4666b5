"""The device file: how it is opened, and every kind of file that is none."""

import os
import re
import shutil
import socket

import pytest

from qv.program import path_of, Result, run, RUNNER, run_command

READING = "nothing to send, just reading ...\n"


def refused(name, reason):
    return Result("", f"error opening {name}: {reason}\n", 1)


@pytest.mark.parametrize("name, reason", [
    ("missing", "No such file or directory"), ("", "No such file or directory"), ("folder", "Is a directory"), ("folder/", "Is a directory"),
    ("file/below", "Not a directory"), ("file/", "Not a directory"), ("folder/missing", "No such file or directory"), (".", "Is a directory"),
    ("loop", "Too many levels of symbolic links"), ("x" * 256, "File name too long"), ("y/" * 2100, "File name too long"),
    ("socket", "No such device or address"), ("a\nb", "No such file or directory"), ("%s%n", "No such file or directory"),
    ("\u00b5", "No such file or directory"), (b"\xff", "No such file or directory"), ("-v", "No such file or directory"),
], ids=lambda value: repr(value)[:30])
def test_what_cannot_be_opened_is_named_with_the_reason(name, reason, tmp_path):
    (tmp_path / "folder").mkdir()
    (tmp_path / "file").touch()
    (tmp_path / "loop").symlink_to("loop")
    with socket.socket(socket.AF_UNIX) as bound:
        address = os.path.relpath(tmp_path / "socket")  # the address has room for 107 bytes
        bound.bind(min(address, str(tmp_path / "socket"), key=len))
        seen = run("qvcandev", "-d", name, cwd=tmp_path)
    assert seen == refused(os.fsdecode(name), reason)


@pytest.mark.parametrize("mode", [0o000, 0o444, 0o222])
def test_a_file_without_rights_is_refused(mode, unprivileged):
    folder, settings = unprivileged
    device = folder / "device"
    device.touch()
    device.chmod(mode)
    program = [*RUNNER, folder / "qvcandev"]
    assert run_command([*program, "-d", device, "-p", "-l", "1"], **settings) == refused(device, "Permission denied")
    device.chmod(0o666)
    assert run_command([*program, "-d", device, "-p", "-l", "1"], **settings) == Result("", "", 0)
    assert len(device.read_bytes()) == 36


def test_a_folder_that_may_not_be_entered_is_refused(unprivileged):
    folder, settings = unprivileged
    inner = folder / "inner"
    inner.mkdir()
    inner.chmod(0o000)
    seen = run_command([*RUNNER, folder / "qvcandev", "-d", inner / "device"], **settings)
    assert seen == refused(inner / "device", "Permission denied")
    inner.chmod(0o755)


def test_a_missing_device_is_not_made(tmp_path):
    run("qvcandev", "-d", tmp_path / "device", "-p", "-l", 1)
    assert list(tmp_path.iterdir()) == []


@pytest.mark.parametrize("options", [["-r", "named"], ["-s", "named"], ["-r", "named", "-s", "named", "-c", "300", "-v"]])
def test_file_names_are_accepted_and_not_used(options, device, start, tmp_path):
    program = start("qvcandev", "-d", device, *options, cwd=tmp_path)
    program.until_out(READING)
    assert program.end() == Result(READING, "", -15)
    assert not (tmp_path / "named").exists()


@pytest.mark.parametrize("options, synced", [([], False), (["-y"], True), (["--sync"], True), (["-y", "-y"], True)])
def test_the_device_is_synced_only_on_request(options, synced, device, start):
    program = start("qvcandev", "-d", device, *options)
    program.until_out(READING)
    folder = f"/proc/{program.process.pid}"
    number = next(entry for entry in os.listdir(f"{folder}/fd") if os.path.realpath(f"{folder}/fd/{entry}") == str(device))
    with open(f"{folder}/fdinfo/{number}", encoding="ascii") as info:
        flags = int(re.search(r"flags:\s*([0-7]+)", info.read())[1], 8)
    assert flags & os.O_ACCMODE == os.O_RDWR
    assert flags & os.O_SYNC == (os.O_SYNC if synced else 0)


@pytest.mark.parametrize("options, flags", [([], "O_RDWR"), (["-y"], "O_RDWR|O_SYNC")])
def test_one_descriptor_is_opened_and_closed_once_by_each_device(options, flags, device, strace):
    ids = [word for number in (3, 1, 2, 1) for word in ("-i", str(number))]
    seen = strace.run("qvcandev", "-d", device, "-p", "-l", 1, *ids, *options, only="openat,close")
    assert seen == Result("", "", 0)
    calls = [call.replace("|O_LARGEFILE", "") for call in strace.calls()]  # which a 32-bit C library adds
    assert [call for call in calls if str(device) in call] == [f'openat(AT_FDCWD, "{device}", {flags}) = 3']
    opened = calls.index(f'openat(AT_FDCWD, "{device}", {flags}) = 3')
    closes = [call for call in calls[opened:] if call.startswith("close(3)")]
    assert closes[0] == "close(3) = 0"  # sanitizers use the number again in between, so the order of the others is not looked at
    assert closes.count("close(3) = -1 EBADF (Bad file descriptor)") == 3


@pytest.mark.parametrize("error, reason", [("EMFILE", "Too many open files"), ("EBUSY", "Device or resource busy"), ("EIO", "Input/output error")])
def test_the_systems_reason_is_passed_on_and_nothing_is_tried_again(error, reason, device, strace):
    seen = strace.run("qvcandev", "-d", device, only="openat", inject=[f"openat:error={error}"], path=device)
    assert seen == refused(device, reason)
    assert len(strace.calls("openat")) == 1


def test_the_programs_path_is_no_device(native, tmp_path):
    """A program that runs cannot be opened for writing, not even by root."""
    copy = tmp_path / "qvcandev"
    shutil.copy(path_of("qvcandev"), copy)
    assert run_command([copy, "-d", copy]) == refused(copy, "Text file busy")
