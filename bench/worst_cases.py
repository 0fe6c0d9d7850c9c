"""The time at n and at 4n, for inputs that are slow for a reader that looks back or starts again."""

from __future__ import annotations

import ctypes
from collections import deque
from collections.abc import Callable, Iterator
from dataclasses import dataclass
from types import SimpleNamespace
from typing import Any

import timing
import tree_sitter_markdown
import yaml
from quarnel.engines import markdown
from quarnel.engines.rules import FqnNumbering, cap_docstring
from shapes import CLOSING_SEQUENCES, CODE_SPANS, INLINE, LINKS, TOML, Shape
from tree_sitter import Language, Node, Parser
from yaml_shapes import YAML

MAX_GROWTH = 4.6
MAX_NS_PER_CHARACTER = 25
MAX_PLAIN_TEXT_SECONDS = 0.3e-3

HEADER = ("shape", "n", "time at n", "time at 4n", "growth", "ns/unit", "")


@dataclass(frozen=True)
class Case:
    """An input. `prepare(n)` returns the call that is timed, and is not timed itself; `size` is a number of `unit`s."""

    name: str
    prepare: Callable[[int], Callable[[], object]]
    size: int
    unit: str = "character"
    max_seconds: float | None = None  # at 4n


def report(*, quick: bool) -> list[str]:
    """Print a table for each kind of input; return the rows that miss a target."""
    missed: list[str] = []
    _keep_freed_memory()
    for title, cases in _tables(quick):
        rows = []
        with timing.quiet():
            for case in cases:
                row, misses = _measure(case, rounds=3 if quick else 5)
                if misses:  # noise does not come back in a second, longer measurement
                    row, misses = _measure(case, rounds=9 if quick else 15)
                rows.append(row)
                if misses:
                    missed.append(f"{title}, {case.name}: {', '.join(misses)}")
        print(f"\n{title}")
        print(timing.table(HEADER, rows))
    print(
        "\nMedians of paired rounds, quartiles in brackets; a row that misses was measured twice, the second time longer.\n"
        f"Targets: growth at most {MAX_GROWTH}, at most "
        f"{MAX_NS_PER_CHARACTER} ns a character, plain text of 4,000 characters in at most "
        f"{MAX_PLAIN_TEXT_SECONDS * 1e3} ms.\nPyYAML's own time is not ours to shorten: the growth of its rows counts."
    )
    return missed


def _keep_freed_memory() -> None:
    """Keep malloc from returning memory to the kernel, which starts at some size and would look like growth."""
    libc = ctypes.CDLL(None)
    if hasattr(libc, "mallopt"):
        trim_threshold, mmap_threshold = -1, -3
        libc.mallopt(trim_threshold, 1 << 30)
        libc.mallopt(mmap_threshold, 32 << 20)


