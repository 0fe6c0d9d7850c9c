"""The peak memory of a call, beyond the parsed tree and the result of the call, and the memory that is left after it.

Each case runs in a fresh process. The record types of that process return None, so a result is one pointer for each
record. The nodes of the tree are made before the call, because the tree keeps them.

Resident memory is measured, as the kernel counts it. The kernel's high-water mark is reset just before the call. The
peak is the mark after the call, less the memory before the call and less the list that the call returns. Python's
small blocks come from malloc here, and malloc returns its free memory to the kernel before each call. So no memory that
an earlier phase has freed can hide what a call needs.
"""

from __future__ import annotations

import json
import os
import subprocess
import sys
from collections.abc import Callable

import timing

HEADER = (
    "document",
    "MB",
    "largest run",
    "lines",
    "allowed MB",
    "sections MB",
    "links MB",
    "left MB",
    "source",
    "",
)
_PROSE_LINE = "The quick brown fox jumps over the lazy dog, and then it does so once more.\n"
# The grain of the measurement: a call that allocates little may show as much as this. Memory is counted in pages,
# malloc needs some for itself, and the kernel updates its counts in batches.
_GRAIN = 256 * 1024


def _links(size: int, before: str, after: str) -> str:
    """One link for every 250 bytes of `size`: 200,000 links stand for 50 MB."""
    return "".join(f"{before}[a](b{i}.md){after}" for i in range(size // 250))


_SHAPES: dict[str, Callable[[int], str]] = {
    "prose in paragraphs": lambda size: (_PROSE_LINE * 5 + "\n") * (size // (5 * len(_PROSE_LINE) + 1)),
    "prose in one paragraph": lambda size: _PROSE_LINE * (size // len(_PROSE_LINE)),
    "prose that is not ASCII": lambda size: (
        ("Être ou ne pas être, là est la question.\n" * 5 + "\n") * (size // 226)
    ),
    "links, one a line": lambda size: _links(size, "", "\n"),
    "links, one a paragraph": lambda size: _links(size, "", "\n\n"),
    "links, one a list item": lambda size: _links(size, "- ", "\n"),
    "links, all on one line": lambda size: _links(size, "", " ") + "\n",
    "links under code spans": lambda size: _links(size, "`c` ", "\n"),
}


def report(*, quick: bool) -> list[str]:
    """Print the table; return the rows that need more than is allowed."""
    missed, rows = [], []
    for name in _SHAPES:
        found = _in_fresh_process(name, 5_000_000 if quick else 50_000_000)
        allowed = 2 * found["largest_run"] + 8 * found["lines"]
        over = max(found["sections"], found["links"]) > allowed + _GRAIN or found["left"] > _GRAIN
        over = over or found["source_after"] != found["source_before"]
        rows.append(
            [
                name,
                f"{found['size'] / 1e6:.1f}",
                f"{found['largest_run']:,}",
                f"{found['lines']:,}",
                f"{allowed / 1e6:.2f}",
                _megabytes(found["sections"]),
                _megabytes(found["links"]),
                _megabytes(found["left"]),
                f"{(found['source_after'] - found['source_before']) / 1e6:+.2f}",
                "MISS" if over else "",
            ]
        )
        if over:
            missed.append(f"memory, {name}: {rows[-1][5]} and {rows[-1][6]} MB, allowed {rows[-1][4]}")
    print(timing.table(HEADER, rows))
    print(
        "Resident memory in fresh processes. Allowed: twice the largest inline run and 8 bytes a line, and a quarter of a\n"
        "megabyte for the grain of the measurement. left: what the process holds more once the results are gone;\n"
        "source: by how much the host's string has grown."
    )
    return missed


def _megabytes(size: int) -> str:
    return f"{round(size / 1e6, 2) + 0.0:.2f}"  # no negative zero


def _in_fresh_process(name: str, size: int) -> dict[str, int]:
    # The thresholds are fixed, because malloc would otherwise learn during the set-up to keep freed memory.
    settings = {
        "PYTHONMALLOC": "malloc",
        "MALLOC_MMAP_THRESHOLD_": "65536",
        "MALLOC_TRIM_THRESHOLD_": "65536",
    }
    command = [sys.executable, __file__, name, str(size)]
    answer = subprocess.run(command, env=os.environ | settings, check=True, stdout=subprocess.PIPE, text=True)
    return json.loads(answer.stdout)


def _measure(name: str, size: int) -> dict[str, int]:
    import quarnel.engines.references
    import quarnel.models

    nothing = lambda **_: None  # noqa: E731
    quarnel.engines.references.ReferenceInfo = quarnel.models.Symbol = nothing
    import tree_sitter_markdown
    from quarnel.engines import markdown
    from tree_sitter import Language, Parser

    text = _SHAPES[name](size)
    data = text.encode()
    root = Parser(Language(tree_sitter_markdown.language())).parse(data).root_node
    largest_run = _make_nodes(root, markdown)
    # The first call is on a small document, so that what is made once for all calls is not counted.
    small = Parser(Language(tree_sitter_markdown.language())).parse(b"# a\n\n[a](b.md)\n").root_node
    rules = {"unique_fqn": lambda fqn: fqn, "cap_docstring": lambda text: text}
    markdown.extract_sections(small, "# a\n\n[a](b.md)\n", "p", 0, **rules)
    markdown.extract_links(small, [])
    source_before = sys.getsizeof(text)
    before = _settled()
    sections = _peak(lambda: markdown.extract_sections(root, text, "p", 0, **rules))
    links = _peak(lambda: markdown.extract_links(root, []))
    return {
        "size": len(data),
        "largest_run": largest_run,
        "lines": text.count("\n"),
        "sections": sections,
        "links": links,
        "left": _settled() - before,
        "source_before": source_before,
        "source_after": sys.getsizeof(text),
    }


def _make_nodes(root, markdown) -> int:
    """Make the tree create all nodes that the walks read; return the size of the largest inline run in bytes."""
    largest = 0
    pending = [root]
    while pending:
        node = pending.pop()
        if node.type in markdown._INLINE_NODES:
            largest = max(largest, node.end_byte - node.start_byte)
        elif node.type in markdown._LINK_CONTAINERS or node.type == markdown._REFERENCE_DEFINITION:
            pending += reversed(node.children)
    return largest


def _peak(call: Callable[[], list]) -> int:
    before = _settled()
    with open("/proc/self/clear_refs", "w") as reset:
        reset.write("5")
    result = call()
    peak = _status("VmHWM")
    return peak - before - sys.getsizeof(result)


def _settled() -> int:
    """The resident memory in bytes, after all free memory was returned to the kernel."""
    import ctypes
    import gc

    gc.collect()
    ctypes.CDLL(None).malloc_trim(0)
    return _status("VmRSS")


def _status(field: str) -> int:
    with open("/proc/self/status") as status:
        line = next(line for line in status if line.startswith(field + ":"))
    return int(line.split()[1]) * 1024


if __name__ == "__main__":
    print(json.dumps(_measure(sys.argv[1], int(sys.argv[2]))))
