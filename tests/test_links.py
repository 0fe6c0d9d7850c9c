"""Link targets: tables, equality with the published patterns, and percent-decoding."""

import itertools
import random
import urllib.parse
from collections import UserList

import by_re
import pytest
from nodes import Node, document, inline, parse
from quarnel.engines import markdown

DOC, WIKI = markdown.REF_DOC_LINK, markdown.REF_WIKI_LINK

RUNS = [
    ("See [guide](../guide.md#install) and [[Page#Anchor|text]].", [(DOC, "../guide.md#install", 10), (WIKI, "Page#Anchor", 10)]),
    ("[a](x.md \"T\") [b](<y z.md> 'T') [c](w.md (T))", [(DOC, "x.md", 10), (DOC, "y z.md", 10), (DOC, "w.md", 10)]),
    ("![img](a.png) \\[n](b.md) [x](mailto:q) [y](//h/p) ![[Embed]] [a]( ) [a](x (1).md)", []),
    ("`[a](code.md)` ``[a](`.md)`` [b](real.md)", [(DOC, "real.md", 10)]),
    ("[![img](a.png)](b.md) [text [nested]](n.md) [a](x(1).md) [a](#top)",
     [(DOC, "b.md", 10), (DOC, "n.md", 10), (DOC, "x(1).md", 10), (DOC, "#top", 10)]),
    ("[[Page]](x.md)", [(DOC, "x.md", 10), (WIKI, "Page", 10)]),
    ("[a](x.md)\n[b](y.md) [a\nb](m.md)", [(DOC, "x.md", 10), (DOC, "y.md", 11), (DOC, "m.md", 11)]),
    ("`code\nspan` [a](x.md)", [(DOC, "x.md", 10)]),
    ("[a](<`é\U0001f600`.md>) [[a`é`b]]", [(DOC, "    .md", 10), (WIKI, "a   b", 10)]),
    ("[a]( \"t u\") [b]( \"t\") [c](\"t u\")", [(DOC, '"t"', 10)]),
    ("[\\](a.md) [b\\]](c.md) [d\\\n](e.md)", [(DOC, "c.md", 10)]),
    ("[a](<b\nc.md>) [[p\nq]] [[p|l\nm]]", []),
    ("[[]] [[ ]] [[#]] [[|x]] [[Page#]] [[ Page # Anch or ]] [[P#a#b]] [[[Q]]]",
     [(WIKI, "Page", 10), (WIKI, "Page#Anch or", 10), (WIKI, "P#a#b", 10), (WIKI, "Q", 10)]),
    ("no links ](here [[nor here", []),
]  # fmt: skip


@pytest.mark.parametrize(("run", "expected"), RUNS, ids=[run[:30] for run, _ in RUNS])
def test_inline_targets(run, expected):
    expected = [(kind, target.strip(), line) for kind, target, line in expected]
    assert list(markdown._inline_targets(run, 10)) == expected == by_re.inline_targets(run, 10)


ALPHABETS = [
    ("[]()a", 8),
    ("[]\\(\n)", 7),
    ('[]( "a)', 6),
    ("[](<>a )", 6),
    ("[]`\n(a)", 6),
    ("[]|#!a", 7),
    ("[](') ", 6),
]


@pytest.mark.parametrize("index", range(len(ALPHABETS)), ids=[letters for letters, _ in ALPHABETS])
def test_every_short_run_equals_the_patterns(index):
    # Each string is read as a destination, where it matters most. All but the longest are also read by themselves and
    # as a link text.
    letters, longest = ALPHABETS[index]
    for form, length in (("{}", longest - 1), ("[a{}](b)", longest - 1), ("[a](b{})", longest)):
        before = [(other, its_longest - (length < longest)) for other, its_longest in ALPHABETS[:index]]
        for middle in by_re.every_string(letters, length, before):
            run = form.format(middle)
            assert list(markdown._inline_targets(run, 1)) == by_re.inline_targets(run, 1), repr(run)


# The places where a scanner asks for the class of a character.
PLACES = [
    "{}[a](b)", "[a{}](b)", "[a]{}(b)", "[a]({}b)", "[a](b{}c)", "[a](<b{}c>)", "[a](b {}t{})", "[a](b(c{}d))", "[a](b{})", "[a{}b](c)",
    "[[{}]]", "[[a{}b]]", "{}[[a]]", "[[a]{}]", "[[a#{}]]", "[[a|{}]]", "[a]({}:x)", "[a](b{}:x)", "[a](b{}c:x)", "`{}[a](b)`",
]  # fmt: skip


@pytest.mark.parametrize("place", PLACES)
def test_every_ascii_character_in_its_place_equals_the_patterns(place):
    for run in (place.replace("{}", chr(code)) for code in range(0x80)):
        assert list(markdown._inline_targets(run, 1)) == by_re.inline_targets(run, 1), repr(run)


PIECES = [
    *"[]()<>\"'`\\!#| \n?aé\u00a0\ud800:/",
    "](",
    "[[",
    "]]",
    "[a](b)",
    "[\\]",
    "](x ",
    "`",
    "``",
    "(b)",
    '"t"',
]


