"""Finds the nodes of a block tree that are read beside what the engine reports."""

from __future__ import annotations

from collections.abc import Iterable

from tree_sitter import Node

# What is read of a tree, by type of node.
_KINDS = {
    "atx_heading": "heading",
    "setext_heading": "heading",
    "fenced_code_block": "fence",
    "indented_code_block": "code",
    "inline": "inline",
    "pipe_table_cell": "inline",
    "html_block": "html",
    "link_reference_definition": "definition",
    "minus_metadata": "front_matter",
    "plus_metadata": "front_matter",
}


def nodes_by_kind(root: Node) -> dict[str, list[Node]]:
    """The nodes of each kind in `_KINDS`, in document order.

    A walk over children that the engine has asked for already costs a fifth of a query, which visits every token.
    """
    found: dict[str, list[Node]] = {}
    waiting = [root]
    while waiting:
        node = waiting.pop()
        kind = _KINDS.get(node.type)
        if kind is not None:
            found.setdefault(kind, []).append(node)
            if kind != "heading":
                continue
        children = node.children
        if children:
            waiting.extend(reversed(children))
    return found


def ranges_of(nodes: Iterable[Node]) -> list[tuple[int, int]]:
    """Begin and end of each node, in bytes."""
    return [(node.start_byte, node.end_byte) for node in nodes]


def level_of(node: Node) -> int:
    """The level of a heading, from 1 to 6."""
    for child in node.children:
        kind = child.type
        if kind.startswith("atx_h"):
            return int(kind[5])
        if kind.startswith("setext_h"):
            return int(kind[8])
    return 1
