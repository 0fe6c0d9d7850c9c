"""Reads a corpus many times and measures the memory of the process: ``soak.py --corpus path --rounds 100``.

Each round parses every document again and calls both functions on it. The process has grown when the last round ends
with more resident memory, or more of the interpreter's blocks, than the tenth round, by more than allocators round up. The
exit status is then 1.
"""

from __future__ import annotations

import argparse
import gc
import os
import sys
import time
from pathlib import Path

from nodes import PARSER
from quarnel.engines import markdown
from quarnel.engines.rules import FqnNumbering, cap_docstring

WARM_UP = 10
GROWTH_KIB = 1024  # a little more than one arena of the allocator
GROWTH_BLOCKS = (
    500  # the interpreter keeps some blocks for itself; one lost block a document would be far more
)


def resident_kib() -> int:
    fields = Path("/proc/self/statm").read_text().split()
    return int(fields[1]) * os.sysconf("SC_PAGESIZE") // 1024


def read(data: bytes, source: str) -> int:
    root = PARSER.parse(data).root_node
    symbols = markdown.extract_sections(
        root, source, "P", 1, unique_fqn=FqnNumbering(), cap_docstring=cap_docstring
    )
    return len(symbols) + len(markdown.extract_links(root, symbols))


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.partition("\n")[0])
    parser.add_argument("--corpus", type=Path, default=Path(__file__).resolve().parents[1])
    parser.add_argument("--rounds", type=int, default=100)
    options = parser.parse_args()
    if options.rounds <= WARM_UP:
        parser.error(f"--rounds must be more than {WARM_UP}")

    documents = []
    for path in sorted(options.corpus.rglob("*.md")):
        source = path.read_bytes().decode("utf-8", "replace").replace("\r\n", "\n")
        documents.append((source.encode(), source))
    size = sum(len(data) for data, _ in documents)
    if not documents:
        parser.error(f"no Markdown below {options.corpus}")
    print(f"{len(documents)} documents, {size} bytes, {options.rounds} rounds")

    found, begin, held = set(), time.monotonic(), {}
    for number in range(1, options.rounds + 1):
        found.add(sum(read(data, source) for data, source in documents))
        if number in (1, WARM_UP, options.rounds) or number % 20 == 0:
            gc.collect()
            held[number] = resident_kib(), sys.getallocatedblocks()
            print(f"round {number}: {held[number][0]} KiB resident, {held[number][1]} blocks", flush=True)
    print(f"{found} symbols and links in every round, {time.monotonic() - begin:.0f} s")

    (kib, blocks), (last_kib, last_blocks) = held[WARM_UP], held[options.rounds]
    grown = last_kib - kib > GROWTH_KIB or last_blocks - blocks > GROWTH_BLOCKS or len(found) != 1
    print(f"since round {WARM_UP}: {last_kib - kib:+} KiB, {last_blocks - blocks:+} blocks")
    return 1 if grown else 0


if __name__ == "__main__":
    sys.exit(main())
