"""Finds the blocks that comments ask docmap to be silent about."""

from __future__ import annotations

import re

from tree_sitter import Node

from docmap.facts import Span
from docmap.source import Source

_IGNORE = re.compile(rb"(?:<!--|\{/\*)[ \t]*docmap-ignore[ \t]*(?:-->|\*/\})")
_BEFORE_COMMENT = re.compile(rb"[ \t>]*(?:(?:[-*+]|\d{1,9}[.)])[ \t]+)?")
_REST_OF_LINE = re.compile(rb"[ \t\r\v\f]*(?:\n|\Z)")
_EMPTY_LINES = re.compile(rb"(?:[ \t>]*\n)*")
_INDENT = re.compile(rb"[ \t>]*")
_MOST_BLOCKS_IN_ROW = 100
_NOT_BLOCKS = frozenset({"section", "document"})


def ignored_spans(source: Source, root: Node) -> list[Span]:
    """The lines of the blocks that comments mean, each once."""
    if (b"<!" not in source.signs and b"{" not in source.signs) or b"docmap-ignore" not in source.data:
        return []
    # By the rows where they begin, since several comments can mean one block.
    ignored: dict[int, Span] = {}
    before = -1
    for match in _IGNORE.finditer(source.data):
        if match.start() not in source.code:
            row = source.line_of(match.start()) - 1
            # After another comment of its row none stands alone.
            block_row = row if row == before else _row_of_ignored(source, row, match)
            before = row
            if block_row not in ignored:
                ignored[block_row] = _block_at(source, block_row, root)
    return list(ignored.values())


def _row_of_ignored(source: Source, row: int, comment: re.Match[bytes]) -> int:
    """The row of what a comment in this row means: what follows one that stands alone, else its own."""
    before = _BEFORE_COMMENT.fullmatch(source.data, source.begin_of(row), comment.start())
    if before is None or _REST_OF_LINE.match(source.data, comment.end()) is None:
        return row
    empty = _EMPTY_LINES.match(source.data, source.begin_of(row + 1))
    return row + 1 if empty is None else source.line_of(empty.end()) - 1


def _block_at(source: Source, row: int, root: Node) -> Span:
    """The lines of the outermost block that begins in a row; of the innermost in it, if none does."""
    begin = source.begin_of(row)
    indent = _INDENT.match(source.data, begin)
    column = 0 if indent is None else indent.end() - begin
    node = root.descendant_for_point_range((row, column), (row, column))
    # Nobody nests deeper, and each step takes as long as the node is deep.
    for _ in range(_MOST_BLOCKS_IN_ROW):
        above = None if node is None else node.parent
        if above is None or above.type in _NOT_BLOCKS or above.start_point[0] != row:
            break
        node = above
    if node is None or node.type in _NOT_BLOCKS:
        return Span(row + 1, row + 1, "ignore")
    last = node.end_point[0] + (node.end_point[1] > 0)
    return Span(row + 1, max(last, row + 1), "ignore")
