"""qvcancheck on recordings: its text, its JSON, validated against the schema, and its status."""

import functools
import json
from pathlib import Path

import jsonschema

from qv.program import Result, run

SCHEMA = Path(__file__).resolve().parents[3] / "docs" / "check.schema.json"
DEFINITIONS = {"stream": "streamEvent"}  # event: the name of its shape, if different


@functools.cache
def validator(event):
    schema = json.loads(SCHEMA.read_text(encoding="utf-8"))
    shape = {"$schema": schema["$schema"], "$defs": schema["$defs"], "$ref": f"#/$defs/{DEFINITIONS.get(event, event)}"}
    return jsonschema.Draft202012Validator(shape)


def hold_to_schema(each):
    wrong = [f"{'.'.join(map(str, error.path))}: {error.message[:200]}" for error in validator(each["event"]).iter_errors(each)]
    assert wrong == [], each["event"]


def objects(text):
    """The JSON lines, each validated against the shape of its event; the first is the start, the last the summary."""
    found = [json.loads(line) for line in text.splitlines()]
    for each in found:
        hold_to_schema(each)
    assert [each["event"] for each in found].count("summary") == 1
    assert (found[0]["event"], found[-1]["event"]) == ("start", "summary")
    return found


class Check:
    """One recording under judgement: a text that becomes a file."""

    def __init__(self, folder, recording):
        self.path = folder / "run.log"
        self.path.write_bytes(recording if isinstance(recording, bytes) else recording.encode())

    def run(self, *options):
        return run("qvcancheck", *options, self.path)

    def verdict(self, *options):
        """(last line, status); with -q there is no other output."""
        done = self.run("-q", *options)
        assert done.err == "" and done.out.count("\n") == 1
        return done.out.rstrip("\n"), done.status

    def findings(self, *options):
        """The finding lines, without their times."""
        lines = self.run(*options).out.split("\n\n")[0].splitlines()[1:]
        return [line[9:] for line in lines if " stream: " not in line]

    def json(self, *options):
        done = self.run("--json", *options)
        assert done.err == ""
        found = objects(done.out)
        assert found[-1]["status"] == done.status
        return found

    def summary(self, *options):
        return self.json(*options)[-1]


def refused(line):
    return Result("", f"[ERROR] {line}\n", 2)
