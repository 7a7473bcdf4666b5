"""docs/architecture.md: the files that it names are there, and its picture is that of its source."""

import hashlib
from pathlib import Path
import re

ROOT = Path(__file__).parents[2]


def test_every_file_in_the_table_of_behaviours_is_there():
    table = (ROOT / "docs/architecture.md").read_text(encoding="utf-8").partition("## What is where")[2]
    named = re.findall(r"`([^`]+)`", table)
    assert len(named) > 30
    assert [name for name in named if not (ROOT / name).is_file()] == []


def test_the_picture_is_drawn_of_the_text_that_is_there():
    source = hashlib.sha256((ROOT / "docs/architecture.dot").read_bytes()).hexdigest()
    assert (ROOT / "docs/architecture.svg").read_text(encoding="utf-8").endswith(f"<!-- sha256 of architecture.dot: {source} -->\n")