@pytest.mark.parametrize("seed", range(8))
def test_random_runs_equal_the_patterns(seed):
    rng = random.Random(seed)
    for _ in range(4000):
        pieces = rng.sample(PIECES, rng.randint(2, len(PIECES)))
        run = "".join(rng.choices(pieces, k=rng.randint(2, 50)))
        assert list(markdown._inline_targets(run, 1)) == by_re.inline_targets(run, 1), repr(run)


# Runs for which a backtracking engine takes quadratic time or worse. They are far too long for the patterns, so the
# number of links is given.
N = 200_000
ENDLESS = [
    ("[a](" + " " * N + "x y", 0),
    ("[\\]" * N + "[a](", 0),
    ("[\\]" * N + "](b) [c](d)", 2),
    ('[a](x "' * N, 0),
    ("[a](<" * N, 0),
    ("[a](b(c" * N, 0),
    ("[" * N + "a](b)", 1),
    ("[a[b]" * N + "](", 0),
    ("[[" * N + "](", 0),
    ("`a``" * N + "[a](b)", 1),
    ("a".join("`" * length for length in range(1, 600)) + " [a](b)", 1),
    ("[a](b) " * N, N),
]


@pytest.mark.parametrize(("run", "count"), ENDLESS, ids=[run[:12] for run, _ in ENDLESS])
def test_endless_runs(run, count):
    assert sum(1 for _ in markdown._inline_targets(run, 1)) == count


DESTINATIONS = ["  guide.md  ", "<guide with space.md>", "< guide.md >", "#install", "./a:b.md", "a/b:c.md", "", " \u2003", "<>",
                "< >", "mailto:x", "x+y.z-w:q", "//x/y", "/x", "C:/docs/a.md", "1abc:x", ":x", "<<a>>", "<a.md", "<mailto:x>", "<",
                "\u00a0é:x", "aé:x", "<\ud800>"]  # fmt: skip


@pytest.mark.parametrize("written", DESTINATIONS)
def test_destination(written):
    assert markdown._destination(written) == by_re.destination(written)


def test_every_short_destination_equals_its_rule():
    for written in by_re.every_string("a1:/<> +", 5):
        assert markdown._destination(written) == by_re.destination(written), written


def test_wiki_target_takes_any_match():
    class Match:
        def group(self, number):
            return (None, " Page ", None)[number]

    assert markdown._wiki_target(Match()) == "Page"
    for text in ("[[Page]]", "[[#A ]]", "[[ | ]]", "[[a#b|c]]"):
        match = markdown._WIKI_LINK.match(text)
        assert markdown._wiki_target(match) == by_re.wiki_target(match)


def test_every_short_escaped_text_is_decoded_as_the_interpreter_decodes_it():
    for text in by_re.every_string("%4cé", 6):
        assert markdown.unquote(text) == urllib.parse.unquote(text), text
    for high, low in itertools.product(map(chr, range(0x80)), repeat=2):
        assert markdown.unquote(f"%{high}{low}") == urllib.parse.unquote(f"%{high}{low}"), (high, low)
    rng = random.Random(5)
    bytes_ = [f"%{byte:02x}" for byte in range(0x80, 0x100)] + [
        "%E2%82%AC",
        "%f0%9f%98%80",
        "%2",
        "%",
        "a",
        "+",
        "é",
        "\ud800",
    ]
    for _ in range(20_000):
        text = "".join(rng.choices(bytes_, k=rng.randint(1, 8)))
        assert markdown.unquote(text) == urllib.parse.unquote(text), text


def test_link_targets_of_real_blocks():
    source = """\
---
title: "[f](front.md)"
---

# [h](h.md)

> - quoted [q](q.md)
>
>   | a | b |
>   |---|---|
>   | [c](t.md) | `[d](no.md)` |

[g]: <guide.md> "T"
[w]: mailto:x
[late]:
  late.md

```
[x](code.md)
```

    [y](code.md)

<div>[z](html.md)</div>

S [s](s.md)
===
"""
    targets = [(target, line) for _, target, line in markdown._link_targets(parse(source))]
    assert targets == [
        ("h.md", 5),
        ("q.md", 7),
        ("t.md", 11),
        ("guide.md", 13),
        ("late.md", 15),
        ("s.md", 26),
    ]


def test_link_targets_are_lazy_and_take_odd_roots():
    definition = Node(
        "link_reference_definition", Node("link_label"), Node("link_destination", text=b"<a.md>"), row=4
    )
    broken = Node("inline", text=5)
    targets = markdown._link_targets(document(inline("[x](y)", 2), definition, broken))
    assert [next(targets), next(targets)] == [(DOC, "y", 3), (DOC, "a.md", 5)]
    with pytest.raises(TypeError):
        next(targets)
    for children in (list, tuple, UserList):  # the first destination counts, and nothing after it is read
        two = Node("link_reference_definition")
        two.children = children([*definition.children, Node("link_destination", text=b"b.md"), object()])
        assert list(markdown._link_targets(two)) == [(DOC, "a.md", 1)]
    assert list(markdown._link_targets(Node("fenced_code_block", inline("[x](y)")))) == []
    assert list(markdown._link_targets(Node("link_reference_definition"))) == []
    assert list(markdown._link_targets(document())) == []
