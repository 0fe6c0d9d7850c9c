"""TOML front matter: tables of cases, and equality with the published patterns and with Python's JSON decoder."""

import json
import random

import by_re
import pytest
from quarnel.engines import markdown


def string_by_json(literal):
    if literal.startswith("'"):
        return literal[1:-1]
    try:
        return json.loads(literal)
    except json.JSONDecodeError:
        return literal[1:-1]


def fields_by_re(body):
    fields = {}
    for line in body.split("\n"):
        if markdown._TOML_TABLE.match(line):
            break
        if match := markdown._TOML_FIELD.match(line):
            fields[match[1]] = string_by_json(match[2])
    return fields


BODIES = [
    ("title = 'Guide' # note\ndescription='d'", {"title": "Guide", "description": "d"}),
    ("title = 'Guide' trailing", {}),
    ("titles = 'a'\nTitle = 'b'\n\"title\" = 'c'\nsite.title = 'd'\ntitle = 2024\ntitle = ['a']", {}),
    ("title = '''a'''\ntitle = \"\"\"b\"\"\"", {}),
    ("[params]\ntitle = 'a'", {}),
    ("title = 'a'\n  [[menu]]\ntitle = 'b'", {"title": "a"}),
    ("x = [\n[1, 2],\n]\ntitle = 'a'", {}),
    ("description = 'x'\ntitle = 'A'\ntitle = 'B'", {"description": "x", "title": "B"}),
    (r'title = "\u00e9 \ud83d\ude00 \t \/ \""', {"title": 'é \U0001f600 \t / "'}),
    (r'title = "\e"', {"title": r"\e"}),
    (r'title = "\U0001F600"', {"title": r"\U0001F600"}),
    ('title = "a\tb\\n"', {"title": "a\tb\\n"}),
    (r"title = 'C:\path'", {"title": r"C:\path"}),
    (r'title = "\ud83d x \ude00 \ud83d\ud83d\ude00"', {"title": "\ud83d x \ude00 \ud83d\U0001f600"}),
    (r'title = "\ud800\udc00 \udbff\udfff \u0080"', {"title": "\U00010000 \U0010ffff \x80"}),
    ("\u00a0title\u2003=\u3000''\x0b", {"title": ""}),
    ("", {}),
]


@pytest.mark.parametrize(("body", "fields"), BODIES, ids=[repr(body)[:30] for body, _ in BODIES])
def test_fields(body, fields):
    assert (
        list(markdown._toml_fields(body).items()) == list(fields.items()) == list(fields_by_re(body).items())
    )


def test_every_short_line_equals_the_patterns():
    for tail in by_re.every_string("\"'\\#= a[", 5):
        for body in (f"title={tail}", f'title="{tail}'):
            assert markdown._toml_fields(body) == fields_by_re(body), repr(body)


PIECES = [
    "title",
    "description",
    "=",
    " = ",
    '"',
    "'",
    "\\",
    '\\"',
    "#",
    "[",
    "\n",
    "\t",
    "é",
    "\u00a0",
    "\x85",
    "a",
    "\\u00e9",
    "\\ud83d",
    "\\uDE00",
    "\\u12",
    "\\n",
    "\\/",
    "\x01",
    "\x7f",
]


@pytest.mark.parametrize("seed", range(4))
def test_random_bodies_equal_the_patterns(seed):
    rng = random.Random(seed)
    for _ in range(5000):
        body = rng.choice(["", 'title = "', "description='"]) + "".join(
            rng.choices(PIECES, k=rng.randint(1, 20))
        )
        assert markdown._toml_fields(body) == fields_by_re(body), repr(body)
