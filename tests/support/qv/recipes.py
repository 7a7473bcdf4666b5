"""The recipes: blocks of shell commands in docs/recipes.md, each under its own heading."""

import os
from pathlib import Path
import re

PAGE = Path(__file__).resolve().parents[3] / "docs" / "recipes.md"


def recipes():
    """{heading: text of its block}"""
    return {part.partition("\n")[0]: "\n".join(re.findall(r"(?ms)^```sh\n(.*?)^```$", part)) for part in PAGE.read_text(encoding="utf-8").split("\n## ")[1:]}


def on_the_bus():
    """The headings of those that name a CAN interface."""
    return {heading for heading, block in recipes().items() if re.search(r"\bcan\d\b", block)}


def path(*folders):
    """A PATH with the programs under test, preceded by the folders."""
    return ":".join([*map(str, folders), str(Path(os.environ["QV_BIN"]).resolve()), os.environ["PATH"]])
