"""The block walk and the reads of a node."""

import itertools

import pytest
from nodes import Node, document, heading, paragraph, sections
from quarnel.engines import markdown


def test_the_walk_reads_through_containers_only():
    first, second, inner, last = (paragraph(text) for text in ("1", "2", "3", "4"))
    h1, h2 = heading(1, "A"), heading(2, "B")
    quote = Node("block_quote", heading(1, "hidden"))
    tree = document(
        first, Node("section", h1, second, Node("section", h2, quote)), Node("ERROR", inner), last
    )
    assert list(markdown._blocks(tree)) == [first, h1, second, h2, quote, inner, last]
    assert list(markdown._blocks(document())) == []
    assert list(markdown._blocks(first)) == [first]


def test_the_walk_is_lazy_and_reads_no_block_inside():
    class Broken:
        type = "document"

        @property
        def children(self):
            raise ZeroDivisionError

    block = Broken()
    block.type = "list"
    walk = markdown._blocks(document(block, Broken()))
    assert next(walk) is block
    with pytest.raises(ZeroDivisionError):
        next(walk)


@pytest.mark.long
def test_any_depth_is_walked():
    leaf = node = heading(1, "[deep](x)")
    for _ in range(100_000):
        node = Node("section", node)
    assert list(markdown._blocks(node)) == [leaf]
    [symbol] = sections("# deep\n", root=node)
    [link] = markdown.extract_links(node, [symbol])
    assert (symbol.name, link.name) == ("deep", "x")


def test_children_may_be_any_sequence():
    class Children:
        def __len__(self):
            return 2

        def __getitem__(self, index):
            return (a, b)[index]

    a, b = paragraph("a"), paragraph("b")
    for children in ([a, b], (a, b), Children()):
        root = document()
        root.children = children
        assert list(markdown._blocks(root)) == [a, b]


def test_block_after():
    blocks = ["a", "b", "c"]
    assert [markdown._block_after(blocks, i) for i in (-1, 0, 1, 2, 3)] == ["a", "b", "c", None, None]
    assert markdown._block_after(blocks=tuple(blocks), index=0) == "b"


def test_text_decodes_as_the_interpreter_replaces():
    tails = (b"", b"\x80", b"\xbf\x80", b"\x9f\xbf\x80", b"\xa0\x80A", b"\x90\x80\x80", b"\x8f\xbf\xbf", b"A")
    for first in range(0x100):
        for tail in tails:
            for data in (bytes([first]) + tail, b"a" * 100 + bytes([first]) + tail):
                assert markdown._text(Node("inline", text=data)) == data.decode("utf-8", "replace"), data
    # The decoder looks at blocks of bytes from both ends, so the odd bytes stand at every place of a block.
    for before, after in itertools.product(range(72), (0, 1, 7, 8, 9, 31, 32, 40)):
        for odd in (b"\xff", b"\xe2\x82", "é".encode()):
            data = b"a" * before + odd + b"b" * after
            assert markdown._text(Node("inline", text=data)) == data.decode("utf-8", "replace"), data
