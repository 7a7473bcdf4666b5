"""qvcandev nodes on qvbus: a pattern and its answers, every frame of both directions held against its closed form."""

from collections import Counter
import os
import re

import pytest

from pattern_sender_test import dump
from qv.frame import EFF, RTR
from qv.program import Result
from qv.record import Record, untimed
from qv.traffic import answer, pattern

pytest_plugins = "qv.userbus"

SENDER = ["-p", "-t", "0"]
INCOMPLETE = "[DEBUG] BZ::readCAN() incomplete buffer read\n"


class Meeting:
    """A sender on node 0, an answering node on node 1, and the test, who takes all that crosses, on node 2."""

    def __init__(self, bus, start):
        self.bus, self.start = bus, start
        self.observer = bus.join(2)

    def play(self, count, sender_options=(), answerer_options=(), size=36):
        """Gives (the records asked, the answers) once all of them have crossed."""
        self.answerer = self.start("qvcandev", "-a", "-d", self.bus.paths[1], *answerer_options)
        self.bus.await_open(self.answerer, 1)
        self.sender = self.start("qvcandev", *SENDER, "-l", count, "-d", self.bus.paths[0], *sender_options)
        return self.seen(2 * count, size)

    def seen(self, count, size):
        """Waits until that many records have crossed, and gives them by the node they came from, as the bus says."""
        records = self.observer.records(count, size)
        self.bus.program.until(lambda: len(self.bus.passed()) == count, "a line for each record")
        lines = self.bus.program.out.removeprefix(self.bus.started).splitlines()
        assert [line.split(" ", 1)[1] for line in lines] == [str(record) for record in records]
        return tuple([record for record, line in zip(records, lines) if line.startswith(f"{path} ")] for path in self.bus.paths[:2])


@pytest.fixture
def meeting(make_bus, start):
    return Meeting(make_bus(3, "-v"), start)


@pytest.mark.parametrize("options, can_id, settings", [
    ([], 1, {}), (["-i", "0x7FF"], 0x7FF, {}), (["-i", "0"], 0, {}), (["-i", "0x9FFFFFFF"], EFF | 0x1FFFFFFF, {}),
    (["-i", "0x40000123"], RTR | 0x123, {}), (["-i", "0xC0000001"], EFF | RTR | 1, {}), (["-f"], 1, {"fd": True}),
    (["-b", "-i", "0x123"], 0x123, {"fd": True}), (["-e", "3"], 1, {"error_every": 3}), (["-f", "-e", "7"], 1, {"fd": True, "error_every": 7}),
    (["-y"], 1, {}), (["-t", "1m", "-j", "1m"], 1, {}),
], ids=str)
def test_every_frame_crosses_and_every_answer_comes_back(options, can_id, settings, meeting):
    count = 40
    asked, answers = meeting.play(count, options, [word for word in options if word in ("-f", "-b", "-y")], 92 if settings.get("fd") else 36)
    assert untimed(asked) == pattern(can_id, count, **settings)
    assert answers == [answer(record) for record in asked], "the time stamps are those of the frames answered"
    assert meeting.sender.result() == Result("", "", 0)
    assert meeting.answerer.runs()
    assert meeting.answerer.end() == Result("", "", -15)
    sent, answered, observed = meeting.bus.counts()
    assert sent[0] == count and answered == (count, count, 0)
    assert sent[1] + sent[2] <= count, "answers queued as the sender ends count as missed, those that come later not at all"
    assert observed == (0, 2 * count, 0)


def test_the_first_answers_worked_out_by_hand(meeting):
    meeting.play(2, ["-i", "0x123"])
    assert [line.split(" ")[-1] for line in meeting.bus.passed(0)] == ["123#0000012300010203", "124#0000012401020304"]
    assert [line.split(" ")[-1] for line in meeting.bus.passed(1)] == ["6DC#FFFFFEDCFFFEFDFC", "6DB#FFFFFEDBFEFDFCFB"]


