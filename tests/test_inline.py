"""Plain text of inline Markdown: tables, and equality with the published patterns."""

import random

import by_re
import pytest
from quarnel.engines import markdown

PLAIN_TEXTS = [
    ("Install **now**", "Install now"),
    ("See [the guide](../guide.md#install) and ![logo](img.png)", "See the guide and logo"),
    ("A [ref link][ref], [text][] and [shortcut]", "A ref link, text and [shortcut]"),
    ("![alt][ref]", "![alt][ref]"),
    ("[x](a(b)c)", "x"),
    ("[x](a(b(c))d)", "[x](a(b(c))d)"),
    ("[a [b](c)", "a [b"),
    ("[![badge](b.svg)](x.md)", "badge"),
    (r"\[a](b) !\[c](d) \![e](f)", "[a](b) ![c](d) ![e](f)"),
    (r"\[[a](b) ![[c](d) [![e](f)", "[a [c [e"),
    ("<ftp:archive> <HTTPS:x>", "ftp:archive <HTTPS:x>"),
    ("x <b>bold</b> <!-- note --> y <br/>", "x bold y"),
    ("a<br>b <!-- two\nlines -->c", "ab c"),
    ("<!--> x -->y", "y"),
    ("Use <kbd>Ctrl</kbd>+<kbd>C</kbd>", "Use Ctrl+C"),
    ("Vector<int> type x <y and z> w a <3 b", "Vector type x w a <3 b"),
    ("snake_case_name and _emph_ and __strong__", "snake_case_name and emph and strong"),
    ("__init__.py é_a_ _a_é", "init.py é_a_ _a_é"),
    ("2*3*4 and *a*b*", "234 and ab*"),
    ("****x**** ***a***", "****x**** a"),
    ("**a *b* c**", "a *b* c"),
    ("~~old~~ new ~~ a~~ ", "old new ~~ a~~"),
    ("~~~a~~~", "~a~"),
    (r"\*not emphasis\* \\*a*", r"*not emphasis* \*a*"),
    ("Use `a  *b*` here", "Use a *b* here"),
    ("``code with ` tick``", "code with ` tick"),
    (r"\`a` and `b\` c", "`a and b` c"),
    ("` `", ""),
    ("`unclosed code", "`unclosed code"),
    ("*a `b` c*", "*a b c*"),
    ("line one\nline two a\\\nb", "line one line two a b"),
    (" \t\u00a0\u2003\n", ""),
    ("a" * 3999 + "`code`", "a" * 3999 + "`"),
    ("\U0001f600" * 4001, "\U0001f600" * 4000),
    ("*\ud800* \udfff", "\ud800 \udfff"),
]


@pytest.mark.parametrize(("text", "expected"), PLAIN_TEXTS, ids=[repr(text)[:40] for text, _ in PLAIN_TEXTS])
def test_plain_text(text, expected):
    assert markdown._plain_text(text) == expected == by_re.plain_text(text)


# The letters that one step of the pipeline tells apart, and the length of the longest strings over them.
ALPHABETS = [
    ("`\\a\n", 7),
    ("![](a\\)", 6),
    ("[](a", 7),
    ("<>!-a /", 6),
    ("*\\a \u00a0", 6),
    ("_\\a é", 6),
    ("~\\a \u3000", 6),
    ("\\\n*a \x1c", 5),
]


@pytest.mark.parametrize("index", range(len(ALPHABETS)), ids=[repr(letters) for letters, _ in ALPHABETS])
def test_every_short_string_equals_the_patterns(index):
    for text in by_re.every_string(*ALPHABETS[index], before=ALPHABETS[:index]):
        assert markdown._plain_text(text) == by_re.plain_text(text), repr(text)
        assert markdown._unmarked(text) == by_re.unmarked(text), repr(text)


# The places where a scanner asks for the class of a character.
PLACES = [
    "{}*a*", "\\{}", "<{}>", "<a{}>", "<a{}b>", "</{}>", "</a{}>", "<a {}>", "<b{}:c>", "<{}:c>", "_{}_", "*{}a*", "*a{}*",
    "{}_a_", "_a_{}", "~~{}~~", "[{}](b)", "[a]{}b)", "{}[a](b)", "!{}a](b)", "[a](b{})", "[a][{}]", "`{}`", "{}`a`", "<!-{}-->",
    "<!--{}-->", "<!--a-{}>", "a{}{}b", "# {}",
]  # fmt: skip


@pytest.mark.parametrize("place", PLACES)
def test_every_ascii_character_in_its_place_equals_the_patterns(place):
    for text in (place.replace("{}", chr(code)) for code in range(0x80)):
        assert markdown._plain_text(text) == by_re.plain_text(text), repr(text)


PIECES = [
    *"`*_~[]()<>!\\ \n\ta9é\u2028\ud800\U0001f600-/:",
    "](",
    "<!--",
    "-->",
    "http:",
    "mailto:",
    "**",
    "~~",
    "``",
    "<b ",
    "/>",
]


@pytest.mark.parametrize("seed", range(8))
def test_random_strings_equal_the_patterns(seed):
    rng = random.Random(seed)
    for _ in range(2500):
        pieces = rng.sample(PIECES, rng.randint(1, len(PIECES)))
        text = "".join(rng.choices(pieces, k=rng.randint(1, 60)))
        assert markdown._plain_text(text) == by_re.plain_text(text), repr(text)


# Shapes that take a backtracking engine polynomial time.
UNCLOSED = ["[", "*a ", "_a ", "~~a ", "<!--", "![a](", "<a "]


@pytest.mark.parametrize("unit", UNCLOSED)
def test_openers_that_never_close_stay(unit):
    text = unit * (4000 // len(unit))
    assert markdown._plain_text(text) == " ".join(text.split())
    longer = unit * 100_000  # a text may have any length, but only its first characters are read
    assert markdown._plain_text(longer) == markdown._plain_text(longer[: markdown.MAX_INLINE_LENGTH])
    assert markdown._unmarked(longer) == longer


def test_runs_of_backticks_of_every_length():
    # Only a length that stands twice has a pair of runs.
    runs = ["`" * length for length in range(1, 80)]
    text = "a".join(runs)
    assert markdown._plain_text(text) == text
    both = text + "b" + runs[40]
    assert markdown._plain_text(both) == by_re.plain_text(both) != both
