"""Headings, section ranges and heading paths."""

import random

import by_re
import pytest
from nodes import Node, document, heading, inline, paragraph, parse, sections
from quarnel.engines import markdown

Heading = markdown._Heading


@pytest.mark.parametrize("letters", ["# a\t\n", "#a \n\\"])
def test_every_short_closing_sequence_equals_its_pattern(letters):
    for text in by_re.every_string(letters, 7):
        expected = by_re.plain_text(markdown._CLOSING_SEQUENCE.sub("", text))
        assert markdown._heading(heading(1, text), None).name == expected, repr(text)


NAMES = [
    ("Install ##", "Install"),
    ("Install#", "Install#"),
    ("Learn C#", "Learn C#"),
    ("a ## b ##\t", "a ## b"),
    ("###", ""),
    (r"Title \#", "Title #"),
    ("Install **now**", "Install now"),
]


@pytest.mark.parametrize(("text", "name"), NAMES)
def test_atx_names(text, name):
    assert markdown._heading(heading(3, text, 4), None) == Heading(name, 3, 4, None)


def test_setext_and_odd_headings():
    two_lines = Node(
        "setext_heading", paragraph("Getting\nstarted ##", 2), Node("setext_h2_underline"), row=2
    )
    assert markdown._heading(two_lines, None) == Heading("Getting started ##", 2, 2, None)
    assert markdown._heading(Node("atx_heading", Node("atx_h2_marker")), None).name == ""
    assert markdown._heading(Node("atx_heading", inline("No marker")), None).level == 1
    assert markdown._heading(Node("atx_heading", inline("late"), Node("atx_h6_marker")), None).level == 6
    assert markdown._heading(Node("setext_heading"), paragraph("x")) == Heading("", 1, 0, "x")


@pytest.mark.parametrize(
    ("row", "fits"), [(2**62, True), (-(2**62), True), (2**62 + 1, False), (-(2**62) - 1, False)]
)
def test_rows_leave_room_to_count_on(row, fits):
    far = Node("atx_heading", row=row)
    if fits:
        assert markdown._heading(far, None).first_row == row
    else:
        with pytest.raises(OverflowError):
            markdown._heading(far, None)


def test_summaries():
    assert (
        markdown._summary(None)
        is markdown._summary(Node("list"))
        is markdown._summary(heading(1, "A"))
        is None
    )
    assert markdown._summary(paragraph("Run **make** first.\nThen test.")) == "Run make first. Then test."
    assert markdown._summary(paragraph("<b></b>")) is None
    # The text is cut to a length in characters first, and nothing after the cut matters.
    assert markdown._summary(paragraph("\U0001f600" * 5000)) == "\U0001f600" * 4000
    assert markdown._summary(Node("paragraph", text=b"\xff" * 20_000)) == "\ufffd" * 4000


def ends_by_rule(headings, lines):
    def last_text_row(floor, row):
        while row > floor and not (0 <= row < len(lines) and lines[row].strip()):
            row -= 1
        return row

    ends, open_sections = [0] * len(headings), []
    for i, heading_ in enumerate(headings):
        while open_sections and headings[open_sections[-1]].level >= heading_.level:
            j = open_sections.pop()
            ends[j] = last_text_row(headings[j].first_row, heading_.first_row - 1)
        open_sections.append(i)
    for j in open_sections:
        ends[j] = last_text_row(headings[j].first_row, len(lines) - 1)
    return ends


@pytest.mark.parametrize("wide", ["", "\u0100", "\U0001f600"], ids=["one byte", "two bytes", "four bytes"])
def test_section_ranges_equal_their_rule(wide):
    # The rows are read in both ways: from lines that are given, and from a source that is never split.
    rng = random.Random(len(wide.encode()))
    for _ in range(400):
        lines = [
            rng.choice(["", " ", "\t\u00a0", "text", wide + "x", "\r", "\u2003" if wide else "\x85"])
            for _ in range(30)
        ]
        if rng.random() < 0.2:
            lines = [line + "pad " * 40 for line in lines]
        rows = sorted(rng.sample(range(30), rng.randint(0, 12)))
        if rng.random() < 0.3:  # rows of no parsed document: backwards, and outside the text
            rows = [rng.randint(-5, 40) for _ in rows]
        headings = [Heading(str(row), rng.randint(1, 6), row, None) for row in rows]
        expected = ends_by_rule(headings, lines)
        assert markdown._section_ends(headings, lines) == expected
        tree = document(*(heading(h.level, h.name, h.first_row) for h in headings))
        symbols = sections("\n".join(lines), root=tree)
        assert [symbol.end_line - 1 for symbol in symbols] == expected


