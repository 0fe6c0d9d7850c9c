"""Section extraction: names of every length and kind, the arguments of the host, and the records that it gets."""

import random

import pytest
from nodes import document, heading, load_module, paragraph, sections
from quarnel.engines import markdown

TREE, SOURCE = document(heading(1, "A"), heading(2, "B")), "# A\n## B\n"


def test_fqns_and_signatures_follow_from_levels_and_names():
    rng = random.Random(3)
    for _ in range(500):
        headings = [
            (rng.randint(1, 6), rng.choice("aéя\U0001f600\ud800") * rng.choice([1, 9, 60, 90, 250]))
            for _ in range(8)
        ]
        tree = document(*[heading(level, name) for level, name in headings])
        prefix = rng.choice(["P", "ü.\u4e00"])
        found = sections("", prefix, tree, unique_fqn=str)
        open_sections = []
        for symbol, (level, name) in zip(found, headings, strict=True):
            open_sections = [section for section in open_sections if section[0] < level]
            open_sections.append((level, name.replace("\ud800", "\ufffd" * 3)))
            names = [name for _, name in open_sections]
            assert symbol.fqn == ".".join([prefix, *names])
            assert symbol.signature == markdown._heading_path(names)


def test_symbols_are_built_by_keyword_in_order():
    def record(*args, **fields):
        assert not args
        return list(fields.items())

    [fields] = load_module(Symbol=record).extract_sections(
        document(heading(1, "A")), "# A\n", "P", "id", unique_fqn=str, cap_docstring=str
    )
    assert fields == [
        ("id", None), ("file_id", "id"), ("name", "A"), ("kind", "section"), ("fqn", "P.A"), ("start_line", 1),
        ("end_line", 1), ("signature", "A"), ("is_export", True), ("docstring", None),
    ]  # fmt: skip


@pytest.mark.parametrize("answer", [None, "", 5])
def test_a_docstring_is_stored_as_the_host_returns_it(answer):
    tree = document(heading(1, "A"), paragraph("x"))
    assert sections("# A\n\nx\n", root=tree, cap_docstring=lambda _: answer)[0].docstring == answer


def test_lone_surrogates_and_odd_prefixes_pass_through():
    for prefix in ("", "\ud800", "é.\U0001f600"):
        asked = []
        found = sections("", prefix, TREE, unique_fqn=lambda fqn, asked=asked: asked.append(fqn) or "\udfff")
        assert asked == [f"{prefix}.A", "\udfff.B"]
        assert [symbol.fqn for symbol in found] == ["\udfff", "\udfff"]


@pytest.mark.parametrize(
    ("arguments", "keywords"),
    [
        ((TREE, SOURCE, "P", 1, str, str), {}),
        ((TREE, SOURCE, "P", 1), {"unique_fqn": str}),
        ((TREE, SOURCE, "P"), {"unique_fqn": str, "cap_docstring": str}),
        ((TREE, SOURCE, "P", 1), {"unique_fqn": str, "cap_docstring": str, "other": 1}),
        ((TREE, SOURCE, "P", 1), {"unique_fqn": str, "cap_docstring": str, "root": TREE}),
        ((TREE, b"bytes", "P", 1), {"unique_fqn": str, "cap_docstring": str}),
        ((TREE, SOURCE, None, 1), {"unique_fqn": str, "cap_docstring": str}),
        ((TREE, SOURCE, "P", 1), {"unique_fqn": len, "cap_docstring": str}),
    ],
    ids=[
        "by position",
        "one missing",
        "another missing",
        "unknown",
        "twice",
        "source",
        "prefix",
        "answer no str",
    ],
)
def test_arguments_that_do_not_fit(arguments, keywords):
    with pytest.raises(TypeError):
        markdown.extract_sections(*arguments, **keywords)