@pytest.mark.parametrize("synced", [False, True])
def test_both_nodes_open_their_terminals_synced_only_on_request(synced, meeting):
    options = ["-y"] * synced
    nodes = [meeting.start("qvcandev", "-d", meeting.bus.paths[number], *mode, *options) for number, mode in enumerate((["-p", "-t", "1k"], ["-a"]))]
    for number, node in enumerate(nodes):
        meeting.bus.await_open(node, number)
        folder, terminal = f"/proc/{node.process.pid}", os.path.realpath(meeting.bus.paths[number])
        descriptor = next(entry for entry in os.listdir(f"{folder}/fd") if os.readlink(f"{folder}/fd/{entry}") == terminal)
        with open(f"{folder}/fdinfo/{descriptor}", encoding="ascii") as info:
            flags = int(re.search(r"flags:\s*([0-7]+)", info.read())[1], 8)
        assert flags & os.O_SYNC == (os.O_SYNC if synced else 0)


def lines_without_waits(out):
    """What does not hang on when the system wakes the node: no waits, no buffer's own lines; the time of a call replaced by TIME."""
    kept = [line for line in out.splitlines(keepends=True) if line != INCOMPLETE
            and not line.startswith(("[DEBUG] BZ::getNextMessage() ", "[DEBUG] BZ::sendPattern() select(", "[DEBUG] BZ::sendPattern() after select"))]
    return re.sub(r"t=([01]\d|2[0-3]):[0-5]\d:[0-5]\d\.\d{6}: ", "t=TIME: ", "".join(kept))


def expected_of_answerer(asked):
    return "".join(f"[DEBUG] BZ::readCAN() t=TIME: return: {record}\nrcvd {record}\n[DEBUG] BZ::sendCAN() send: {answer(record)}\n"
                   f"{dump(answer(record).pack())}" for record in asked)


def expected_of_sender(asked):
    return "".join(f"[DEBUG] BZ::sendCAN() send: {record}\n{dump(record.pack())}[DEBUG] BZ::sendPattern() msg counter: {number}\n"
                   for number, record in enumerate(asked))


@pytest.mark.parametrize("sender_verbosity", range(4))
@pytest.mark.parametrize("answerer_verbosity", range(4))
def test_each_verbosity_of_either_node_tells_its_part_and_changes_no_frame(sender_verbosity, answerer_verbosity, meeting):
    count = 6
    asked, answers = meeting.play(count, ["-v"] * sender_verbosity, ["-v"] * answerer_verbosity)
    assert untimed(asked) == pattern(1, count)
    assert answers == [answer(record) for record in asked]
    sender, answerer = meeting.sender.result(), meeting.answerer.end()
    assert (sender.err, sender.status, answerer.err, answerer.status) == ("", 0, "", -15)

    settings = "[DEBUG] BZ::parse() timegapUnit={0}*10^0 (prefix=0) timegap={0}\u00b5s\n"
    told = settings.format(100000) + expected_of_answerer(asked)
    assert lines_without_waits(answerer.out) == (told if answerer_verbosity >= 2 else "")
    assert ("BZ::getNextMessage() read " in answerer.out) == (answerer_verbosity == 3)

    returned = [f"[DEBUG] BZ::readCAN() t=TIME: return: {reply}\n[DEBUG] BZ::sendPattern() discard: {reply}\n" for reply in answers]
    out = lines_without_waits(sender.out)
    discarded = re.findall(r".*: return: .*\n.* discard: .*\n", out)
    assert discarded == returned[:len(discarded)], "the answers in order, as many as came before its end"
    out = re.sub(r".*: return: .*\n.* discard: .*\n", "", out)
    assert out == (settings.format(0) + expected_of_sender(asked) if sender_verbosity >= 2 else "")


def test_the_sender_discards_every_answer_in_order(meeting):
    """It goes on until all of the first answers have come to it."""
    answerer = meeting.start("qvcandev", "-a", "-d", meeting.bus.paths[1])
    meeting.bus.await_open(answerer, 1)
    sender = meeting.start("qvcandev", "-p", "-l", "0", "-t", "5m", "-j", "0", "-vv", "-d", meeting.bus.paths[0])
    sender.until(lambda: sender.out.count("BZ::sendPattern() discard: ") >= 30, "30 answers", also=meeting.observer)
    sent = re.findall(r"send: (.*)\n", sender.out)
    discarded = re.findall(r"BZ::sendPattern\(\) discard: (.*)\n", sender.out)
    frames = pattern(1, len(sent))
    assert [line.split(" ")[2] for line in sent] == [str(frame).split(" ")[2] for frame in frames]
    replies = [f"{line.split(' ')[0]} ch0 {str(answer(frame)).split(' ')[2]}" for line, frame in zip(sent, frames)]
    assert discarded == replies[:len(discarded)]


