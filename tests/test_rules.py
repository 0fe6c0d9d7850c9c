"""Every example of docs/rules.md: its document is parsed, and compared is all that a host gets for it."""

import logging
import re
from pathlib import Path

import pytest
from nodes import Node, parse, sections
from quarnel.engines import markdown
from quarnel.engines.rules import FqnNumbering

PAGE = Path(__file__).resolve().parents[1] / "docs" / "rules.md"
EXAMPLES = re.findall(
    r"^~{8} example\n(.*?)^\.\n(.*?)^~{8}$", PAGE.read_text("utf-8"), re.DOTALL | re.MULTILINE
)


def written_out(text):
    times = re.sub(r"\{(.)×(\d+)\}", lambda match: match[1] * int(match[2]), text)
    return times.replace("→", "\t").replace("␣", " ")


def stand_in(node):
    """A copy of a tree in stand-in nodes, because the engine reads the binding's own nodes in a different way."""
    return Node(node.type, *map(stand_in, node.children), row=node.start_point[0], text=node.text)


def seen_by_host(root, source):
    """The lines of an example: the records, and what the host's rules were called with."""
    calls, number = [], FqnNumbering()

    def unique_fqn(fqn):
        calls.append(fqn)
        return number(fqn)

    def cap_docstring(docstring):
        calls.append(docstring)
        return f"{docstring} "

    symbols = sections(source, root=root, unique_fqn=unique_fqn, cap_docstring=cap_docstring)
    parents = {"P"}
    for s in symbols:
        assert (s.id, s.file_id, s.kind, s.is_export) == (None, 7, "section", True)
        asked = calls.pop(0)
        assert asked.removesuffix(f".{s.name}") in parents
        parents.add(s.fqn)
        assert s.docstring is None or s.docstring == f"{calls.pop(0)} "
        docstring = "-" if s.docstring is None else s.docstring[:-1]
        fqn = s.fqn if s.fqn == asked else f"{s.fqn} (for {asked})"
        yield f"{s.start_line}-{s.end_line} {fqn} | {s.signature} | {docstring}"
    assert calls == []
    for r in markdown.extract_links(root, symbols):
        yield f"{r.line} {r.kind} {r.name or repr('')} | {r.qualifier or '-'} | {r.source_fqn or '-'}"


@pytest.mark.parametrize("level", [logging.DEBUG, logging.INFO])
@pytest.mark.parametrize(("document", "expected"), EXAMPLES, ids=[text[:20] for text, _ in EXAMPLES])
def test_example(document, expected, level, caplog):
    caplog.set_level(level, "quarnel.engines.markdown")
    source = written_out(document)
    root = parse(source)
    found = list(seen_by_host(root, source))
    assert list(seen_by_host(stand_in(root), source)) == found
    records = [record.getMessage().split(": ")[0] for record in caplog.records[::2]]  # of the first reading
    assert found + [f"debug: {record}" for record in records] == [
        line
        for line in written_out(expected).splitlines()
        if level == logging.DEBUG or not line.startswith("debug")
    ]