def _tables(quick: bool) -> Iterator[tuple[str, list[Case]]]:
    shrink = 4 if quick else 1
    yield (
        "_plain_text: at most 4,000 characters are read",
        [
            Case(name, _on_text(markdown._plain_text, shape), 1000, max_seconds=MAX_PLAIN_TEXT_SECONDS)
            for name, shape in INLINE.items()
        ],
    )
    yield (
        "_unmarked",
        [Case(name, _on_text(markdown._unmarked, shape), 200_000) for name, shape in INLINE.items()],
    )
    yield (
        "_inline_targets",
        [Case(name, _on_text(_all_targets, shape), 200_000) for name, shape in LINKS.items()],
    )
    yield (
        "_inline_targets: code spans",
        [Case(name, _on_text(_all_targets, shape), 200_000) for name, shape in CODE_SPANS.items()],
    )
    yield (
        "_heading: closing sequences",
        [Case(name, _on_text(_heading, shape), 200_000) for name, shape in CLOSING_SEQUENCES.items()],
    )
    yield (
        "_toml_fields",
        [Case(name, _on_text(markdown._toml_fields, shape), 16_384) for name, shape in TOML.items()],
    )
    size = 1_500 if quick else 16_384
    yield (
        "_yaml_fields",
        [
            Case(name, _on_text(_yaml_fields, shape), size, _yaml_unit(shape(4 * size)))
            for name, shape in YAML.items()
        ],
    )
    yield "extract_sections: section ranges", list(_section_ranges(25_000 // shrink))
    yield (
        "extract_links: section lookup, and documents of many links",
        list(_documents_of_links(25_000 // shrink)),
    )
    yield "stand-in nodes, nested deep", list(_deep_nesting(25_000 // shrink))


def _on_text(function: Callable[[str], object], shape: Shape) -> Callable[[int], Callable[[], object]]:
    def prepare(n: int) -> Callable[[], object]:
        text = shape(n)
        return lambda: function(text)

    return prepare


def _all_targets(text: str) -> None:
    # The targets are not kept. The memory of many targets would be returned after each call, and the memory of few
    # would not, which would look like growth.
    deque(markdown._inline_targets(text, 1), maxlen=0)


def _heading(text: str) -> Any:
    return markdown._heading(
        _node("atx_heading", _node("atx_h1_marker"), _node("inline", text=text.encode())), None
    )


def _yaml_fields(body: str) -> dict[str, Any]:
    return markdown._yaml_fields(body, "prefix")


def _yaml_unit(body: str) -> str:
    """The unit of a body. PyYAML takes some microseconds for a character, which the engine cannot shorten."""
    calls = []
    load, parse = yaml.load, yaml.parse
    yaml.load = lambda *args, **keywords: calls.append(load) or load(*args, **keywords)
    yaml.parse = lambda *args, **keywords: calls.append(parse) or parse(*args, **keywords)
    try:
        _yaml_fields(body)
    finally:
        yaml.load, yaml.parse = load, parse
    return "character by PyYAML" if calls else "character"


def _parse(text: str) -> Node:
    return Parser(Language(tree_sitter_markdown.language())).parse(text.encode()).root_node


def _outline(root: Any, text: str) -> list[Any]:
    return markdown.extract_sections(
        root, text, "p", 0, unique_fqn=FqnNumbering(), cap_docstring=cap_docstring
    )


def _section_ranges(lines: int) -> Iterator[Case]:
    """Headings whose sections end before many blank lines, in real trees. The unit is a line."""
    stairs = "".join(f"{'#' * level} a\n" for level in range(1, 7))

    def case(name: str, make: Callable[[int], str]) -> Case:
        def prepare(n: int) -> Callable[[], object]:
            text = make(n)
            root = _parse(text)
            return lambda: _outline(root, text)

        return Case(name, prepare, lines, "line")

    yield case("six levels, then blank lines", lambda n: stairs + "\n" * n + "# z\n")
    yield case("six levels and 100 blank lines, repeated", lambda n: (stairs + "\n" * 100) * (n // 106))
    yield case("headings, then blank lines", lambda n: "# a\n" * (n // 2) + "\n" * (n // 2))
    yield case("lower headings, then blank lines", lambda n: "# a\n" + "## b\n" * (n // 2) + "\n" * (n // 2))
    yield case("headings only", lambda n: "# a\n" * n)
    yield case("setext headings", lambda n: "a\n===\n\nb\n---\n\n" * (n // 6))
    yield case("lines of spaces", lambda n: stairs + "    \n" * n + "# z\n")
    yield case("prose between headings", lambda n: ("## a\n\n" + "text\n" * 8) * (n // 10))


def _documents_of_links(links: int) -> Iterator[Case]:
    """Many links in many sections, in real trees. The unit is a link."""

    def case(name: str, make: Callable[[int], str]) -> Case:
        def prepare(n: int) -> Callable[[], object]:
            text = make(n)
            root = _parse(text)
            sections = _outline(root, text)
            return lambda: markdown.extract_links(root, sections)

        return Case(name, prepare, links, "link")

    def distinct(n: int, end: str) -> str:
        return "".join(f"[a](b{i}.md){end}" for i in range(n))

    yield case(
        "ten links in each section",
        lambda n: "".join(f"## s{i}\n\n{distinct(10, chr(10))}\n" for i in range(n // 10)),
    )
    yield case("all links below the last section", lambda n: "## s\n" * (n // 10) + "\n" + distinct(n, "\n"))
    yield case(
        "all links in the first of many sections",
        lambda n: "# s\n\n" + distinct(n, "\n") + "\n## t\n" * (n // 10),
    )
    yield case("distinct links on one line", lambda n: distinct(n, " "))
    yield case("one link over and over on a line", lambda n: "[a](b.md) " * n)
    yield case("two links in turn on a line", lambda n: "[a](b.md) [[c#d]] " * (n // 2))
    yield case("a link on every line", lambda n: distinct(n, "\n"))
    yield case("a link in every list item", lambda n: "".join(f"- [a](b{i}.md)\n" for i in range(n)))
    yield case("reference definitions", lambda n: "".join(f"[r{i}]: b{i}.md\n" for i in range(n)))

    def backwards(n: int) -> Callable[[], object]:
        runs = [_node("inline", row=n - i, text=b"[a](b.md)") for i in range(n)]
        sections = [SimpleNamespace(start_line=1, end_line=n + 1, fqn="s")]
        return lambda: markdown.extract_links(_node("document", *runs), sections)

    yield Case("stand-in rows that go backwards", backwards, links, "link")


def _node(kind: str, *children: Any, row: int = 0, text: bytes = b"") -> SimpleNamespace:
    return SimpleNamespace(type=kind, children=list(children), start_point=(row, 0), text=text)


def _deep_nesting(depth: int) -> Iterator[Case]:
    def chain(kind: str, innermost: SimpleNamespace, n: int) -> SimpleNamespace:
        for _ in range(n):
            innermost = _node(kind, innermost)
        return innermost

    def links(n: int) -> Callable[[], object]:
        root = chain("block_quote", _node("inline", text=b"[a](b.md)"), n)
        return lambda: markdown.extract_links(root, [])

    def sections(n: int) -> Callable[[], object]:
        heading = _node("atx_heading", _node("atx_h1_marker"), _node("inline", text=b"a"))
        root = chain("section", heading, n)
        return lambda: _outline(root, "# a\n")

    yield Case("block quotes", links, depth, "level")
    yield Case("sections", sections, depth, "level")


def _measure(case: Case, rounds: int) -> tuple[list[str], list[str]]:
    small, large = case.prepare(case.size), case.prepare(4 * case.size)
    first = timing.timed(small)
    # Short calls are repeated, so that the resolution of the clock does not matter.
    repeats = max(1, min(1000, int(2e-3 / max(first, 1e-6))))
    rounds = rounds if first < 0.1 else 3

    def average(call: Callable[[], object]) -> float:
        begin = timing.clock()
        for _ in range(repeats):
            call()
        return (timing.clock() - begin) / repeats

    at_n, at_4n = timing.alternate(rounds, lambda: average(small), lambda: average(large))
    growth = timing.ratios(at_4n, at_n)
    long = timing.spread(at_4n).median
    per_unit = long / (4 * case.size) * 1e9
    misses = []
    if growth.median > MAX_GROWTH:
        misses.append(f"growth {growth}")
    if case.unit == "character" and per_unit > MAX_NS_PER_CHARACTER:
        misses.append(f"{per_unit:.1f} ns a character")
    if case.max_seconds and long > case.max_seconds:
        misses.append(f"{long * 1e6:.0f} us")
    row = [
        case.name,
        f"{case.size:,}",
        _duration(timing.spread(at_n).median),
        _duration(long),
        str(growth),
        f"{per_unit:.1f}",
        " ".join([*(["PyYAML"] if "PyYAML" in case.unit else []), *(["MISS"] if misses else [])]),
    ]
    return row, misses


def _duration(seconds: float) -> str:
    return f"{seconds * 1e6:.1f} us" if seconds < 1e-3 else f"{seconds * 1e3:.2f} ms"
