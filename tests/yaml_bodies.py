"""YAML bodies (real, mutated and generated) for which the native reading of front matter is compared with PyYAML's.

Each generator takes a seeded ``random.Random``. The same seed gives the same bodies.
"""

from __future__ import annotations

import itertools
import random
import re
from collections.abc import Iterator
from pathlib import Path

# The letters that the scanner tells apart; those of numbers and times; those of words that are not text, such as "yes".
SYNTAX_LETTERS = "a:- \n#'\"[],{}0.~"
NUMBER_LETTERS = "0x1_.:+-eE89T "
WORD_LETTERS = "yesnotrufalYESNO~"

SAMPLES = (
    "title: \"A \\\"quoted\\\" \\u00e9 title\"\ndescription: 'it''s'\ndate: 2024-05-01\ntags: [a, b]\n",
    "# c\ntitle: A title\n  over lines\ndescription: >-\n  folded\n  text\n\n    more\nx: |+\n  kept\n\n",
    "nested:\n  deep: 1\n  list:\n  - a: b\n    c: {d: e, f}\n  - - x\n    - y\n'title': 0x1F\nb: ~\n",
)

_FRONT_MATTER = re.compile(r"---[ \t]*\n(.*?)^---[ \t]*$", re.DOTALL | re.MULTILINE)


def _parts(text: str, separator: str) -> list[str]:
    return text.split(separator)


_PIECES = _parts(
    ": ;:;- ;-;  ;\n;\n  ;\n\n;#; # ;';\";'';\\;\\\n;[;];{;};,;, ;&a ;*a;!;!!str ;%;\n%;@;`;?;? ;<<;=;~;"
    "---;...;\n...;|;>;|-;>+;|2;\t;\r;\\x41;\\u12;\x07;\x85;\u2028;\ufeff;é;"
    "title: ;description: ;\ntitle: ; \n  ",
    ";",
)
_WORDS = _parts(
    "yes No TRUE false on off OFF null Null ~ y n a b-c it's x#y a:b http://h/p?q=1#f 50% é 日本 -x ?x :x << "
    "= - a,b [x {",
    " ",
)
_QUOTED = _parts("it| |  |\n  |\n\n  | \n%|: | # |[,]|é|''|\\\"|\\n|\\x41|\\\n |\\ ", "|")
_NUMBER_PARTS = _parts(
    "0 0 1 7 8 9 00 12 59 60 2024 18446744073709551616 1234567890123456789012345 _ _ . : - + e+ e- E5 0x 0b "
    "0o .inf .NaN ff ABC -1- :59 :60",
    " ",
)
_TIME_PARTS = [  # the parts of a timestamp in order, each with values inside and outside its range
    _parts(choices, ",")
    for choices in _parts(
        "2024,2023,1900,2000,0000,0001,9999,24/-/00,02,2,12,13/-/00,1,28,29,30,31,32/T,t, ,  ,\n  ,x/0"
        ",9,23,24/:/00,59,60,5/:/00,59,60,5/,,.,.5,.1234567/,Z, Z,+1,-23:59,+24, +23:60,-24:00,+99:99,+1:5,z",
        "/",
    )
]
_PLACES = _parts(
    "title: {};title: a\ntitle: {} # c;title:\n  {}\n;title: {}\n  {};title: |\n  {}\n  ;title: >\n  {}"
    "\n   {}\n;{}: a\ntitle: b;a:\n- {}\n- b\ntitle: c;a: [b, {}]\ntitle: c;a: {{{}: b}}\ntitle: c;"
    "a: {{b: {}}}\ntitle: c;a: {{{}\n: b}};a:\n  {}: b\ntitle: c;- {};a:\n- {}: a\n  title: b\n"
    "description: c;\ufeff{}: a",
    ";",
)


def bodies_of(corpus: Path) -> Iterator[tuple[str, str]]:
    """For each Markdown file below ``corpus`` that has YAML front matter: the first part of its path, and the body."""
    for path in sorted(corpus.rglob("*.md")):
        match = _FRONT_MATTER.match(path.read_bytes().decode("utf-8", "replace"))
        if match:
            yield path.relative_to(corpus).parts[0], match[1].removesuffix("\n")


def short_strings(letters: str, longest: int) -> Iterator[str]:
    """Every string over ``letters`` up to the length ``longest``."""
    for length in range(longest + 1):
        yield from map("".join, itertools.product(letters, repeat=length))


