"""The scenes of the demo. QV_BIN names the folder of the programs. Every frame shown is also checked."""

from contextlib import closing, ExitStack
import os
from pathlib import Path
import sys
import tempfile

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "tests" / "support"))

from qv.frame import answer, difference, Frame, pattern  # noqa: E402
from qv.netem import Netem  # noqa: E402
from qv.pair import Pair, wait_for_listeners  # noqa: E402
from qv.watched import Candump, Program  # noqa: E402
from qv.qvcan import Answerer, FD_ENABLED, INCOMPLETE, Qvcan, READING, Reader  # noqa: E402
from qv.waiting import wait_until  # noqa: E402

COUNT, ERROR_EVERY, FIRST_ID = 12, 7, 0x123
SENDER = ["-f", "-p", "-l", COUNT, "-t", "50m", "-j", 0, "-e", ERROR_EVERY, "-i", hex(FIRST_ID)]
SHOWN = 16  # bytes of a frame's 64: the last of them is the first that an answer leaves unchanged


def styled(code, text):
    return f"\033[{code}m{text}\033[0m" if os.environ.get("QV_COLOUR") else text


def say(text=""):
    print(text, flush=True)


def heading(title, *lines):
    say("\n" + styled("1", title))
    for line in lines:
        say("  " + line)
    say()


class Verdict:
    def __init__(self):
        self.broken = 0

    def promise(self, what, kept, why=None):
        self.broken += not kept
        mark = styled("32", "ok") if kept else styled("1;31", "BROKEN")
        say(f"  {mark}  {what}" + (f": {why}" if why and not kept else ""))


def reading_scene(bus, verdict):
    heading("A node that reads",
            f"{bus.far}  qvcan -f -d {bus.far}",
            f"{bus.near}  cangen -f -n 100 {bus.near}   then   cangen -n 1 {bus.near}")
    node = Reader(bus.far, "-f")
    for options in (["-f", "-n", 100], ["-n", 1]):
        assert Program("cangen", bus.near, "-g", 0, "-x", *options).exit_status() == 0
    node.wait_for_err("\n")
    node.end()

    received, sent = bus.counters(bus.far)[0], bus.counters(bus.near)[1]
    for line in node.out.splitlines():
        say(f"  qvcan says       {line}")
    say(f"  the kernel says  {sent} frames sent on {bus.near}, {received} received on {bus.far}")
    for line in node.err.splitlines():
        say(f"  qvcan says       {line}")
    say()
    verdict.promise("100 FD frames are taken in silence, as the kernel's counters say",
                    (sent, received, node.out) == (101, 101, FD_ENABLED + READING))
    verdict.promise("1 classic frame is reported", node.err == INCOMPLETE, repr(node.err))


def row(seconds, direction, text, clean):
    """One frame: its first bytes in groups of four; bytes that differ from clean are marked."""
    frame = Frame.parse(text)
    head, _, rest = text.partition("##")
    data, note = "", ""
    for index, (byte, right) in enumerate(zip(frame.data[:SHOWN], clean.data)):
        data += " " if index and index % 4 == 0 else ""
        data += f"{byte:02X}" if byte == right else styled("1;31", f"{byte:02X}")
        note += "" if byte == right else styled("1;31", f"  <== injected error: byte {index} is {byte:02X}, not {right:02X}")
    return f"  {seconds:6.3f}  {direction}  {head}##{rest[:1]}  {data} ..{note}"


def show_traffic(exchange):
    """Prints every frame as it comes: exchange(k) waits for the k-th question and its answer and returns both as (seconds, text)."""
    start = None
    for k, clean in enumerate(pattern(FIRST_ID, COUNT, fd=True)):
        (asked_at, question), (answered_at, reply) = exchange(k)
        start = asked_at if start is None else start
        say(row(asked_at - start, "-->", question, clean))
        say(row(answered_at - start, "<--", reply, Frame.parse(reply)))
    say()


