"""Reads one table of inputs that make a reader slow: `shapes_in_time.py TABLE`.

The name of each input is printed before the input is read. A signal ends the process when one input takes more
processor time than the limit. The limit is hundreds of times what linear time needs, so only a wrong order of growth reaches it.
"""

import signal
import sys
from collections import deque
from functools import partial
from pathlib import Path
from types import SimpleNamespace

import yaml
from nodes import Node, document, heading, inline, sections
from quarnel.engines import markdown

sys.path.append(str(Path(__file__).resolve().parents[1] / "bench"))
import shapes
from yaml_shapes import YAML

SECONDS = 5
CHARACTERS = 1_000_000
ROWS = 200_000


def all_targets(text):
    deque(markdown._inline_targets(text, 1), maxlen=0)


def read_document(*blocks, source=""):
    root = document(*blocks)
    markdown.extract_links(root, sections(source, root=root))


def in_blocks(text):
    summary = Node("paragraph", text=text.encode())
    read_document(heading(1, text), summary, Node("setext_heading", summary), source=text)


def in_front_matter(kind, fence, text):
    read_document(Node(kind, text=f"{fence}\n{text}\n{fence}\n".encode()))


def name_of(text):
    markdown._heading(heading(1, text), None)


def definition(text):
    read_document(Node("link_reference_definition", Node("link_destination", text=text.encode())))


def texts(shapes, *readers, length=CHARACTERS):
    """Each shape with each reader: the names of both, and the call that reads the shape."""
    for name, shape in shapes.items():
        text = shape(length)
        for read in readers:
            yield f"{getattr(read, 'func', read).__name__}: {name}", partial(read, text)


def yaml_by_recogniser():
    def refuse(*_):
        raise yaml.YAMLError

    # PyYAML is kept out: the time that it takes for so long a body is its own.
    yaml.load = yaml.parse = yaml.compose = refuse
    yield from texts(YAML, partial(markdown._yaml_fields, prefix=""))
    yield from texts(YAML, partial(in_front_matter, "minus_metadata", "---"), length=60_000)


def yaml_by_loader():
    # In some of these, each line doubles what its aliases name. Longer ones are refused because they nest too deep.
    aliases = {name: shape for name, shape in YAML.items() if "*" in shape(1000)}
    yield from texts(aliases, partial(markdown._yaml_fields, prefix=""), length=1000)


def links_and_sections():
    many = range(ROWS // 2)
    below = inline("[a](b)\n" * len(many), len(many))
    each = [SimpleNamespace(start_line=i, end_line=i, fqn="") for i in many]
    nested = [SimpleNamespace(start_line=i, end_line=2 * len(many) - i, fqn="") for i in many]
    for name, records in {"each ended": each, "each in the one before": nested}.items():
        yield f"links below sections, {name}", partial(markdown.extract_links, document(below), records)
    one_line = document(inline(" ".join(f"[a]({i})" for i in many)))
    yield "distinct links on a line", partial(markdown.extract_links, one_line, [])
    backwards = document(*(inline("[a](b)", -row) for row in range(ROWS // 5)))
    yield "rows that go backwards", partial(markdown.extract_links, backwards, [])


def rows_of_text():
    markers = [Node(f"atx_h{level}_marker") for level in range(1, 7)]
    headings = document(*(Node("atx_heading", markers[i % 6], row=3 * i) for i in range(ROWS // 2)))
    for line in ("\n", "a\n", "\U0001f600\n"):
        yield f"headings among lines of {line!a}", partial(sections, line * 2 * ROWS, root=headings)
    for end in (ROWS, 2 * ROWS):
        there_and_back = document(*(Node("atx_heading", row=i % 2 * end) for i in range(ROWS)))
        yield f"rows there and back, {end}", partial(sections, "\n" * ROWS, root=there_and_back)
    yield "names of a path", partial(markdown._heading_path, ["a"] * ROWS)


def bytes_of_text():
    for data in (b"\xff", b"a\xff", b"\xe2\x82", b"\xf0\x9f\x98\x80", b"a" * 31 + b"\xc3\xa9"):
        node = Node("inline", text=data * (CHARACTERS // len(data)))
        yield f"_text: {data}", partial(markdown._text, node)
    for text in ("%", "%ff", "%41é", "é%c3"):
        yield f"unquote: {text}", partial(markdown.unquote, text * (CHARACTERS // len(text)))


TABLES = {
    "inline": lambda: texts(shapes.INLINE, markdown._plain_text, markdown._unmarked, in_blocks),
    "openers": lambda: texts(shapes.OPENERS, markdown._unmarked, all_targets, length=4 * CHARACTERS),
    "links": lambda: texts(shapes.LINKS, all_targets, in_blocks, definition),
    "code spans": lambda: texts(shapes.CODE_SPANS, all_targets, in_blocks, length=5 * CHARACTERS),
    "closing sequences": lambda: texts(shapes.CLOSING_SEQUENCES, name_of, in_blocks),
    "TOML": lambda: texts(
        shapes.TOML, markdown._toml_fields, partial(in_front_matter, "plus_metadata", "+++")
    ),
    "YAML": yaml_by_recogniser,
    "YAML aliases": yaml_by_loader,
    "links and sections": links_and_sections,
    "rows of text": rows_of_text,
    "bytes of text": bytes_of_text,
}

if __name__ == "__main__":
    for name, read in TABLES[sys.argv[1]]():
        print(name, flush=True)
        signal.setitimer(signal.ITIMER_PROF, SECONDS)
        read()
        signal.setitimer(signal.ITIMER_PROF, 0)
