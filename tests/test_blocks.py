"""The block walk and the reads of a node."""

import pytest
from nodes import Node, document, heading, inline, paragraph, parse
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
    leaf = node = paragraph("deep")
    for _ in range(100_000):
        node = Node("section", node)
    assert list(markdown._blocks(node)) == [leaf]


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


@pytest.mark.parametrize(
    "data",
    [b"", b"plain", "é\u2028\U0001f600".encode(), b"A\xffB", b"\xe2\x82A", b"\xed\xa0\x80", b"\xf0\x90\x80", b"\xc0\xaf",
     b"\xf4\x90\x80\x80", b"a" * 100 + b"\xe2", b"\xe0\x80\x80x"],
)  # fmt: skip
def test_text_decodes_as_the_interpreter_replaces(data):
    assert markdown._text(Node("inline", text=data)) == data.decode("utf-8", "replace")
    assert markdown._text(Node("inline", text=bytearray(data))) == data.decode("utf-8", "replace")


def test_text_of_every_byte_pair_decodes():
    for first in range(0x100):
        for tail in (
            b"",
            b"\x80",
            b"\xbf\x80",
            b"\x9f\xbf\x80",
            b"\xa0\x80A",
            b"\x90\x80\x80",
            b"\x8f\xbf\xbf",
            b"A",
        ):
            data = bytes([first]) + tail
            assert markdown._text(Node("inline", text=data)) == data.decode("utf-8", "replace"), data


def test_no_text_is_the_empty_string():
    assert markdown._text(Node("inline", text=None)) == ""


@pytest.mark.parametrize(
    ("node", "error"),
    [
        (Node(7), TypeError),
        (object(), AttributeError),
        (Node("inline", text="str"), TypeError),
        (Node("inline", text=7), TypeError),
    ],
)
def test_odd_nodes_raise(node, error):
    with pytest.raises(error):
        list(markdown._blocks(node))
        markdown._text(node)


@pytest.mark.parametrize("children", [7, None, (n for n in ()), {}, {1}])
def test_children_that_are_no_sequence_raise(children):
    root = document()
    root.children = children
    with pytest.raises(TypeError):
        list(markdown._blocks(root))


def test_real_blocks():
    source = "---\na: b\n---\n\n# H\n\n- x\n\n> # quoted\n\n```\n# code\n```\n\nS\n=\n"
    assert [node.type for node in markdown._blocks(parse(source))] == [
        "minus_metadata", "atx_heading", "list", "block_quote", "fenced_code_block", "setext_heading",
    ]  # fmt: skip
    assert markdown._text(inline("# é")) == "# é"
