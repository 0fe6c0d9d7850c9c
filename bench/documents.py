"""The engine on real documents, compared with the parse, the floor, and a reader of markdown-it-py's tokens."""

from __future__ import annotations

import sys
from collections.abc import Callable, Sequence
from dataclasses import dataclass
from pathlib import Path

import by_tokens
import floor
import timing
import tree_sitter_markdown
from docmap.documents import fqn_prefix, read_text, walk
from floor_plan import Plan, plan_for
from quarnel.engines import markdown
from quarnel.engines.rules import FqnNumbering, cap_docstring
from tree_sitter import Language, Node, Parser

PARSER = Parser(Language(tree_sitter_markdown.language()))
MAX_OVER_FLOOR = 1.25
MAX_OVER_PARSE = 0.15

HEADER = (
    "documents of",
    "files",
    "MB",
    "parse ms",
    "floor ms",
    "engine ms",
    "engine/floor",
    "engine/parse",
    "tokens ms",
    "tokens/(parse+engine)",
    "same outline",
    "same links",
)


@dataclass(frozen=True)
class Document:
    """A document, and what is worked out before anything is timed."""

    prefix: str
    text: str
    data: bytes
    plan: Plan


@dataclass(frozen=True)
class Row:
    """The figures of one folder. Each time is the median, in seconds, of reading the whole folder once."""

    name: str
    files: int
    size: int
    parse: float
    floor: float
    engine: float
    tokens: float
    over_floor: timing.Spread
    over_parse: timing.Spread
    tokens_over_ours: timing.Spread
    same_outline: float
    same_links: float

    @property
    def misses(self) -> bool:
        return self.over_floor.median > MAX_OVER_FLOOR or self.over_parse.median > MAX_OVER_PARSE

    def cells(self) -> list[str]:
        return [
            f"{self.name}{' *' if self.misses else ''}",
            str(self.files),
            f"{self.size / 1e6:.2f}",
            f"{self.parse * 1e3:.1f}",
            f"{self.floor * 1e3:.2f}",
            f"{self.engine * 1e3:.2f}",
            str(self.over_floor),
            str(self.over_parse),
            f"{self.tokens * 1e3:.0f}",
            str(self.tokens_over_ours),
            f"{self.same_outline:.0%}",
            f"{self.same_links:.0%}",
        ]


def folders_of(corpus: Path) -> list[Path]:
    """The folders directly below a corpus. Each becomes a row of the table."""
    return sorted(path for path in corpus.iterdir() if path.is_dir())


def report(folders: Sequence[Path], *, rounds: int, limit: int | None) -> list[str]:
    """Print the table; return the rows that miss a target. `limit` documents are read, spread over each folder."""
    rows = []
    for folder in folders:
        documents = _load(folder, limit)
        if not documents:
            print(f"{folder}: no Markdown documents", file=sys.stderr)
            continue
        _compare_with_floor(documents)
        rows.append(_measure(folder.name, documents, rounds))
    print(timing.table(HEADER, [row.cells() for row in rows]))
    print(
        f"Medians of {rounds} rounds, quartiles in brackets; processor time. The floor reads the nodes and calls the host,\n"
        "and works out nothing. `same` is the share of documents of which the token reader gives the same names and FQNs,\n"
        f"or the same links on the same lines. *: engine/floor above {MAX_OVER_FLOOR} or engine/parse above {MAX_OVER_PARSE}."
    )
    return [
        f"{row.name}: engine/floor {row.over_floor}, engine/parse {row.over_parse}"
        for row in rows
        if row.misses
    ]


