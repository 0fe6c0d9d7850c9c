"""Sections and links of any number of Markdown files, with Dask, on one machine or many.

    python dask_bag.py FOLDER OUTPUT [--parquet]

Each partition of the bag writes files of its own, under names that depend on its number only, and renames them when
they are complete. So a partition that is done again, because its worker died, changes nothing, and the files that are
there when a run breaks off are good. A document that cannot be read is left out alone.
"""

# mypy: allow-untyped-calls, disable-error-code="import-untyped"
from __future__ import annotations

import argparse
import json
import os
from collections import Counter
from collections.abc import Iterable, Sequence
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any

import dask.bag
import tree_sitter_markdown
from dask.delayed import delayed
from distributed import Client, KilledWorker
from quarnel.engines.markdown import extract_links, extract_sections
from quarnel.engines.rules import FqnNumbering, cap_docstring
from tree_sitter import Language, Node, Parser

SECTION_FIELDS = "name", "fqn", "start_line", "end_line", "signature", "docstring"
LINK_FIELDS = "name", "line", "kind", "qualifier", "source_fqn"
INTEGERS = frozenset({"start_line", "end_line", "line"})

# A file's path, or a document's name and text.
Item = str | tuple[str, str]
Row = dict[str, Any]


@dataclass
class Report:
    """What was done.

    `errors` are the documents that could not be read, with the reasons. `lost` are whole partitions (number, reason):
    their files could not be written, or their workers died again and again, for example from a lack of memory.
    """

    counts: Counter[str] = field(default_factory=Counter)
    errors: list[tuple[str, str]] = field(default_factory=list)
    lost: list[tuple[int, str]] = field(default_factory=list)

    def add(self, counts: Counter[str], errors: list[tuple[str, str]]) -> None:
        """Add what one partition returned."""
        self.counts.update(counts)
        self.errors.extend(errors)


def index(bag: dask.bag.Bag, folder: str, client: Client, *, parquet: bool = False) -> Report:
    """Write sections and links of the documents of a bag of `Item`s to `folder`, which all workers can reach."""
    os.makedirs(folder, exist_ok=True)
    parts = enumerate(bag.to_delayed())
    # A task changes nothing but its own files, so the scheduler may run it again on any worker.
    futures = client.compute(
        [delayed(write_partition)(part, number, folder, parquet) for number, part in parts]
    )
    report = Report()
    blamed: list[int] = []
    for number, future in enumerate(futures):
        try:
            # Waits for the result, and again when it was lost with the worker that held it.
            report.add(*future.result())
        except KilledWorker:
            blamed.append(number)
        except Exception as error:
            report.lost.append((number, repr(error)))
    # A partition is also blamed when it only waited at workers that another partition killed. Each is now done alone,
    # which shows the one that kills.
    for number in blamed:
        try:
            futures[number].retry()
            report.add(*futures[number].result())
        except Exception as error:
            report.lost.append((number, repr(error)))
    return report


def write_partition(
    items: Iterable[Item], number: int, folder: str, parquet: bool
) -> tuple[Counter[str], list[tuple[str, str]]]:
    """Write one partition; return how many rows it has and the documents that could not be read, with reasons."""
    # A parser cannot be sent to a worker, so each partition makes one.
    parser = Parser(Language(tree_sitter_markdown.language()))
    rows: dict[str, list[Row]] = {"sections": [], "links": []}
    errors: list[tuple[str, str]] = []
    counts: Counter[str] = Counter()
    for item in items:
        name, given = (item, None) if isinstance(item, str) else item
        try:
            text = normalise(Path(name).read_bytes().decode("utf-8", "replace") if given is None else given)
            sections, links = map_document(
                parser.parse(text.encode("utf-8", "replace")).root_node, name, text
            )
        except Exception as error:
            errors.append((name, f"{type(error).__name__}: {error}"))
            continue
        rows["sections"] += sections
        rows["links"] += links
        counts["documents"] += 1
    for kind, fields in (("sections", SECTION_FIELDS), ("links", LINK_FIELDS)):
        counts[kind] = len(rows[kind])
        write = write_parquet if parquet else write_json_lines
        suffix = "parquet" if parquet else "jsonl"
        target = os.path.join(folder, f"{kind}-{number:05}.{suffix}")
        # Two workers may do the same partition at the same time; the process id gives each a file of its own.
        unfinished = f"{target}.{os.getpid()}.part"
        write(unfinished, rows[kind], fields)
        os.replace(unfinished, target)
    return counts, errors


def normalise(text: str) -> str:
    """Text as the grammar and the engine need it: no byte order mark, LF line ends, a newline at the end."""
    text = text.removeprefix("\ufeff").replace("\r\n", "\n")
    return text if text.endswith("\n") or not text else f"{text}\n"


def map_document(root: Node, name: str, text: str) -> tuple[list[Row], list[Row]]:
    """The sections and links of a document as rows."""
    prefix = os.path.splitext(name)[0].strip("/").replace("/", ".")
    sections = extract_sections(root, text, prefix, 0, unique_fqn=FqnNumbering(), cap_docstring=cap_docstring)
    links = extract_links(root, sections)
    return [_row(name, s, SECTION_FIELDS) for s in sections], [_row(name, r, LINK_FIELDS) for r in links]


def _row(file: str, record: object, fields: Sequence[str]) -> Row:
    row: Row = {"file": file} | {field: getattr(record, field) for field in fields}
    # A title can hold half a surrogate pair, which no file format takes.
    return {k: v.encode("utf-8", "replace").decode() if isinstance(v, str) else v for k, v in row.items()}


def write_json_lines(path: str, rows: list[Row], fields: Sequence[str]) -> None:
    with open(path, "w", encoding="utf-8") as lines:
        lines.writelines(json.dumps(row, ensure_ascii=False) + "\n" for row in rows)


def write_parquet(path: str, rows: list[Row], fields: Sequence[str]) -> None:
    import pyarrow
    import pyarrow.parquet

    # The types are stated and not guessed from the rows, so that a column without a value has the same type everywhere.
    types = {name: pyarrow.int32() if name in INTEGERS else pyarrow.string() for name in ("file", *fields)}
    pyarrow.parquet.write_table(pyarrow.Table.from_pylist(rows, pyarrow.schema(types)), path)


def main() -> None:
    options = argparse.ArgumentParser(description="Map a folder of Markdown with Dask.")
    options.add_argument("folder", type=Path)
    options.add_argument("output")
    options.add_argument("--parquet", action="store_true", help="write Parquet instead of JSON Lines")
    options.add_argument(
        "--scheduler", help="address of a running scheduler; by default a local cluster is started"
    )
    given = options.parse_args()
    paths = sorted(map(str, given.folder.rglob("*.md")))
    if not paths:
        raise SystemExit(f"{given.folder}: no Markdown files")
    with Client(given.scheduler) as client:
        report = index(
            dask.bag.from_sequence(paths, partition_size=100), given.output, client, parquet=given.parquet
        )
    for name, reason in (*report.errors, *report.lost):
        print(f"{name}: {reason}")
    print(", ".join(f"{count} {kind}" for kind, count in report.counts.items()))


if __name__ == "__main__":
    main()
