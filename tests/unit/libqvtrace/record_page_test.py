#!/usr/bin/python3
"""Holds docs/trace-record.md against itself and against the records that messagebase_record_test.cpp pins.

The page's reader is run on the page's examples, with garbage around them and a record cut off at the end; it must print what the
page says it prints.
"""

from pathlib import Path
import re
import subprocess
import sys

HERE = Path(__file__).parent
PAGE = HERE.parents[2] / "docs" / "trace-record.md"
GARBAGE = b"\xee\xa7\x5e\x01\xff\x00\x0b\x00\x18\xa7"


def blocks(page, language):
    return re.findall(rf"^```{language}\n(.*?)^```$", page, re.MULTILINE | re.DOTALL)


def example_bytes(block):
    """Hexadecimal in front of the bar, a remark behind it."""
    return bytes.fromhex("".join(line.split("|")[0] for line in block.splitlines()))


def pinned_records():
    """Each row's strings, joined as the compiler joins them."""
    source = (HERE / "messagebase_record_test.cpp").read_text()
    return {bytes.fromhex("".join(re.findall(r'"([^"]*)"', literal)))
            for literal in re.findall(r'((?:"(?:[0-9a-f]{2} ?){1,}"\s*)+)', source)
            if "a7 5e 01" in literal}


def run_reader(reader, stream):
    return subprocess.run([sys.executable, "-c", reader], input=stream, stdout=subprocess.PIPE, check=True).stdout.decode()


def main():
    page = PAGE.read_text()
    (reader,), examples, (printed,) = blocks(page, "python"), [example_bytes(b) for b in blocks(page, "record")], blocks(page, "text")
    assert len(reader.splitlines()) == 10, f"the reader has {len(reader.splitlines())} lines, the page says ten"
    assert len(examples) >= 4 and set(examples) == pinned_records(), (
        "the page and messagebase_record_test.cpp do not show the same records")

    stream = GARBAGE + GARBAGE.join(examples) + GARBAGE + examples[0][:-1]
    for what, given in (("as they are", b"".join(examples)), ("between garbage", stream)):
        got = run_reader(reader, given)
        assert got == printed, f"examples {what}: the reader printed\n{got}and the page says\n{printed}"
    for place in range(len(examples[0])):
        broken = bytearray(examples[0])
        broken[place] ^= 1
        assert run_reader(reader, bytes(broken)) == "", f"the reader took a record with a wrong byte at {place}"
    print(f"{len(examples)} examples, read as the page says")


main()