def judge_traffic(verdict, questions, answers):
    expected = pattern(FIRST_ID, COUNT, fd=True, error_every=ERROR_EVERY)
    hits = [number for number, (seen, clean) in enumerate(zip(questions, pattern(FIRST_ID, COUNT, fd=True)), 1) if seen != clean]
    problem = difference(questions, expected)
    verdict.promise(f"{len(questions)} pattern frames, each as computed", problem is None, problem)
    verdict.promise(f"1 injected error, in frame {ERROR_EVERY}", hits == [ERROR_EVERY], f"frames {hits}")
    problem = difference(answers, [answer(question) for question in questions])
    verdict.promise(f"{len(answers)} answers: identifier and bytes 0 to 14 complemented, the rest as sent", problem is None, problem)


def judge_nodes(verdict, status, errors):
    verdict.promise("nothing to complain about for either node", status == 0 and errors == "", f"status {status}, {errors!r}")


def pattern_scene(bus, verdict):
    heading("A node that sends its pattern, and a node that answers",
            f"{bus.near}  qvcan {' '.join(map(str, SENDER))} -d {bus.near}",
            f"{bus.far}  qvcan -f -a -d {bus.far}",
            f"candump at both ends: --> pattern, <-- answer; {SHOWN} of 64 bytes are shown")
    asked, answered = Candump(bus.far, bus.near), Candump(bus.near, bus.far)
    node = Answerer(bus.far, "-f")
    sender = Qvcan(*SENDER, "-d", bus.near)

    def exchange(k):
        asked.wait_for(k + 1)
        answered.wait_for(k + 1)
        return asked.texts()[k], answered.texts()[k]

    show_traffic(exchange)
    status = sender.exit_status()
    node.end()
    judge_traffic(verdict, asked.all_frames(), answered.all_frames())
    judge_nodes(verdict, status, sender.err + node.err)
    received, sent = (count - 1 for count in bus.counters(bus.near))  # less the end mark that all_frames() sends each way
    verdict.promise(f"the kernel counts {sent} frames sent on {bus.near} and {received} received", (sent, received) == (COUNT, COUNT))


JUDGED = 500  # frames
DEMANDED = ["-f", "-l", JUDGED, "--idle", 3, "-e", 100, "-i", 1]
PATTERN = ["-f", "-p", "-l", JUDGED, "-t", "2m", "-j", 0, "-e", 100, "-i", 1]


def judge_heading(*lines):
    heading("A judge that was told what the sender was told", *lines)


def verdict_of(check):
    """The lines of a check, which are shown, and its exit status."""
    status = check.exit_status()
    lines = check.out.splitlines()
    for line in lines:
        say(f"  {line}")
    say()
    return lines, status


def promise_pass(verdict, lines, status):
    verdict.promise("the check passes, and every injected error is found",
                    (status, lines[-1]) == (0, f"PASS: {JUDGED} frames, none lost, repeated or reordered; {JUDGED // 100} corrupted as told"), lines[-1])


def judged(bus, impaired=""):
    """The lines of a check, its exit status, and the dropped frames, while a node sends the pattern over a bus that tc impairs so."""
    netem = Netem(bus.near, *impaired.split()) if impaired else None
    check = Program(Path(os.environ["QV_BIN"], "qvcancheck"), "-d", bus.far, *DEMANDED)
    wait_for_listeners(bus.far, 1)
    sender = Qvcan(*PATTERN, "-d", bus.near)
    assert sender.exit_status() == 0, sender
    return *verdict_of(check), netem.delivered()["drops"] if netem else 0


def judge_scene(bus, verdict):
    judge_heading(f"{bus.far}  qvcancheck -d {bus.far} {' '.join(map(str, DEMANDED))}",
                  f"{bus.near}  qvcan {' '.join(map(str, PATTERN))} -d {bus.near}")
    lines, status, _ = judged(bus)
    promise_pass(verdict, lines, status)
    say("\n  The same once more, while tc drops 5 % of the frames:\n")
    try:
        lines, status, dropped = judged(bus, "loss 5%")
    except AssertionError as problem:
        say(f"  not shown: {problem}")
        return
    verdict.promise(f"the check fails, and misses the {dropped} frames that tc dropped",
                    status == 1 and lines[-1] == f"FAIL: {dropped} frames lost", lines[-1])


