"""The table of argument vectors: (name, arguments). What each must print comes from the model (model.py).

Each row is read after `-vv -d no/such/device`, so that its time gap shows in the debug line and no device is opened.
"""

import string

from qv.model import LETTERS, PREFIXES

NUMBERS = {
    "empty": "", "blank": " ", "blanks": " \t ", "zero": "0", "one": "1", "default": "100000", "leading_zeros": "000123",
    "no_octal": "010", "no_hexadecimal": "0x10", "no_exponent": "1e3", "fraction": "5.5", "no_leading_digit": ".5", "comma": "1,5",
    "grouped": "1'000", "plus": "+7", "minus": "-5", "minus_zero": "-0", "minus_one": "-1", "two_signs": "+-5", "sign_only": "-",
    "plus_only": "+", "sign_blank": "- 5", "word": "abc", "prefix_only": "m", "micro_only": "\u00b5", "leading_blank": " 8u",
    "leading_tab": "\t8u", "leading_newline": "\n8u", "trailing_blank": "5 ", "trailing_newline": "5\n", "tab_between": "5\tm",
    "blanks_between": "5   m", "blank_behind": "5m ", "word_behind": "5m x", "word_behind_number": "5 x", "32_bits": "4294967295",
    "33_bits": "4294967296", "64_bits": "18446744073709551615", "65_bits": "18446744073709551616", "twenty_nines": "9" * 20,
    "twenty_nines_and_prefix": "9" * 20 + "m", "twenty_nines_and_word": "9" * 20 + "xyz", "minus_64_bits": "-18446744073709551615",
    "minus_65_bits": "-18446744073709551616", "minus_and_prefix": "-5m", "plus_and_prefix": "+7k", "hundred_digits": "1" * 100,
    "hundred_zeros": "0" * 100 + "9u", "double_dash": "--", "option_like": "-v",
}
# Values whose product with the factor exceeds 64 bits.
WRAPPED = ["18446744073709551616m", "18446744073709551615u", "18446744073709552m", "18446744073709551m", "18446744073710k",
           "18446744073k", "18446745M", "18446M", "18447G", "18G", "19T", "1T", "1P", "2P", "3P", "1E", "2E", "1Z", "1Y", "5Y",
           "18446744073709551615Y", "18446744073709551615k", "9223372036854775808c", "9223372036854775808d"]
NO_PREFIXES = ["s", "ms", "us", "\u00b5s", "ns", "ks", "da", "dA", "De", "DE", "dee", "K", "U", "H", "C", "D", "A", "F", "N", "mm", "kk",
               "mk", "Ki", "ki", "mu", "micro", "\u03bc", "\u00b5\u00b5", "\u00c2", "i", "Q", "R", "r", "q", "1", "_", "%",
               "m,", "\"m\"", "\\m", "\u20ac"]


def times():
    for name, text in NUMBERS.items():
        yield f"number_{name}", ["-t", text]
    for prefix, exponent in PREFIXES.items():
        for value in ("0", "1", "7", "4294967296"):
            yield f"prefix_{exponent}_{prefix}_{value}", ["-t", value + prefix]
        yield f"prefix_{exponent}_{prefix}_behind_a_blank", ["-t", f"3 {prefix}"]
        yield f"prefix_{exponent}_{prefix}_for_jitter", ["-j", f"3{prefix}"]
    for text in WRAPPED:
        yield f"wrapped_{text}", ["-t", text]
    for text in NO_PREFIXES:
        yield f"no_prefix_{text}", ["-t", f"10{text}" if text != "1" else "10 1"]
        yield f"no_prefix_{text}_for_jitter", ["-j", f"10 {text}"]


def forms():
    """Every way to write an option with its argument, including abbreviated names."""
    for letter, (name, takes) in LETTERS.items():
        if letter == "h":
            continue
        argument = ["7"] if takes and letter != "d" else ["no/device"] if takes else []
        yield f"short_{letter}", [f"-{letter}", *argument]
        yield f"long_{name}", [f"--{name}", *argument]
        yield f"twice_{letter}", [f"-{letter}", *argument] * 2
        for end in range(1, len(name)):
            yield f"cut_{name}_{end}", [f"--{name[:end]}", *argument]
        yield f"too_long_{name}", [f"--{name}x", *argument]
        if takes:
            yield f"attached_{letter}", [f"-{letter}{argument[0]}"]
            yield f"equals_{name}", [f"--{name}={argument[0]}"]
            yield f"equals_cut_{name}", [f"--{name[:3]}={argument[0]}"]
            yield f"equals_nothing_{name}", [f"--{name}="]
            yield f"missing_{letter}", [f"-{letter}"]
            yield f"missing_{name}", [f"--{name}"]
            yield f"missing_in_cluster_{letter}", [f"-vf{letter}"]
            yield f"eats_option_{letter}", [f"-{letter}", "-t"]
            yield f"eats_double_dash_{letter}", [f"-{letter}", "--"]
        else:
            yield f"argument_refused_{name}", [f"--{name}=1"]


