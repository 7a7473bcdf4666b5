"""The answering node on a live bus: questions and answers as two candumps see them, one at each end."""

import pytest

from qv.frame import EFF, Frame, answer, pattern
from qv.qvcan import FD_ENABLED, INCOMPLETE, READ_DOWN

QUEUE = 200  # frames a batch: the node's default receive queue holds 278


@pytest.mark.parametrize("kinds", [["-f"], ["-b"], ["-f", "-E"], ["-f", "-e"], ["-b", "-E", "-e"]], ids="".join)
def test_cangen_frames_come_back_complemented(bus, answerer, candump, cangen, same_frames, kinds):
    asked, answered = candump(bus.far), candump(bus.near)
    node = answerer(bus.far, "-f")

    for batch in range(1, 4):
        cangen(bus.near, QUEUE, *kinds)
        answered.wait_for(batch * QUEUE)

    assert (node.out, node.err) == (FD_ENABLED, "")
    node.end()
    questions = asked.all_frames()
    assert len(questions) == 3 * QUEUE
    assert {len(question.data) for question in questions} >= {0, 8, 12, 64}
    same_frames(answered.all_frames(), [answer(question) for question in questions])


def test_answers_carry_the_bit_rate_switch_of_the_answering_node(bus, answerer, candump, cangen, same_frames):
    asked, answered = candump(bus.far), candump(bus.near)
    node = answerer(bus.far, "-b")

    cangen(bus.near, QUEUE, "-f")
    answered.wait_for(QUEUE)

    node.end()
    same_frames(answered.all_frames(), [answer(question, brs=True) for question in asked.all_frames()])


@pytest.mark.parametrize("question, expected", [
    ("123##0010203", "6DC##0FEFDFC"),
    ("00000001##0", "1FFFFFFE##0"),
    ("7FF##000", "000##0FF"),
    ("000##000", "7FF##0FF"),
    ("1FFFFFFF##0AA", "00000000##055"),
    ("123##0" + "00" * 12, "6DC##0" + "FF" * 9 + "00" * 3),
    ("123##0" + "55" * 16, "6DC##0" + "AA" * 10 + "55" * 6),
    ("123##0" + "00" * 32, "6DC##0" + "FF" * 13 + "00" * 19),
    ("123##0" + "00" * 64, "6DC##0" + "FF" * 15 + "00" * 49),
])
def test_answers_to_the_letter(bus, answerer, peer, question, expected):
    answerer(bus.far, "-f")
    asking = peer(bus.near)
    asking.send(Frame.parse(question))
    assert str(asking.receive()) == expected


def test_every_data_length_and_both_ends_of_the_identifiers(bus, answerer, peer, same_frames):
    answerer(bus.far, "-f")
    asking = peer(bus.near)
    questions = [Frame(can_id, bytes((7 * i + length) % 256 for i in range(length)), True)
                 for can_id in (0, 1, 0x7FF, EFF, EFF | 1, EFF | 0x1FFFFFFF)
                 for length in (0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 20, 24, 32, 48, 64)]
    answers = []
    for question in questions:
        asking.send(question)
        answers.append(asking.receive())
    same_frames(answers, [answer(question) for question in questions])


@pytest.mark.parametrize("switch", [["-f"], ["-b"]], ids=["fd", "brs"])
def test_pattern_node_and_answering_node_together(bus, qvcan, answerer, candump, same_frames, switch):
    asked, answered = candump(bus.far), candump(bus.near)
    node = answerer(bus.far, *switch)

    sender = qvcan(*switch, "-p", "-l", QUEUE, "-t", "1m", "-j", 0, "-e", 50, "-i", "0x7e0", "-d", bus.near)
    assert sender.exit_status() == 0
    answered.wait_for(QUEUE)

    assert (node.err, sender.err) == ("", "")
    node.end()
    brs = switch == ["-b"]
    questions = pattern(0x7E0, QUEUE, fd=True, brs=brs, error_every=50)
    same_frames(asked.all_frames(), questions)
    same_frames(answered.all_frames(), [answer(question, brs=brs) for question in questions])


def test_answering_devices_share_the_frames_and_answer_each_once(bus, answerer, candump, cangen, same_frames):
    asked, answered = candump(bus.far), candump(bus.near)
    node = answerer(bus.far, "-f", "-i", 1, "-i", 2, "-i", 3)

    cangen(bus.near, QUEUE, "-f")
    answered.wait_for(QUEUE)

    node.end()
    # Which of them is first is nobody's promise; that each frame gets one answer is.
    questions = asked.all_frames()
    same_frames(sorted(answered.all_frames(), key=str), sorted((answer(question) for question in questions), key=str))


def test_a_remote_request_in_an_fd_frame_gets_a_plain_answer(bus, answerer, peer):
    answerer(bus.far, "-f")
    asking = peer(bus.near)
    (question,) = pattern(0x40000123, 1, fd=True)
    asking.send(question)
    assert asking.receive() == answer(question)


@pytest.mark.parametrize("mode", [[], ["-f"]], ids=["classic", "fd"])
def test_a_classic_frame_ends_it(bus, answerer, candump, peer, mode):
    answered = candump(bus.near)
    node = answerer(bus.far, *mode)

    peer(bus.near).send(Frame(0x123, b"\x01"))

    assert node.exit_status() == 0
    assert (node.out, node.err) == (FD_ENABLED if mode else "", INCOMPLETE)
    assert answered.all_frames() == []


def test_an_interface_that_goes_down_ends_it(bus, answerer):
    node = answerer(bus.far, "-f")
    bus.down(bus.far)
    assert node.exit_status() == 0
    assert (node.out, node.err) == (FD_ENABLED, READ_DOWN)


def test_answering_wins_over_the_pattern(bus, answerer, candump, peer):
    answered = candump(bus.near)
    node = answerer(bus.far, "-f", "-p", "-t", 0)
    question = Frame(0x123, b"\x01\x02\x03", True)

    peer(bus.near).send(question)
    answered.wait_for(1)

    node.end()
    assert answered.all_frames() == [answer(question)]
