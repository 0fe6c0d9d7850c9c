"""Fuzzes both functions on whole documents: ``documents.py --seconds 60 --seed 1 --corpus path``.

Documents are put together from the corpus (from the samples below without one) and from pieces of syntax, parsed by the
real grammar, and read as a host reads them. What comes out is held against rules that any outline and any list of links
must keep, and against the rules on text done by ``re``. A document that breaks one is written to the folder ``--found``,
made as small as removing lines and characters makes it, and the exit status is 1.
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
# Between commas.
_PIECES = (
    "# ,## ,### ,###### ,#, #,\n===\n,\n---\n,---\n,+++\n,***\n,\n\n,\n,> ,- ,1. ,    ,\t,```\n,~~~\n,`,``,*,**,_,~~,[,]"
    ",(,),](,[[,]],|,|---|---|\n,![,<,>,<!--,-->,<div>\n,</div>\n,[a](b.md),[[P#q|r]],[r]: s.md\n,\\,%20,%C3,?,#x,title: "
    ",title = ,description: , 'a',\"a\",\u00e9,\u2028,\u00a0,\x85,\x0b,\x00,\r,\ufeff,\U0001f600,\ud800"
)
PIECES = _PIECES.split(",")


def mutated(rng: random.Random, known: list[str]) -> str:
    """A document of some lines of one or two that are known, with pieces and cuts at random places."""
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
    """The host's rules, which keep what they were asked and what they answered."""

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
    """Name, level, first row and summary of each heading, by the rules, through the tree's own nodes."""
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
    """Every claim is about one call of extract_sections alone, but for the headings themselves."""
    last_row = source.count("\n")
    headings = [heading for heading in headings_of(root, source) if heading.name]
    assert [(s.name, s.start_line) for s in symbols] == [(h.name, h.first_row + 1) for h in headings], "names"
    assert len({s.fqn for s in symbols}) == len(symbols), "FQNs are unique"
    lines = source.split("\n")
    asked, holders = [], []
    for symbol, heading in zip(symbols, headings, strict=True):
        assert (
            symbol.id is None
            and symbol.file_id == 7
            and symbol.kind == "section"
            and symbol.is_export is True
        )
        assert 1 <= symbol.start_line <= symbol.end_line <= last_row + 1, "a range lies in the file"
        assert symbol.end_line == symbol.start_line or lines[symbol.end_line - 1].strip(), "it ends with text"
        while holders and holders[-1][0] >= heading.level:
            holders.pop()
        holder = holders[-1][1] if holders else None
        # A heading without a name closes sections too, so the holder by level may have been closed before.
        if holder and holder.end_line >= symbol.start_line:
            assert symbol.end_line <= holder.end_line, "ranges nest"
            assert symbol.fqn.startswith(holder.fqn + "."), "FQNs nest"
        holders.append((heading.level, symbol))
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
    # The host gives sources with line feeds only; the grammar would start a heading behind a lone carriage return.
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
    """A part of the document that still fails, from which no line and no character can be taken."""
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