def unknown():
    for character in string.ascii_letters + string.digits + "?:;.,_+=@%\u00b5":
        if character not in LETTERS:
            yield f"unknown_{character}", [f"-{character}"]
            yield f"unknown_cluster_{character}", [f"-v{character}"]
    yield from {
        "unknown_first_in_cluster": ["-xv"], "unknown_inside_cluster": ["-vxv"], "unknown_behind_argument": ["-t", "5", "-xv"],
        "unknown_behind_attached": ["-t5", "-xv"], "unknown_cluster_behind_operand": ["can1", "-xv"], "unknown_long": ["--nothing"],
        "unknown_cluster_behind_more": ["can1", "-v", "can2", "-xp"], "unknown_long_value": ["--nothing=5"], "ambiguous": ["--s"],
        "empty_name": ["--=5"], "letter_of_the_parser": ["-W", "time=5"], "unknown_wins_over_operand": ["can1", "-x"],
        "first_unknown_wins": ["-x", "-z"], "unknown_before_time": ["-x", "-t", "5ms"], "time_before_unknown": ["-t", "5ms", "-x"],
        "unknown_before_help": ["-x", "-h"], "triple_dash": ["---"], "triple_dash_name": ["---time=5"], "word_with_quote": ["--it's"],
    }.items()


def operands():
    yield from {
        "operand": ["can1"], "operand_empty": [""], "operand_dash": ["-"], "operand_first": ["can1", "-p"], "operands": ["a", "b"],
        "operand_behind_double_dash": ["--", "can1"], "option_behind_double_dash": ["--", "-x"], "help_behind_double_dash": ["--", "-h"],
        "double_dash_alone": ["--"], "double_dash_twice": ["--", "--"], "operand_and_time": ["can1", "-t", "5ms"], "spaces": [" -p"],
        "operand_between": ["-p", "can1", "-v"], "operand_both_sides": ["one", "--", "two"], "operand_micro": ["\u00b5"],
    }.items()


def orders():
    yield from {
        "last_time_wins": ["-t", "1", "-t", "2m"], "last_bare_time_wins": ["-t", "2m", "-t", "1"], "bad_time_first": ["-t", "5ms", "-t", "5m"],
        "bad_time_last": ["-t", "5m", "-t", "5ms"], "bad_jitter_first": ["-j", "1x", "-t", "1z!"], "jitter_not_printed": ["-j", "5", "-t", "9"],
        "jitter_above_gap": ["-t", "10m", "-j", "20m"], "gap_zero": ["-t", "0", "-j", "5m"], "below_micro": ["-t", "500n"],
        "cluster": ["-vafbpy"], "cluster_with_time": ["-vpt5m"], "cluster_with_time_apart": ["-vpt", "5m"], "cluster_of_times": ["-t5t5"],
        "every_option": ["-r", "in", "-a", "-s", "out", "-f", "-b", "-p", "-l", "0", "-c", "300", "-i", "7", "-i", "2", "-i", "7", "-t", "1m",
                         "-j", "1u", "-e", "3", "-y", "-v"],
        "every_option_long": ["--receive=in", "--answer", "--send=out", "--fd", "--brs", "--pattern", "--loop=0", "--channel=300", "--id=7",
                              "--time=1m", "--jitter=1u", "--error=3", "--sync", "--verbose"],
        "last_device_wins": ["-d", "first", "-d", "second"], "device_empty": ["-d", ""], "device_dash": ["-d", "-"],
        "device_option_like": ["-d", "-p"], "device_micro": ["-d", "\u00b5"], "device_percent": ["-d", "%s%n"], "device_line": ["-d", "a\nb"],
    }.items()
    for option in "lcie":
        for name, text in NUMBERS.items():
            yield f"{option}_{name}", [f"-{option}", text]


def helps():
    yield from {
        "help": ["-h"], "help_long": ["--help"], "help_cut": ["--h"], "help_last": ["-p", "-t", "5", "-h"], "help_first": ["-h", "-x"],
        "help_before_time": ["-h", "-t", "5ms"], "help_behind_time": ["-t", "5ms", "-h"], "help_behind_operand": ["can1", "-h"],
        "help_before_operand": ["-h", "can1"], "help_in_cluster": ["-vhx"], "help_behind_unknown_letter": ["-xh"], "help_twice": ["-hh"],
        "help_is_an_argument": ["-d", "-h"], "help_value": ["--help=1"], "help_before_missing": ["-h", "-t"], "help_behind_device": ["-d", "x", "-h"],
    }.items()


ROWS = [*times(), *forms(), *unknown(), *operands(), *orders(), *helps()]
