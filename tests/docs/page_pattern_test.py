"""The pattern in the page is the one that the programs send, answer and judge; its C does the same."""

import re
import subprocess

import pytest

from qv.check import Check
from qv.checklog import Frame
from qv.page import displays
from qv.program import run

NOTATION = r"[0-9A-F]{3,8}#[0-9A-F]+"


def vectors():
    """(frame, its answer or "") of each line."""
    found = (re.fullmatch(f"({NOTATION})(?: ({NOTATION}))?", line) for line in displays("qvpattern.5"))
    return [(match[1], match[2] or "") for match in found if match]


def programs():
    """The C functions of the page."""
    text = "\n".join(displays("qvpattern.5"))
    return text[text.index("uint32_t pattern"):]


def sent(tmp_path, *options):
    """The frames that a sender tells of."""
    device = tmp_path / "device"
    device.write_bytes(b"")
    text = run("qvcandev", "-d", device, "-p", "-t", 0, "-vv", *options).out
    return re.findall(r" send: \S+ ch0 (\S+)", text)


def test_the_page_has_as_many_vectors_as_it_says():
    assert len(vectors()) == 4 + 2 + 1 + 2


@pytest.mark.parametrize("options, rows", [
    (["-i", "0x7FE", "-l", 4], slice(0, 4)), (["-i", "0x9FFFFFFF", "-l", 2], slice(4, 6)), (["-i", 0, "-l", 1], slice(6, 7)),
], ids=str)
def test_a_vector_is_what_a_sender_sends(options, rows, tmp_path):
    assert sent(tmp_path, *options) == [frame for frame, _ in vectors()[rows]]


def test_the_injected_vectors_are_what_a_sender_sends(tmp_path):
    assert sent(tmp_path, "-l", 4, "-e", 2)[1::2] == [frame for frame, _ in vectors()[7:]]


@pytest.mark.parametrize("frame, answer", [vector for vector in vectors() if vector[1]])
def test_an_answer_is_the_complement_of_its_frame(frame, answer):
    (identifier, data), (other, others) = frame.split("#"), answer.split("#")
    assert int(identifier, 16) ^ int(other, 16) == (0x7FF if len(identifier) == 3 else 0x1FFFFFFF)
    assert bytes(byte ^ 0xFF for byte in bytes.fromhex(data)) == bytes.fromhex(others)


MAIN = """
static void show(uint32_t k, uint32_t id, const uint8_t *b, int n, uint32_t mask) {
    printf("(%u.%06u) can1 %0*X#%s", 1700000000u + k / 500, k % 500 * 2000, mask == 0x7FF ? 3 : 8, (unsigned)id, n > 8 ? "#1" : "");
    for (int i = 0; i < n; i++)
        printf("%02X", b[i]);
    printf("\\n");
}
int main(int argc, char **argv) {
    uint32_t start = (uint32_t)strtoul(argv[1], NULL, 0), mask = argv[2][0] == 's' ? 0x7FF : 0x1FFFFFFF;
    int n = atoi(argv[3]);
    for (uint32_t k = 0; k < 5000; k++) {
        uint8_t b[64];
        uint32_t id = pattern(start, k, b, n, mask);
        show(k, id, b, n, mask);
        show(k, answer(id, b, n, mask), b, n, mask);
    }
    return argc != 4;
}
"""


@pytest.fixture(scope="module")
def firmware(tmp_path_factory):
    folder = tmp_path_factory.mktemp("firmware")
    source = folder / "firmware.c"
    source.write_text("#include <stdint.h>\n#include <stdio.h>\n#include <stdlib.h>\n" + programs() + MAIN, encoding="ascii")
    subprocess.run(["gcc", "-std=c99", "-Wall", "-Wextra", "-Werror", "-fsanitize=undefined", "-o", folder / "firmware", source], check=True)
    return folder / "firmware"


def test_the_programs_in_the_page_have_at_most_ten_lines_each():
    assert all(len(part.splitlines()) <= 10 for part in re.split("(?=uint32_t answer)", programs()))


@pytest.mark.parametrize("start", [0, 1, 0x7FE, 0x7FF])
@pytest.mark.parametrize("width, flag", [("standard", 0), ("extended", 0x80000000)])
@pytest.mark.parametrize("length", [8, 64])
def test_the_c_of_the_page_passes_the_check(firmware, start, width, flag, length, tmp_path):
    log = subprocess.run([firmware, str(start), width, str(length)], capture_output=True, text=True, check=True).stdout
    assert log.splitlines()[0].split()[2] == Frame(0, start, length, bool(flag)).notation()
    check = Check(tmp_path, log)
    options = ["-i", f"{start | flag:#x}", "-l", "5000", *(["-b"] if length == 64 else [])]
    streams = check.summary(*options)["streams"]
    assert [(stream["role"], stream["intact"], stream["expected"]) for stream in streams] == [("direct", 5000, 5000), ("answer", 5000, 5000)]
    assert check.verdict(*options) == ("PASS: 10,000 frames, none lost, repeated, reordered or corrupted", 0)