def test_rows_outside_the_text_hold_no_text():
    lines = ["a", "", "b", ""]
    rows = [
        (0, 3, 2),
        (2, 3, 2),
        (3, 3, 3),
        (5, 3, 3),
        (0, 10**9, 2),
        (9, 10**9, 9),
        (-5, -2, -5),
        (-5, 1, 0),
    ]
    for floor, row, expected in rows:
        assert markdown._last_text_row(lines, floor, row) == expected
    assert markdown._last_text_row(["a"], -1, 0) == 0
    assert markdown._section_ends([], lines) == []


PATHS = [
    (("Install", "Linux"), "Install > Linux"),
    (("a" * 97, "b" * 100), "a" * 97 + " > " + "b" * 100),
    (("a" * 98, "b" * 100), "... > " + "b" * 100),
    (("A" * 100, "B" * 60, "C" * 40), "... > " + "B" * 60 + " > " + "C" * 40),
    (("A" * 150, "B" * 150, "C"), "... > " + "B" * 150 + " > C"),
    (("n" * 250,), "n" * 197 + "..."),
    (("P" * 10, "x" * 194), "... > " + "x" * 194),
    (("P" * 10, "x" * 195), "x" * 195 + "..."),
    (("A", "x" * 195), "A > " + "x" * 195),
    (("A", "B" * 197), "B" * 197 + "..."),
    (("A > B", "C"), "A > B > C"),
    (("é" * 200,), "é" * 200),
    (("", ""), " > "),
    ((), ""),
]


@pytest.mark.parametrize(
    ("names", "path"), PATHS, ids=[",".join(f"{n[:3]}{len(n)}" for n in names) for names, _ in PATHS]
)
def test_heading_path(names, path):
    assert markdown._heading_path(names) == path
    assert markdown._heading_path(names=list(names)) == path


def path_by_rule(names):
    for start in range(len(names)):
        path = " > ".join(names if start == 0 else ["...", *names[start:]])
        if len(path) <= 200:
            return path
    return names[-1][:197] + "..."


def test_heading_paths_equal_their_rule():
    rng = random.Random(3)
    for _ in range(3000):
        names = [
            "é" * rng.choice([0, 1, 2, 3, 40, 60, 97, 98, 194, 195, 200]) for _ in range(rng.randint(1, 6))
        ]
        assert markdown._heading_path(names) == path_by_rule(names)


OUTLINES = [
    pytest.param(
        "# A\n\n### C\n\n## B\n", ["A 1-5", "A > C 3-3", "A > B 5-5"], id="a level skipped adds nothing"
    ),
    pytest.param(
        "# A\n\n## B\n\n##\n\n### C\n", ["A 1-7", "A > B 3-3", "A > C 7-7"], id="a nameless heading closes"
    ),
    pytest.param("A\n===\n\nb\n\nB\n---\n\n## C\n", ["A 1-9", "A > B 6-7", "A > C 9-9"], id="setext"),
    pytest.param("text\n\n- # no\n\n> # no\n\n```\n# no\n```\n", [], id="headings that are none"),
    pytest.param("---\ntitle: T\n---\n\n## B\n\n", ["T 1-5", "T > B 5-5"], id="title section"),
    pytest.param(
        "## B\n\n---\ntitle: T\n---\n", ["B 1-3", "title: T 4-5"], id="front matter is at the top or none"
    ),
    pytest.param("# A\n\u00a0\n\x0c\n \n# B", ["A 1-1", "B 5-5"], id="blank lines of every kind"),
    pytest.param("", [], id="nothing"),
]


@pytest.mark.parametrize(("source", "expected"), OUTLINES)
def test_outline_of_real_documents(source, expected):
    if not source.endswith("\n"):
        source += "\n"
    found = [f"{s.signature} {s.start_line}-{s.end_line}" for s in sections(source, root=parse(source))]
    assert found == expected
