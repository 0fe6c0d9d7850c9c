"""The plan for a document: what the floor is told before it is timed, so that it has nothing left to work out.

A program has one byte for each node in document order, which says what attributes of the node to read. It follows the
same two walks as the engine, and leaves out every read on which the answer does not depend.
"""

from __future__ import annotations

from dataclasses import dataclass
from itertools import pairwise
from typing import Any

from quarnel.engines import markdown
from quarnel.engines.references import ReferenceInfo
from quarnel.engines.rules import FqnNumbering, cap_docstring
from quarnel.models import Symbol
from tree_sitter import Node

_TYPE, _CHILDREN, _TEXT, _START_POINT = 1, 2, 4, 8
_HEADINGS = (markdown._ATX_HEADING, markdown._SETEXT_HEADING)
_FRONT_MATTER = (markdown._YAML_FRONT_MATTER, markdown._TOML_FRONT_MATTER)


@dataclass(frozen=True)
class Plan:
    """The programs and the record values for one document, and the engine's answers from which they were made."""

    section_program: bytes
    section_records: list[tuple[str, str | None, tuple[Any, ...]]]
    link_program: bytes
    link_records: list[tuple[Any, ...]]
    symbols: list[Symbol]
    references: list[ReferenceInfo]


def plan_for(root: Node, text: str, prefix: str) -> Plan:
    """Return the plan for a document, made from the engine's answers and from its calls of the host."""
    numbering = FqnNumbering()
    records: list[list[Any]] = []

    def unique_fqn(fqn: str) -> str:
        records.append([fqn, None])
        return numbering(fqn)

    def cap(summary: str) -> str:
        records[-1][1] = summary
        return cap_docstring(summary)

    symbols = markdown.extract_sections(root, text, prefix, 0, unique_fqn=unique_fqn, cap_docstring=cap)
    references = markdown.extract_links(root, symbols)
    return Plan(
        _section_program(root, prefix),
        [(*record, _values(symbol)) for record, symbol in zip(records, symbols, strict=True)],
        _link_program(root),
        [_values(reference) for reference in references],
        symbols,
        references,
    )


def _values(record: Symbol | ReferenceInfo) -> tuple[Any, ...]:
    return tuple(getattr(record, name) for name in type(record).__slots__)


def _section_program(root: Node, prefix: str) -> bytes:
    blocks = list(markdown._blocks(root))
    summaries = {after.id for block, after in pairwise(blocks) if block.type in _HEADINGS}
    if blocks and blocks[0].type in _FRONT_MATTER and _needs_first_paragraph(blocks, prefix):
        summaries.add(blocks[1].id)
    program = bytearray()
    pending = [root]
    while pending:
        node = pending.pop()
        if node.type in markdown._CONTAINERS:
            program.append(_TYPE | _CHILDREN)
            pending.extend(reversed(node.children))
        elif node.type in _HEADINGS:
            program.append(_TYPE | _CHILDREN | _START_POINT)
            program += _heading_parts(node)
        else:
            is_read = (node.type == "paragraph" and node.id in summaries) or node.id == _front_matter_id(
                blocks
            )
            program.append(_TYPE | _TEXT if is_read else _TYPE)
    return bytes(program)


def _front_matter_id(blocks: list[Node]) -> int | None:
    return blocks[0].id if blocks and blocks[0].type in _FRONT_MATTER else None


def _needs_first_paragraph(blocks: list[Node], prefix: str) -> bool:
    """Whether front matter adds a title section whose summary is the paragraph below it."""
    front = markdown._front_matter(blocks[0], prefix)
    headings = [markdown._heading(block, None) for block in blocks if block.type in _HEADINGS]
    added = len(markdown._with_front_matter(headings, front, None)) > len(headings)
    return added and front.description is None and len(blocks) > 1


def _heading_parts(heading: Node) -> bytes:
    """The part of a program for the children of a heading. Types are read until marker and content are found."""
    content = "inline" if heading.type == markdown._ATX_HEADING else "paragraph"
    has_level = has_content = False
    program = bytearray()
    for child in heading.children:
        if has_level and has_content:
            program.append(0)
        elif child.type == content and not has_content:
            has_content = True
            program.append(_TYPE | _TEXT)
        else:
            has_level = has_level or child.type in markdown._LEVEL_MARKERS
            program.append(_TYPE)
    return bytes(program)


def _link_program(root: Node) -> bytes:
    program = bytearray()
    pending = [root]
    while pending:
        node = pending.pop()
        if node.type in markdown._INLINE_NODES:
            holds_links = any(markdown._inline_targets(markdown._text(node), 1))
            program.append(_TYPE | _TEXT | (_START_POINT if holds_links else 0))
        elif node.type == markdown._REFERENCE_DEFINITION:
            program += _definition(node)
        elif node.type in markdown._LINK_CONTAINERS:
            program.append(_TYPE | _CHILDREN)
            pending.extend(reversed(node.children))
        else:
            program.append(_TYPE)
    return bytes(program)


def _definition(node: Node) -> bytes:
    program = bytearray([_TYPE | _CHILDREN])
    found = False
    for child in node.children:
        if found:
            program.append(0)
            continue
        found = child.type == markdown._DESTINATION_NODE
        program.append(_TYPE | _TEXT if found else _TYPE)
        if found and markdown._destination(markdown._text(child)) is not None:
            program[0] |= _START_POINT
    return bytes(program)
