"""The short runs that the faults are injected into: each program in each of its modes."""

from contextlib import closing
import os
import pty
import signal
import tty

from qv.checklog import log_of, sent
from qv.frame import pattern as can_pattern
from qv.peer import Peer
from qv.traffic import pattern
from sweep import Run

TERMINATED = -signal.SIGTERM
SENDER = ["-p", "-l", "12", "-t", "200", "-j", "0", "-vv"]
NODE = {0, 1, TERMINATED}
JUDGE = {0, 1, 3, 4, 128 + signal.SIGTERM}


def sending_device(folder, _):
    device = folder / "device"
    device.touch()
    return "qvcandev", ["-d", device, *SENDER], None


class Terminal:
    """The other side of a pseudo-terminal, which takes what comes."""

    def __init__(self):
        self.master, self.slave = pty.openpty()
        tty.setraw(self.slave)
        os.set_blocking(self.master, False)
        self.path = os.ttyname(self.slave)

    def feed(self, raw, settled):
        settled()
        for piece in raw:
            os.write(self.master, piece)
            settled()
            try:
                os.read(self.master, 65536)
            except BlockingIOError:
                pass

    def close(self):
        os.close(self.master)
        os.close(self.slave)


def at_a_terminal(program, *options):
    """Twelve records come, one by one. The terminal is there until the program has ended."""
    def begin(_, stack):
        terminal = stack.enter_context(closing(Terminal()))
        return program, [*options, "-d", terminal.path], lambda settled: terminal.feed([record.pack() for record in pattern(1, 12)], settled)
    return begin


def bus(folder, _):
    """Two nodes, which a test plays; each sends what the other gets."""
    def feed(settled):
        settled()
        nodes = []
        try:
            for number in range(2):
                nodes.append(os.open(folder / f"node{number}", os.O_RDWR | os.O_NOCTTY | os.O_NONBLOCK))
            for record in pattern(1, 6):
                for node in nodes:
                    os.write(node, record.pack())
                    settled()
        except OSError:
            pass  # the bus was hit and has gone
        finally:
            for node in nodes:
                os.close(node)
        settled()
    return "qvbus", ["-n", "2", "-l", folder / "node", "-v"], feed


def recording(content):
    def begin(folder, _):
        path = folder / "run.log"
        path.write_bytes(content())
        return "qvcancheck", ["-v", f"--json={folder / 'run.jsonl'}", f"--dump={folder / 'run.dump'}", "-i", "1", "-l", "3000", path], None
    return begin


def log_with_losses():
    return log_of(frame for frame in sent(3000) if frame.k % 97).encode()


def records():
    return b"".join(record.pack() for record in pattern(1, 3000))


def family_text():
    return "".join(f"{record}\n" for record in pattern(1, 3000)).encode()


HOST = [
    Run("qvcandev-pattern", sending_device, NODE), Run("qvcandev-answer", at_a_terminal("qvcandev", "-a", "-vv"), NODE),
    Run("qvcandev-read", at_a_terminal("qvcandev", "-vv"), NODE), Run("qvbus", bus, {0, 1}),
    Run("qvcancheck-candump", recording(log_with_losses), JUDGE), Run("qvcancheck-records", recording(records), JUDGE),
    Run("qvcancheck-text", recording(family_text), JUDGE), Run("qvcancheck-node", at_a_terminal("qvcancheck", "-I", "100m"), JUDGE),
]


def sending_can(folder, _):
    return "qvcan", ["-d", "vxcan0", "-f", *SENDER], None


def on_can(program, *options):
    """Twelve frames come, one by one."""
    def begin(folder, _):
        def feed(settled):
            settled()
            with closing(Peer("vxcan0")) as peer:
                for frame in can_pattern(1, 12, fd=True):
                    peer.send(frame)
                    settled()
        return program, [*options, "-d", "vxcan1"], feed
    return begin


BUS = [
    Run("qvcan-pattern", sending_can, NODE), Run("qvcan-answer", on_can("qvcan", "-f", "-a", "-vv"), NODE),
    Run("qvcan-read", on_can("qvcan", "-f", "-vv"), NODE), Run("qvcancheck-live", on_can("qvcancheck", "-v", "-I", "100m"), JUDGE),
]
