"""qvcancheck --dump on the bus: the log shows what the check found, and canplayer sends it again."""

from qv.livecheck import Check
from qv.netem import Netem
from qv.pair import command

FRAMES = 3000


def findings(objects):
    return sorted((one["kind"], one["first"], one["last"], one["count"]) for one in objects if one["event"] == "finding")


def test_a_dump_of_the_bus_shows_the_same_findings_and_is_replayed(bus, start, qvcan, tmp_path):
    dump = tmp_path / "run.log"
    Netem(bus.near, "loss", "1%")
    seen = start(Check, "-d", bus.far, "-i", 1, "-l", FRAMES, "--idle", 3, f"--dump={dump}")
    assert qvcan("-d", bus.near, "-p", "-i", 1, "-l", FRAMES, "-t", "300u", "-j", "0").exit_status() == 0
    assert seen.exit_status() == 1
    found = findings(seen.objects())
    assert 10 < len(found) <= 100
    again = start(Check, "-i", 1, "-l", FRAMES, dump)
    assert again.exit_status() == 1
    assert findings(again.objects()) == found

    command("tc", "qdisc", "del", "dev", bus.near, "root")
    replayed = start(Check, "-d", bus.far, "-T", 60, "--idle", 3)
    command("canplayer", "-I", dump, f"{bus.near}={bus.far}")
    replayed.exit_status()
    assert replayed.summary()["frames"] == sum(line.startswith("(") for line in dump.read_text(encoding="ascii").splitlines())
