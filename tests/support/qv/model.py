"""A model of the command line, written from its rules and not from the program: what must be printed before a device is opened.

It follows getopt_long of the GNU C library: options may follow operands, long names may be abbreviated, letters may share a dash.
"""

from dataclasses import dataclass

NO_ARGUMENT, ARGUMENT = False, True
LETTERS = {"h": ("help", NO_ARGUMENT), "v": ("verbose", NO_ARGUMENT), "d": ("device", ARGUMENT), "r": ("receive", ARGUMENT),
           "a": ("answer", NO_ARGUMENT), "s": ("send", ARGUMENT), "f": ("fd", NO_ARGUMENT), "b": ("brs", NO_ARGUMENT),
           "p": ("pattern", NO_ARGUMENT), "l": ("loop", ARGUMENT), "c": ("channel", ARGUMENT), "i": ("id", ARGUMENT),
           "t": ("time", ARGUMENT), "j": ("jitter", ARGUMENT), "e": ("error", ARGUMENT), "y": ("sync", NO_ARGUMENT)}
PREFIXES = {"y": -24, "z": -21, "a": -18, "f": -15, "p": -12, "n": -9, "\u00b5": -6, "u": -6, "m": -3, "c": -2, "d": -1, "de": 1,
            "h": 2, "k": 3, "M": 6, "G": 9, "T": 12, "P": 15, "E": 18, "Z": 21, "Y": 24}
SPACES = " \t\n\v\f\r"
WORD = 2**64


class Refused(Exception):
    """Parsing ends with this line on standard error."""


class Help(Exception):
    """Parsing ends with the usage text."""


def scan(text):
    """(value, exponent, has a prefix) of a time."""
    rest = text.lstrip(SPACES)
    sign, rest = (rest[0], rest[1:]) if rest[:1] in ("+", "-") and rest else ("", rest)
    digits = rest[:len(rest) - len(rest.lstrip("0123456789"))]
    if not digits:
        return 0, 0, False
    if int(digits) >= WORD:  # the stream fails at the number, so nothing after it is read
        return WORD - 1, 0, False
    words = rest[len(digits):].translate({ord(space): " " for space in SPACES}).split(" ")
    word = next(filter(None, words), "")
    if word and word not in PREFIXES:
        raise Refused(f'[ERROR] invalid unit "{word}" specified\n')
    value = -int(digits) % WORD if sign == "-" else int(digits)
    return value, PREFIXES.get(word, 0), word != ""


def micros(value, exponent, prefix):
    """A bare number is in microseconds; a prefix scales it, below micro by 0, a factor beyond 64 bits counts as 2^64 - 1."""
    if not prefix:
        return value
    factor = 10 ** (exponent + 6) if exponent >= -6 else 0
    return value * min(factor, WORD - 1) % WORD


def number(text):
    """A number as 32-bit strtoul reads it with base 0."""
    rest = text.lstrip(SPACES)
    negative = rest[:1] == "-"
    rest = rest[1:] if rest[:1] in ("+", "-") and rest else rest
    hexadecimal = rest[:2].lower() == "0x" and rest[2:3] and rest[2].lower() in "0123456789abcdef"
    base, rest = (16, rest[2:]) if hexadecimal else (8, rest) if rest[:1] == "0" else (10, rest)
    digits = ""
    for character in rest.lower():
        if character not in "0123456789abcdef"[:base]:
            break
        digits += character
    value = int(digits or "0", base)
    if value >= 2**32:
        return 2**32 - 1
    return -value % 2**32 if negative else value


@dataclass
class Reading:
    device: str
    verbose: int = 0
    time: tuple = (100000, 0, False)

    def take(self, letter, argument):
        if letter == "h":
            raise Help
        if letter == "v":
            self.verbose = (self.verbose + 1) % 2**16
        elif letter == "d":
            self.device = argument
        elif letter == "t":
            self.time = scan(argument)
        elif letter == "j":
            scan(argument)  # no line shows its value


def unknown(argument):
    return Refused(f"[ERROR] Unknown option '{argument}'\n")


def long_option(reading, word, following):
    name, equals, value = word[2:].partition("=")
    matches = [letter for letter, (full, _) in LETTERS.items() if full == name] or \
              [letter for letter, (full, _) in LETTERS.items() if full.startswith(name)]
    if len(matches) != 1:
        raise unknown(word)
    takes = LETTERS[matches[0]][1]
    if equals and not takes or takes and not equals and not following:
        raise unknown(word)
    reading.take(matches[0], value if equals else following.pop(0) if takes else None)


def cluster(reading, word, before, following):
    """Letters after one dash. `before` precedes it: the last argument consumed while letters are left."""
    for index, letter in enumerate(word[1:], 1):
        rest = word[index + 1:]
        if letter not in LETTERS:  # of a two-byte letter, the first byte is unknown and the second left
            raise unknown(before if rest or len(letter.encode()) > 1 else word)
        if LETTERS[letter][1]:
            if not rest and not following:
                raise unknown(word)
            return reading.take(letter, rest or following.pop(0))
        reading.take(letter, None)
    return None


def read(argv, device):
    """The state after all options, or Help, or Refused."""
    reading = Reading(device)
    following = list(argv[1:])
    operands = []
    while following:
        position = len(argv) - len(following)
        word = following.pop(0)
        if word == "--":
            operands += following
            break
        if word.startswith("--"):
            long_option(reading, word, following)
        elif word.startswith("-") and word != "-":
            cluster(reading, word, operands[-1] if operands else argv[position - 1], following)
        else:
            operands.append(word)
    if operands:
        raise Refused(f"[ERROR] Unexpected argument '{operands[0]}', the device is given with -d\n")
    return reading


def debug_line(value, exponent, prefix):
    return (f"[DEBUG] BZ::parse() timegapUnit={value}*10^{exponent} (prefix={int(prefix)}) "
            f"timegap={micros(value, exponent, prefix)}\u00b5s\n")
