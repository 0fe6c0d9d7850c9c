"""Fuzzes both functions on whole documents: ``documents.py --seconds 60 --seed 1 --corpus path``.

Each document is put together from documents of the corpus, or from the samples below when there is none, and from
pieces of syntax. The real grammar parses it, and it is read as a host reads it. The outline and the links are then compared
with rules that hold for any document, and with the rules on text in ``re``. A document that breaks a rule is made
smaller while it still breaks it, and written to the folder ``--found``; the exit status is then 1.
"""

from __future__ import annotations

import argparse
import random
import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "tests"))

import by_re
from nodes import parse
from quarnel.engines import markdown
from quarnel.engines.references import ReferenceInfo
from quarnel.engines.rules import FqnNumbering, cap_docstring

SAMPLES = (
    "---\ntitle: A *title*\ndescription: >\n  over\n  lines\n---\n\ntext [a](b.md)\n\n## B\n\n- c\n  > [[D#e|f]]\n",
    "+++\ntitle = \"A \\u00e9\"\n+++\n\nA\n===\n\np `[x](y)` [z](<w v.md> 't')\n\n#\n\n### B ##\n\n[r]: s.md\n",
    "# A\n\n| h [i](j) | k |\n|---|---|\n| [[l]] | `m|n` |\n\n```\n# no\n[o](p)\n```\n\n<div>\n# no\n</div>\n\n# A\n",
    "> # quoted\n> [a](b)\n\n1. # item\n   - [c](d.md#e%20f?g)\n\nB *c*\nd\n---\n\n***\n\n\t# code\n\n###### E\r\n",
)
# Separated by commas.
_PIECES = (
    "# ,## ,### ,###### ,#, #,\n===\n,\n---\n,---\n,+++\n,***\n,\n\n,\n,> ,- ,1. ,    ,\t,```\n,~~~\n,`,``,*,**,_,~~,[,]"
    ",(,),](,[[,]],|,|---|---|\n,![,<,>,<!--,-->,<div>\n,</div>\n,[a](b.md),[[P#q|r]],[r]: s.md\n,\\,%20,%C3,?,#x,title: "
    ",title = ,description: , 'a',\"a\",\u00e9,\u2028,\u00a0,\x85,\x0b,\x00,\r,\ufeff,\U0001f600,\ud800"
)
PIECES = _PIECES.split(",")


def mutated(rng: random.Random, known: list[str]) -> str:
    """Lines of one or two known documents, changed at random places: pieces put in, characters taken out."""
    lines = rng.choice(known).split("\n")
    begin = 0 if rng.random() < 0.5 else rng.randrange(len(lines))
    lines = lines[begin : begin + rng.randint(1, 60)]
    if rng.random() < 0.3:
        other = rng.choice(known).split("\n")
        lines[rng.randrange(len(lines) + 1) :] = other[rng.randrange(len(other)) :][:40]
    if rng.random() < 0.3:
        rng.shuffle(lines)
    text = "\n".join(lines)
    for _ in range(rng.choice((0, 1, 2, 5, 20))):
        begin = rng.randrange(len(text) + 1)
        end = begin + rng.choice((0, 0, 1, 5))
        text = text[:begin] + "".join(rng.choices(PIECES, k=rng.choice((0, 1, 3)))) + text[end:]
    return text


class Host:
    """The host's rules, which record the calls that they get."""

    def __init__(self) -> None:
        self.asked: list[tuple[str, str]] = []
        self._numbering = FqnNumbering()

    def unique_fqn(self, fqn: str) -> str:
        self.asked.append(("fqn", fqn))
        return self._numbering(fqn)

    def cap_docstring(self, text: str) -> str:
        self.asked.append(("docstring", text))
        return cap_docstring(text)


def headings_of(root, source: str):
    """The headings of a document by the slow rules. They are read from the nodes of the tree."""
    blocks, pending = [], [root]
    while pending:
        node = pending.pop()
        if node.type in ("document", "section", "ERROR"):
            pending += reversed(node.children)
        else:
            blocks.append(node)
    found = []
    for block, following in zip(blocks, [*blocks[1:], None], strict=False):
        if block.type not in ("atx_heading", "setext_heading"):
            continue
        content = "inline" if block.type == "atx_heading" else "paragraph"
        levels = [level for child in block.children if (level := markdown._LEVEL_MARKERS.get(child.type))]
        texts = [decoded(child) for child in block.children if child.type == content]
        text = texts[0] if texts else ""
        if block.type == "atx_heading":
            text = markdown._CLOSING_SEQUENCE.sub("", text)
        summary = decoded(following) if following is not None and following.type == "paragraph" else ""
        row = block.start_point[0]
        found.append(
            markdown._Heading(
                by_re.plain_text(text), (levels or [1])[0], row, by_re.plain_text(summary) or None
            )
        )
    if blocks and blocks[0].type in ("minus_metadata", "plus_metadata"):
        front = markdown._front_matter(blocks[0], "")
        found = markdown._with_front_matter(found, front, blocks[1] if len(blocks) > 1 else None)
    return found


def decoded(node) -> str:
    return (node.text or b"").decode("utf-8", "replace")