def mutated(rng: random.Random, body: str) -> str:
    """``body`` after one to three changes: characters or lines removed, put in, swapped, moved, repeated, indented."""
    for _ in range(rng.choice((1, 1, 1, 2, 3))):
        at = rng.randrange(len(body) + 1)
        lines = body.split("\n")
        row = rng.randrange(len(lines))
        match rng.randrange(7):
            case 0:
                lines = [body[:at] + body[at + rng.randint(1, 3) :]]
            case 1:
                lines = [body[:at] + rng.choice(_PIECES) + body[at:]]
            case 2:
                lines = [body[:at] + body[at + 1 : at + 2] + body[at : at + 1] + body[at + 2 :]]
            case 3:
                lines[row] = " " * rng.randrange(5) + lines[row].lstrip(" ")
            case 4:
                lines.insert(rng.randrange(len(lines) + 1), lines[row])
            case 5:
                lines.insert(rng.randrange(len(lines)), lines.pop(row))
            case _:
                key, colon, _ = lines[row].partition(": ")
                lines[row] = key + colon + _scalar(rng, 2)
        body = "\n".join(lines)
    return body


def generated(rng: random.Random) -> str:
    """A small body: one or two scalars in a fixed place, or nested blocks, which may be mutated."""
    if rng.random() < 0.5:
        place = rng.choice(_PLACES)
        return place.format(*(_scalar(rng, 2) for _ in range(2)))
    body = _mapping(rng, rng.choice((0, 0, 0, 1, 2)), 3)
    return body if rng.random() < 0.8 else mutated(rng, body)


def _mapping(rng: random.Random, indent: int, depth: int) -> str:
    lines = []
    for _ in range(rng.randint(1, 4)):
        key = rng.choice(("title", "description", "title", "a", '"title"', "'b'", "title ", _scalar(rng, 0)))
        end = rng.choice(("", "", "", " ", " # c", "\n", "\n# c"))
        lines.append(" " * indent + key + ":" + _value(rng, indent, depth) + end)
    return "\n".join(lines)


def _value(rng: random.Random, indent: int, depth: int) -> str:
    inner = indent + rng.choice((1, 2, 2, 4))
    match rng.randrange(10) if depth else 9:
        case 0:
            return "\n" + _mapping(rng, inner, depth - 1)
        case 1 | 2:
            dash = "\n" + " " * rng.choice((indent, indent, inner)) + "-" + " " * rng.choice((1, 1, 3))
            nested = _mapping(rng, len(dash) - 1, depth - 1).lstrip(" ")
            entries = (rng.choice((_scalar(rng, len(dash)), nested)) for _ in range(rng.randint(1, 3)))
            return "".join(dash + entry for entry in entries)
        case 3:
            return " " + _flow(rng, depth)
        case 4:
            header = rng.choice("|>") + rng.choice(("", "-", "+", "2", "1-")) + rng.choice(("", " ", " # c"))
            indents = rng.choices((inner, inner, inner + 1, indent, 0), k=rng.randint(0, 5))
            return " " + header + "".join("\n" + " " * i + rng.choice((*_WORDS, "", "", "")) for i in indents)
        case _:
            return rng.choice((" ", " ", " ", "  ", "\n" + " " * inner)) + _scalar(rng, inner)


def _flow(rng: random.Random, depth: int) -> str:
    opener, closer = rng.choice(("[]", "[]", "{}"))
    entries = []
    for _ in range(rng.randrange(4)):
        entry = _flow(rng, depth - 1) if depth and rng.random() < 0.2 else _scalar(rng, 1)
        entries.append(rng.choice(("a: ", '"k":', "a:", "a\n:", "")) + entry if opener == "{" else entry)
    separator = rng.choice((", ", ",", ",\n  ", " ,", ", # c\n"))
    return opener + separator.join(entries) + rng.choice(("", "", ",", "\n")) + closer


def _scalar(rng: random.Random, indent: int) -> str:
    match rng.randrange(10):
        case 0 | 1:
            return "".join(rng.choices(_NUMBER_PARTS, k=rng.randint(1, 4)))
        case 2 | 3:
            return "".join(map(rng.choice, _TIME_PARTS[: rng.choice((5, 11, 13))]))
        case 4 | 5:
            space = rng.choice((" ", " ", "  ", "\n" + " " * indent))
            return space.join(rng.choices(_WORDS, k=rng.randint(1, 4)))
        case 6:
            return "".join(rng.choices(SYNTAX_LETTERS, k=rng.randint(0, 6)))
        case (
            7
        ):  # values around the limits on the length of a key, the digits of an int and the parts of a float
            if rng.random() < 0.9:
                return rng.choice(_WORDS)
            long = "1" + ":1" * 180 + ".5"
            return rng.choice((long, "7" * rng.choice((639, 4301)), "a" * rng.randint(1019, 1027)))
        case kind:
            quote = "'\""[kind - 8]
            return quote + "".join(rng.choices(_QUOTED, k=rng.randint(0, 5))) + quote
