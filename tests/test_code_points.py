"""White space and word characters: every code point is classified as `re` classifies it."""

import re

import pytest
from nodes import document, heading, inline, sections
from quarnel.engines import markdown

EVERY = "".join(map(chr, range(0x110000)))
SPACES = re.findall(r"\s", EVERY)


@pytest.mark.long
def test_white_space():
    # At the end and at the start of a text in UTF-8, and among the code points of a string.
    assert [c for c in EVERY if markdown._destination(f"x{c}") == "x"] == SPACES
    assert [c for c in EVERY if markdown._destination(f"{c}x") == "x"] == SPACES
    assert [c for c in EVERY if markdown._last_text_row(["", c], 0, 1) == 0] == SPACES


@pytest.mark.long
def test_word_characters():
    # An underscore opens no emphasis after a word character, nor after a backslash.
    assert [c for c in EVERY if "_" in markdown._unmarked(f"{c}_a_")] == re.findall(r"[\w\\]", EVERY)
    assert [c for c in EVERY[0x80:] if "_" in markdown._unmarked(f"_a_{c}")] == re.findall(
        r"\w", EVERY[0x80:]
    )


@pytest.mark.parametrize("c", SPACES, ids=ascii)
def test_white_space_in_a_document(c):
    root = document(
        heading(1, f"{c}a{c}{c}*{c}b* *b{c}*"), inline(f"[x](<{c}p{c}>) [[{c}P{c}#{c}Q{c}]] [y](q{c}'t')")
    )
    [symbol] = sections(f"# a\n{c}\n", root=root)
    assert (symbol.name, symbol.end_line) == ("a * b* *b *", 1)
    targets = [(link.name, link.qualifier) for link in markdown.extract_links(root, [symbol])]
    inside = [("p", None), ("P", "Q")] if c != "\n" else []  # neither syntax may contain a newline
    assert targets == [*inside, ("q", None)]