def check_sections(source: str, root, symbols, host: Host) -> None:
    """Checks the symbols of one call of extract_sections. Their names are compared with the slow rules."""
    last_row = source.count("\n")
    headings = [heading for heading in headings_of(root, source) if heading.name]
    assert [(s.name, s.start_line) for s in symbols] == [(h.name, h.first_row + 1) for h in headings], "names"
    assert len({s.fqn for s in symbols}) == len(symbols), "FQNs are unique"
    lines = source.split("\n")
    asked, open_sections = [], []
    for symbol, heading in zip(symbols, headings, strict=True):
        assert (
            symbol.id is None
            and symbol.file_id == 7
            and symbol.kind == "section"
            and symbol.is_export is True
        )
        assert 1 <= symbol.start_line <= symbol.end_line <= last_row + 1, "a range lies in the file"
        assert symbol.end_line == symbol.start_line or lines[symbol.end_line - 1].strip(), "it ends with text"
        while open_sections and open_sections[-1][0] >= heading.level:
            open_sections.pop()
        enclosing = open_sections[-1][1] if open_sections else None
        # A heading without a name ends sections too, so the enclosing section by level may have ended already.
        if enclosing and enclosing.end_line >= symbol.start_line:
            assert symbol.end_line <= enclosing.end_line, "ranges nest"
            assert symbol.fqn.startswith(enclosing.fqn + "."), "FQNs nest"
        open_sections.append((heading.level, symbol))
        parent = symbol.fqn
        asked += [entry for entry in (("fqn", parent), ("docstring", heading.summary)) if entry[1]]
        assert len(symbol.signature) <= markdown.MAX_PATH_LENGTH
        assert (symbol.docstring is None) == (heading.summary is None)
        assert symbol.docstring is None or symbol.docstring == cap_docstring(heading.summary), "docstrings"
    assert [kind for kind, _ in host.asked] == [kind for kind, _ in asked], "the order of the host's rules"
    assert [text for kind, text in host.asked if kind == "docstring"] == [
        text for kind, text in asked if kind == "docstring"
    ]
    numbering = FqnNumbering()
    assert [numbering(text) for kind, text in host.asked if kind == "fqn"] == [s.fqn for s in symbols]
    starts = [symbol.start_line for symbol in symbols]
    assert starts == sorted(starts), "document order"


def targets_of(root):
    pending = [root]
    while pending:
        node = pending.pop()
        line = node.start_point[0] + 1
        if node.type in markdown._INLINE_NODES:
            text = decoded(node)
            if "](" in text or "[[" in text:
                yield from by_re.inline_targets(text, line)
        elif node.type == "link_reference_definition":
            written = [decoded(child) for child in node.children if child.type == "link_destination"]
            target = by_re.destination(written[0]) if written else None
            if target:
                yield markdown.REF_DOC_LINK, target, line
        elif node.type in markdown._LINK_CONTAINERS:
            pending += reversed(node.children)


def check_links(source: str, root, symbols, links) -> None:
    expected = by_re.links(targets_of(root), symbols)
    assert links == [ReferenceInfo(*fields) for fields in expected], "links"
    by_fqn = {symbol.fqn: symbol for symbol in symbols}
    for link in links:
        assert link.name or link.qualifier, "a link names something"
        assert 1 <= link.line <= source.count("\n") + 1, "a link lies in the file"
        if link.source_fqn is not None:
            section = by_fqn[link.source_fqn]
            assert section.start_line <= link.line <= section.end_line, "a link lies in its section"


def check(source: str) -> None:
    # A host passes no carriage returns. The grammar would start a heading after a lone one.
    source = source.encode("utf-8", "replace").decode().replace("\r\n", "\n").replace("\r", "\n")
    root, host = parse(source), Host()
    symbols = markdown.extract_sections(
        root, source, "P", 7, unique_fqn=host.unique_fqn, cap_docstring=host.cap_docstring
    )
    links = markdown.extract_links(root, symbols)
    check_sections(source, root, symbols, host)
    check_links(source, root, symbols, links)
    again = Host()
    fresh = parse(source)
    assert symbols == markdown.extract_sections(
        fresh, source, "P", 7, unique_fqn=again.unique_fqn, cap_docstring=again.cap_docstring
    ), "the same answer twice"
    assert links == markdown.extract_links(fresh, symbols), "the same answer twice"
    assert host.asked == again.asked


def failure(source: str) -> str | None:
    try:
        check(source)
    except Exception as error:
        return f"{type(error).__name__}: {error}"
    return None


def smallest(source: str) -> str:
    """A part of the document that still fails, and that no longer fails without any one of its lines or characters."""
    for separator in ("\n", ""):
        parts = source.split(separator) if separator else list(source)
        size = max(1, len(parts) // 2)
        while size:
            i = 0
            while i < len(parts):
                less = parts[:i] + parts[i + size :]
                if failure(separator.join(less)):
                    parts = less
                else:
                    i += size
            size //= 2
        source = separator.join(parts)
    return source


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.partition("\n")[0])
    parser.add_argument("--seconds", type=float, default=60)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--corpus", type=Path)
    parser.add_argument("--found", type=Path, default=Path("build/fuzz/found"))
    parser.add_argument("files", nargs="*", type=Path, help="documents to check as they are, and no others")
    options = parser.parse_args()

    known = list(SAMPLES)
    if options.corpus:
        known += [
            path.read_bytes().decode("utf-8", "replace") for path in sorted(options.corpus.rglob("*.md"))
        ]
    known += [path.read_bytes().decode("utf-8", "replace") for path in options.files]
    rng = random.Random(options.seed)
    documents = characters = 0
    end = time.monotonic() + options.seconds
    while time.monotonic() < end and not (options.files and documents == len(options.files)):
        source = known[len(SAMPLES) + documents] if options.files else mutated(rng, known)
        documents += 1
        characters += len(source)
        if message := failure(source):
            options.found.mkdir(parents=True, exist_ok=True)
            path = options.found / f"document-{options.seed}-{documents}.md"
            source = smallest(source)
            path.write_bytes(source.encode("utf-8", "surrogatepass"))
            print(f"{path}: {failure(source) or message}: {source!r}")
            return 1
    print(f"seed {options.seed}: {documents} documents, {characters} characters, none breaks a rule")
    return 0


if __name__ == "__main__":
    sys.exit(main())
