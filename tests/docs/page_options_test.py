"""The option sections say what the programs' own tables say."""

import re

import pytest

from qv.page import plain, section
from qv.options import option_in, options_of, PROGRAMS, run


def items(program):
    """Each option of the page with the text below it."""
    found = {}
    option = None
    for line in map(plain, section(f"{program}.1", "OPTIONS")):
        if option_in(line) and line.startswith("     -"):
            option = option_in(line)
            found[option] = ""
        elif option and (line.startswith("      ") or not line):
            found[option] += line.strip() + " "
        else:
            option = None
    return found


@pytest.mark.parametrize("program", PROGRAMS)
def test_a_page_has_the_options_of_its_program_in_their_order(program):
    assert len(options_of(program)) >= 2
    assert list(items(program)) == options_of(program)


@pytest.mark.parametrize("program", PROGRAMS)
def test_every_option_is_explained(program):
    assert [option.shown for option, text in items(program).items() if len(text.split()) < 4] == []


@pytest.mark.parametrize("program", PROGRAMS)
def test_a_synopsis_has_the_options_of_its_program(program):
    text = " ".join(map(plain, section(f"{program}.1", "SYNOPSIS")))
    flags, *others = re.findall(r"\[-((?:[^\[\]]|\[[^\]]*\])*)\]", text)
    options = options_of(program)
    assert flags == "".join(sorted(option.short[1] for option in options if option.short and not option.argument))
    with_short = sorted(f"{option.short[1]} {option.argument}" for option in options if option.short and option.argument)
    assert others == with_short + [option.shown[1:] for option in options if not option.short]


@pytest.mark.parametrize("program, letter, defaults", [
    ("qvcan", "-l", ["1", "1024"]), ("qvcan", "-c", ["0"]), ("qvcan", "-i", ["0x1"]), ("qvcan", "-t", ["100000"]),
    ("qvbus", "-n", ["2"]), ("qvbus", "-l", ["qvnode"]),
])
def test_a_page_tells_the_defaults_that_the_help_tells(program, letter, defaults):
    table = run(program, "-h").stdout
    row = table[table.index(f"  {letter}, "):].split("\n  -")[0]
    told = re.split(r"defaults? ?(?:are|=)", row)[1]
    text = next(text for option, text in items(program).items() if option.short == letter)
    for default in defaults:
        assert re.search(rf"(?<![\w]){default}(?![\dx])", told), f"not a default of -h: {default}"
        assert re.search(rf"default is[^.]*?(?<![\w]){default}(?![\dx])", text), f"not in the page: {default}"


@pytest.mark.parametrize("name", ["TRAFFIC MODES", "OPTIONS", "TIMES", "OUTPUT", "EXIT STATUS"])
def test_the_pages_of_both_tools_say_the_same_about_what_they_share(name):
    assert section("qvcan.1", name) == section("qvcandev.1", name)


def prefixes():
    table = [line.split() for line in map(plain, section("qvcan.1", "TIMES")) if line.startswith("           ")]
    return [(words[i], int(words[i + 1])) for words in table[1:] for i in range(0, len(words), 2)]


def test_the_page_has_every_prefix():
    assert sorted(prefix for prefix, _ in prefixes()) == sorted("y z a f p n µ u m c d de h k M G T P E Z Y".split())


@pytest.mark.parametrize("prefix, power", prefixes())
def test_a_prefix_means_what_the_page_says(prefix, power):
    line = run("qvcandev", "-vv", "-d", "/nonexistent", "-t", "3" + prefix).stdout
    assert line.startswith(f"[DEBUG] BZ::parse() timegapUnit=3*10^{power} (prefix=1) ")