class Nodes(ExitStack):
    """qvbus with two nodes and their programs, all of which end with the scene."""

    def __init__(self):
        super().__init__()
        self.folder = self.enter_context(tempfile.TemporaryDirectory(prefix="qv-demo-"))
        self.bus = self.start("qvbus", "-v", "-n", 2, "-l", self.path("node"))

    def path(self, name):
        return Path(self.folder, name)

    def start(self, program, *options):
        return self.enter_context(closing(Program(Path(os.environ["QV_BIN"], program), *options)))

    def listen(self, program, *options):
        """Returns once it has opened its device."""
        self.bus.wait_for_out("2 nodes: ")
        listener = self.start(program, *options)
        wait_until(lambda: any("/pts/" in os.readlink(link) for link in Path(f"/proc/{listener.process.pid}/fd").iterdir()),
                   lambda: f"{listener} to open its device")
        return listener


def device_file_scene(nodes, verdict):
    heading("A node that sends its pattern, and a node that answers",
            f"node0  qvcandev {' '.join(map(str, SENDER))} -d node0",
            "node1  qvcandev -f -a -d node1",
            "bus    qvbus -v -n 2 -l node",
            f"what qvbus hands on: --> pattern, <-- answer; {SHOWN} of 64 bytes are shown")
    node = nodes.listen("qvcandev", "-f", "-a", "-d", nodes.path("node1"))
    sender = nodes.start("qvcandev", *SENDER, "-d", nodes.path("node0"))

    def passed(name):
        """(seconds of the day, frame as printed) of each record written by the node."""
        words = [line.split() for line in nodes.bus.out.rpartition("\n")[0].splitlines()]
        return [(sum(float(part) * unit for part, unit in zip(word[1].split(":"), (3600, 60, 1))), word[3])
                for word in words if word[0] == str(nodes.path(name))]

    def exchange(k):
        wait_until(lambda: len(passed("node0")) > k and len(passed("node1")) > k, lambda: f"frame {k} and its answer on {nodes.bus}")
        return passed("node0")[k], passed("node1")[k]

    show_traffic(exchange)
    status = sender.exit_status()
    questions, answers = ([Frame.parse(text) for _, text in passed(name)] for name in ("node0", "node1"))
    judge_traffic(verdict, questions, answers)
    judge_nodes(verdict, status, sender.err + node.err)


def device_file_judge_scene(nodes, verdict):
    judge_heading(f"node1  qvcancheck -d ./node1 {' '.join(map(str, DEMANDED))}",
                  f"node0  qvcandev {' '.join(map(str, PATTERN))} -d node0")
    check = nodes.listen("qvcancheck", "-d", nodes.path("node1"), *DEMANDED)
    assert nodes.start("qvcandev", *PATTERN, "-d", nodes.path("node0")).exit_status() == 0
    promise_pass(verdict, *verdict_of(check))


def play(scenes, verdict):
    judges = Path(os.environ["QV_BIN"], "qvcancheck").exists()
    if scenes == "device-file":
        for scene in (device_file_scene, *([device_file_judge_scene] if judges else [])):
            with Nodes() as nodes:
                scene(nodes, verdict)
        return
    for scene in (reading_scene, pattern_scene, *([judge_scene] if judges else [])):
        bus = Pair()  # a new one each time: its counters start at 0
        scene(bus, verdict)
        bus.delete()


def main():
    verdict = Verdict()
    try:
        play(sys.argv[1], verdict)
    except AssertionError as problem:
        verdict.promise("the scene was played to its end", False, problem)
    say("\n" + (styled("1;31", f"{verdict.broken} of the promises broken.") if verdict.broken
                else styled("1;32", "All came as promised.")))
    return 1 if verdict.broken else 0


if __name__ == "__main__":
    sys.exit(main())