def _load(folder: Path, limit: int | None) -> list[Document]:
    paths = list(walk(str(folder), on_error=lambda error: print(error, file=sys.stderr)))
    documents = []
    for relative in paths[:: max(1, len(paths) // limit) if limit else 1]:
        text, _ = read_text(folder / relative)
        data = text.encode()
        prefix = fqn_prefix(relative)
        documents.append(Document(prefix, text, data, plan_for(PARSER.parse(data).root_node, text, prefix)))
    return documents


def _parse(documents: list[Document]) -> list[Node]:
    return [PARSER.parse(document.data).root_node for document in documents]


def _run_floor(roots: list[Node], documents: list[Document], numberings: list[FqnNumbering]) -> None:
    for root, document, numbering in zip(roots, documents, numberings, strict=True):
        plan = document.plan
        floor.sections(root, plan.section_program, plan.section_records, numbering, cap_docstring)
        floor.links(root, plan.link_program, plan.link_records)


def _run_engine(roots: list[Node], documents: list[Document], numberings: list[FqnNumbering]) -> None:
    for root, document, numbering in zip(roots, documents, numberings, strict=True):
        sections = markdown.extract_sections(
            root, document.text, document.prefix, 0, unique_fqn=numbering, cap_docstring=cap_docstring
        )
        markdown.extract_links(root, sections)


def _run_tokens(documents: list[Document]) -> None:
    for document in documents:
        by_tokens.read(document.text, document.prefix)


def _compare_with_floor(documents: list[Document]) -> None:
    """End the run unless the floor's records equal the engine's: it would be the floor of something else."""
    for document, root in zip(documents, _parse(documents), strict=True):
        plan = document.plan
        symbols = floor.sections(
            root, plan.section_program, plan.section_records, FqnNumbering(), cap_docstring
        )
        references = floor.links(root, plan.link_program, plan.link_records)
        if symbols != plan.symbols or references != plan.references:
            raise SystemExit(f"{document.prefix}: the floor's records are not the engine's")


def _agreement(documents: list[Document]) -> tuple[float, float]:
    """The share of documents whose outline is the same by tokens, and the share whose links are."""
    outlines = links = 0
    for document in documents:
        sections, references = by_tokens.read(document.text, document.prefix)
        outlines += [s.fqn for s in sections] == [s.fqn for s in document.plan.symbols]
        links += sorted(map(_place, references)) == sorted(map(_place, document.plan.references))
    return outlines / len(documents), links / len(documents)


def _place(reference: markdown.ReferenceInfo) -> tuple[int, str, str, str]:
    return reference.line, reference.kind, reference.name, reference.qualifier or ""


def _measure(name: str, documents: list[Document], rounds: int) -> Row:
    same_outline, same_links = _agreement(documents)
    parses: list[float] = []
    trees: list[list[Node]] = []

    def fresh_trees() -> None:
        # A node keeps its children once they are read, so a tree is cheaper to read for the second time. Each candidate
        # therefore gets a fresh tree. Both trees of a round are made first, so that the candidates run back to back.
        trees.clear()
        begin = timing.clock()
        trees.append(_parse(documents))
        trees.append(_parse(documents))
        parses.append((timing.clock() - begin) / 2)

    def on_fresh_tree(run: Callable[..., None]) -> float:
        if not trees:
            fresh_trees()
        roots = trees.pop()
        numberings = [FqnNumbering() for _ in documents]
        return timing.timed(lambda: run(roots, documents, numberings))

    with timing.quiet():
        floors, engines = timing.alternate(
            rounds + 1, lambda: on_fresh_tree(_run_floor), lambda: on_fresh_tree(_run_engine)
        )
        for warm_up in (parses, floors, engines):
            del warm_up[0]
        tokens = [timing.timed(lambda: _run_tokens(documents)) for _ in range(min(rounds, 3))]
    ours = [parse + engine for parse, engine in zip(parses, engines, strict=True)]
    return Row(
        name=name,
        files=len(documents),
        size=sum(len(document.data) for document in documents),
        parse=timing.spread(parses).median,
        floor=timing.spread(floors).median,
        engine=timing.spread(engines).median,
        tokens=timing.spread(tokens).median,
        over_floor=timing.ratios(engines, floors),
        over_parse=timing.ratios(engines, parses),
        tokens_over_ours=timing.ratios(tokens, ours[: len(tokens)]),
        same_outline=same_outline,
        same_links=same_links,
    )
