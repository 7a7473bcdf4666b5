"""The record form in the page is the one that the programs write."""

from pathlib import Path
import re
import subprocess
import sys
import zlib

import pytest

from qv.page import displays
from qv.options import run


def vectors():
    """The hexadecimal examples of the page: rows of 16 bytes, each record begins with its sync."""
    rows = [line for line in displays("qvtrace.5") if re.fullmatch(r"[0-9a-f]{2}( [0-9a-f]{2})+", line)]
    return [bytes.fromhex("a75e" + text) for text in " ".join(rows).replace(" ", "").split("a75e")[1:]]


def test_the_page_has_three_examples():
    assert len(vectors()) == 3


def documented():
    """The examples of docs/trace-record.md."""
    text = (Path(__file__).resolve().parents[2] / "docs" / "trace-record.md").read_text(encoding="utf-8")
    blocks = re.findall(r"```record\n(.*?)```", text, re.DOTALL)
    return [bytes.fromhex("".join(line.split("|")[0] for line in block.splitlines())) for block in blocks]


@pytest.mark.parametrize("vector", vectors(), ids=bytes.hex)
def test_an_example_is_one_of_the_document(vector):
    assert vector in documented()


@pytest.mark.parametrize("vector", vectors(), ids=bytes.hex)
def test_an_example_is_a_sound_record(vector):
    assert vector[3] == 0x5A ^ vector[2] ^ vector[4] ^ vector[5] ^ vector[6] ^ vector[7]
    assert len(vector) == 12 + int.from_bytes(vector[6:8], "big")
    assert zlib.crc32(vector[2:-4]) == int.from_bytes(vector[-4:], "big")


def test_the_first_example_is_what_the_program_sends_but_for_the_time(tmp_path):
    device = tmp_path / "device"
    device.touch()
    assert run("qvcandev", "-d", str(device), "-p", "-l", "1", "-i", "0x123").returncode == 0
    sent = device.read_bytes()
    example = vectors()[0]
    assert sent[:8] + sent[16:-4] == example[:8] + example[16:-4]


def test_the_reader_in_the_page_finds_the_sound_records_between_garbage(tmp_path):
    lines = displays("qvtrace.5")
    program = tmp_path / "reader.py"
    program.write_text("\n".join(lines[lines.index("import sys, zlib"):]), encoding="utf-8")
    broken = bytearray(vectors()[1])
    broken[20] ^= 1
    stream = b"\xa7\x5e\x01" + vectors()[0] + broken + vectors()[1] + b"\xa7\xa7" + vectors()[2] + vectors()[0][:-1]
    done = subprocess.run([sys.executable, program], input=stream, capture_output=True, check=True)
    assert done.stdout.decode().splitlines() == [f"11 {vector[8:-4].hex()}" for vector in vectors()]