@pytest.mark.parametrize("ids", [["1", "2", "3"], ["0x100", "0x100", "0x80000200", "0x300"]], ids=str)
@pytest.mark.parametrize("options, each, size", [([], 25, 36), (["-f"], 10, 92), (["-t", "100", "-j", "50"], 25, 36)], ids=str)
def test_all_devices_of_one_program_end_while_answers_arrive(ids, options, each, size, meeting):
    """So few frames that a terminal has room for all of them, whoever is slow."""
    expected = [record for text in ids for record in pattern(int(text, 0), each, fd=size == 92)]
    answerer = meeting.start("qvcandev", "-a", "-d", meeting.bus.paths[1])
    meeting.bus.await_open(answerer, 1)
    await_devices(meeting, start_devices(meeting, ids, "-l", each, *options))
    asked, answers = meeting.seen(2 * len(expected), size)
    assert Counter(untimed(asked)) == Counter(expected)
    assert answers == [answer(record) for record in asked]
    assert answerer.end() == Result("", "", -15)


def start_devices(meeting, ids, *options):
    words = [word for text in ids for word in ("-i", text)]
    return meeting.start("qvcandev", *SENDER, *options, "-d", meeting.bus.paths[0], *words)


def await_devices(meeting, sender):
    """What arrives wakes all of them, and one gets it: the others must not sit in a read that nothing comes to."""
    sender.until(lambda: not sender.open, "the end of all senders", also=meeting.observer)
    seen = sender.result()
    assert (seen.out, seen.status) == ("", 0)
    # A record may be cut by a read, and its pieces then go to two devices: each says what it could not use.
    assert all(line.startswith("trace buffer: passed over ") for line in seen.err.splitlines())


def test_all_devices_of_one_program_end_in_a_long_exchange(meeting):
    """So many that records may be missed, which answers then lack; what is sent is whole all the same."""
    ids, each = ["0x100", "0x200", "0x300", "0x400"], 250
    answerer = meeting.start("qvcandev", "-a", "-d", meeting.bus.paths[1])
    meeting.bus.await_open(answerer, 1)
    sender = start_devices(meeting, ids, "-l", each, "-t", "200", "-j", "100")
    # Who does not read what the bus prints holds it up.
    meeting.bus.program.until(lambda: len(meeting.bus.passed(0)) == each * len(ids), "a line for each record", also=meeting.observer)
    await_devices(meeting, sender)
    frames = Counter(str(record).split(" ")[2] for text in ids for record in pattern(int(text, 0), each))
    assert Counter(line.split(" ")[2] for line in meeting.bus.passed(0)) == frames
    assert len(meeting.bus.passed(1)) > 0
    assert answerer.runs()


def test_a_node_that_joins_late_answers_from_then_on(meeting):
    sender = meeting.start("qvcandev", "-p", "-l", "0", "-t", "10m", "-j", "0", "-d", meeting.bus.paths[0])
    early = meeting.observer.records(20)
    answerer = meeting.start("qvcandev", "-a", "-d", meeting.bus.paths[1])
    seen = list(early)
    while sum(record.number >= 0x400 for record in seen) < 20:  # answers have the top bit, the pattern has not come that far
        seen += meeting.observer.records(1)
    asked = [record for record in seen if record.number < 0x400]
    answers = [record for record in seen if record.number >= 0x400]
    assert untimed(asked) == pattern(1, len(asked))
    first = [answer(record) for record in asked].index(answers[0])
    assert first >= 20
    assert answers == [answer(record) for record in asked[first:first + len(answers)]], "none is left out after the first"
    sender.end()
    assert answerer.end() == Result("", "", -15)


def test_two_programs_that_only_read_see_each_record(meeting):
    readers = [meeting.start("qvcandev", "-vv", "-d", path) for path in meeting.bus.paths[:2]]
    for number, reader in enumerate(readers):
        meeting.bus.await_open(reader, number)
    records = [Record(number, bytes([number]), time=number) for number in range(50)]
    meeting.observer.send(*records)
    for reader in readers:
        reader.until_out(": return: ", 50)
        assert re.findall(r": return: (.*)\n", reader.out) == [str(record) for record in records]
    assert meeting.bus.counts() == [(0, 50, 0), (0, 50, 0), (50, 0, 0)]
