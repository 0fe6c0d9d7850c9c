"""Hosts whose objects misbehave. Each gets a result or an exception, and the table says which."""

import array
import ctypes
import signal
import sys
from pathlib import Path

import pytest
import yaml
from nodes import (
    CountedNode,
    Counting,
    Node,
    document,
    heading,
    inline,
    load_module,
    paragraph,
    parse,
    sections,
)
from quarnel.engines import markdown
from quarnel.engines.references import ReferenceInfo
from quarnel.models import Symbol

FUZZ = Path(__file__).resolve().parents[1] / "fuzz"


def with_children(children, type="document"):
    node = Node(type)
    node.children = children
    return node


class Str(str):
    """A str whose Python methods raise: the engine must not call them."""

    def refuse(self, *args):
        raise ZeroDivisionError

    __len__ = __getitem__ = __iter__ = __add__ = __radd__ = encode = __bool__ = refuse


class Bytes(bytes):
    def refuse(self, *args):
        raise ZeroDivisionError

    __len__ = __getitem__ = __iter__ = decode = __bool__ = __bytes__ = refuse


class Liar(list):
    """A list that says that it is longer than it is."""

    def __len__(self):
        return super().__len__() + 5


class Acting:
    """A node that calls `act` whenever its type is read."""

    children, start_point, text = (), (0, 0), b"[a](b)"

    def __init__(self, act, kind="inline"):
        self.act, self.kind = act, kind

    @property
    def type(self):
        self.act()
        return self.kind


def growing_heading():
    children = [Node("atx_h2_marker")]
    # Each child but the last adds another one when it is read, so the list grows until the text comes.
    add = iter([Acting(lambda: children.append(next(add)), "other") for _ in range(50)] + [inline("late")])
    children.append(next(add))
    return document(with_children(children, "atx_heading"))


def without_memory(nodes):
    """Leave a list as the binding does when memory ends while it makes the nodes."""
    set_item = ctypes.pythonapi.PyList_SetItem
    set_item.argtypes = [ctypes.py_object, ctypes.c_ssize_t, ctypes.c_void_p]
    assert set_item(nodes, 0, None) == 0
    return nodes


def root_without_memory():
    root = parse("# A\n")
    without_memory(root.children)
    return root


def shrinking_root():
    children = [None, inline("[c](d)"), inline("[e](f)")]
    children[0] = Acting(children.clear)
    return with_children(children)


def names(root):
    return [symbol.name for symbol in sections("x\n" * 9, root=root)]


def links(root, records=()):
    return [(link.name, link.line, link.source_fqn) for link in markdown.extract_links(root, records)]


def text(data):
    return markdown._text(Node("inline", text=data))


def at(point):
    node = inline("[a](b)")
    node.start_point = point
    return [line for _, line, _ in links(document(node))]


class Section:
    def __init__(self, start=1, end=9, fqn="A"):
        self.start_line, self.end_line, self.fqn = start, end, fqn


class Emptying(Section):
    """A section record that empties its own list when its end is read."""

    def __init__(self, records):
        super().__init__()
        del self.end_line
        self.records = records

    def __getattr__(self, name):
        if name != "end_line":
            raise AttributeError(name)
        self.records.clear()
        return 9


def emptied():
    records = []
    records += [Emptying(records), Section(), Section()]
    return links(document(inline("[a](b)\n[c](d)")), records)


def added():
    records = []

    class Adding(Section):
        @property
        def fqn(self):
            records.append(Section(2, 9, "B"))
            return "A"

        @fqn.setter
        def fqn(self, value):
            pass

    records.append(Adding())
    return links(document(inline("[a](b)\n[c](d)")), records)


def asked(answer, tree=None, prefix="P"):
    tree = tree or document(heading(1, "A"), heading(2, "B"))
    return [symbol.fqn for symbol in sections("x\nx", prefix, tree, unique_fqn=answer)]


def called_again():
    tree = document(heading(1, "A"), paragraph("x"), heading(2, "B"), paragraph("[y](z)"))

    def cap_docstring(docstring):
        inner = sections("x\n" * 4, root=tree)
        return docstring + str(len(inner)) + str(len(markdown.extract_links(tree, inner)))

    return [symbol.docstring for symbol in sections("x\n" * 4, root=tree, cap_docstring=cap_docstring)]


def loaded(value):
    """The title when the host has replaced the loader by one that returns `value`."""
    own = yaml.safe_load
    yaml.safe_load = lambda body: value
    try:
        return markdown._front_matter(Node("minus_metadata", text=b"---\ntitle: x\n---"), "P").title
    finally:
        yaml.safe_load = own


class RefusingKey:
    def __hash__(self):
        return hash("title")

    def __eq__(self, other):
        raise ZeroDivisionError


HOSTS = [
    pytest.param(lambda: names(with_children(n for n in [heading(1, "A")])), TypeError, id="children a generator"),
    pytest.param(lambda: names(with_children({heading(1, "A")})), TypeError, id="children a set"),
    pytest.param(lambda: names(with_children({})), TypeError, id="children a dict"),
    pytest.param(lambda: names(with_children(None)), TypeError, id="no children"),
    pytest.param(lambda: names(with_children(7)), TypeError, id="children a number"),
    pytest.param(lambda: names(with_children("A")), AttributeError, id="children a str"),
    pytest.param(lambda: names(with_children(Liar([heading(1, "A")]))), IndexError, id="a list that lies"),
    pytest.param(lambda: names(with_children(without_memory([None]))), MemoryError, id="no memory for children"),
    pytest.param(lambda: names(root_without_memory()), MemoryError, id="no memory for the binding's children"),
    pytest.param(lambda: names(with_children(range(3))), AttributeError, id="children that are no nodes"),
    pytest.param(lambda: names(growing_heading()), ["late"], id="a list that grows"),
    pytest.param(lambda: links(shrinking_root()), [("b", 1, None), ("d", 1, None), ("f", 1, None)], id="list emptied"),
    pytest.param(lambda: names(document(Node(Str("atx_heading"), inline("A")))), ["A"], id="type a str subclass"),
    pytest.param(lambda: names(document(Node("\ud800"))), [], id="type a lone surrogate"),
    pytest.param(lambda: names(document(Node(b"atx_heading"))), TypeError, id="type bytes"),
    pytest.param(lambda: names(object()), AttributeError, id="no node"),
    pytest.param(lambda: text(Bytes(b"a\xff")), "a\ufffd", id="text a bytes subclass"),
    pytest.param(lambda: text(bytearray(b"ab")), "ab", id="text a bytearray"),
    pytest.param(lambda: text(memoryview(b"abcd")[::2]), "ac", id="text a memoryview with gaps"),
    pytest.param(lambda: text(array.array("H", [0x6261])), "ab", id="text an array"),
    pytest.param(lambda: text("ab"), TypeError, id="text a str"),
    pytest.param(lambda: text([97]), TypeError, id="text a list"),
    pytest.param(lambda: text(7), TypeError, id="text a number"),
    pytest.param(lambda: text(0) + text(None), "", id="text nothing"),
    pytest.param(lambda: at([3]), [4], id="point a list"),
    pytest.param(lambda: at(range(5, 9)), [6], id="point a range"),
    pytest.param(lambda: at((True, None)), [2], id="row a bool"),
    pytest.param(lambda: at((-7, 0)), [-6], id="row negative"),
    pytest.param(lambda: at((2**62, 0)), [2**62 + 1], id="row huge"),
    pytest.param(lambda: at((2**62 + 1, 0)), OverflowError, id="row too huge"),
    pytest.param(lambda: at((-(10**40), 0)), OverflowError, id="row too negative"),
    pytest.param(lambda: at((2.0, 0)), TypeError, id="row a float"),
    pytest.param(lambda: at(()), IndexError, id="point empty"),
    pytest.param(lambda: at({0: 1}), TypeError, id="point a dict"),
    pytest.param(lambda: at(None), TypeError, id="no point"),
    pytest.param(lambda: asked(lambda fqn: None), TypeError, id="FQN none"),
    pytest.param(lambda: asked(lambda fqn: fqn.encode()), TypeError, id="FQN bytes"),
    pytest.param(lambda: asked(Str), ["P.A", "P.A.B"], id="FQN a str subclass"),
    pytest.param(lambda: asked(str, prefix=Str("P")), ["P.A", "P.A.B"], id="prefix a str subclass"),
    pytest.param(lambda: asked(lambda fqn: fqn + "\ud800"), ["P.A\ud800", "P.A\ud800.B\ud800"], id="lone surrogates"),
    pytest.param(lambda: names(document(Node("atx_heading", Node("inline", text=b"\xed\xa0\x80")))), ["\ufffd" * 3],
                 id="name a surrogate in bytes"),
    pytest.param(called_again, ["x21", "y21"], id="cap_docstring calls again"),
    pytest.param(emptied, [("b", 1, "A"), ("d", 2, "A")], id="records emptied while read"),
    pytest.param(added, [("b", 1, "A"), ("d", 2, "B")], id="records added while read"),
    pytest.param(lambda: links(document(inline("[a](b)")), {1: Section()}), TypeError, id="records a dict"),
    pytest.param(lambda: links(document(inline("a")), None), [], id="no records and no links"),
    pytest.param(lambda: links(document(inline("[a](b)")), [Section(1.0)]), TypeError, id="start a float"),
    pytest.param(lambda: links(document(inline("[a](b)")), [Section(-(10**30), 10**30, 5)]), [("b", 1, 5)],
                 id="sections without end"),
    pytest.param(lambda: loaded({RefusingKey(): 1}), ZeroDivisionError, id="keys that compare by raising"),
    pytest.param(lambda: loaded({"title": Str("a *b*")}), "a b", id="title a str subclass"),
    pytest.param(lambda: loaded({"title": "a\ud800"}), "a\ud800", id="title with a surrogate"),
    pytest.param(lambda: loaded([("title", "a")]), None, id="front matter a list"),
]  # fmt: skip


@pytest.mark.parametrize(("host", "expected"), HOSTS)
def test_what_comes_of_a_hostile_host(host, expected):
    if isinstance(expected, type) and issubclass(expected, Exception):
        with pytest.raises(expected):
            host()
    else:
        assert host() == expected


def lists_of(node):
    """The lists of children of a node of the binding and of all nodes below it. A node always gives the same list."""
    return [node.children, *(found for child in node.children for found in lists_of(child))]


# What is done to each list after the walks have given "1", and what they then still give of "1", "2" and "3".
CHANGES = {
    "cleared": (list.clear, [], []),
    "cut short": (lambda children: children.__delitem__(slice(2, None)), ["2"], ["2"]),
    "grown": (lambda children: children.append(paragraph("[new](new)")), ["2", "3"], ["2", "new", "3", "new"]),
    "replaced": (lambda children: children.__setitem__(slice(None), [paragraph("[other](other)")] * len(children)),
                 ["other", "other"], ["other", "other"]),
}  # fmt: skip


@pytest.mark.parametrize(("change", "blocks", "targets"), CHANGES.values(), ids=CHANGES)
def test_lists_of_the_bindings_nodes_that_change_between_items(change, blocks, targets):
    def rest(walk):
        root = parse("[1](1)\n\n[2](2)\n\n[3](3)\n")
        items = walk(root)
        next(items)
        for children in lists_of(root):
            change(children)
        return list(items)

    texts = [markdown._text(block) for block in rest(markdown._blocks)]
    assert [target for text in texts for _, target, _ in markdown._inline_targets(text, 1)] == blocks
    assert [target for _, target, _ in rest(markdown._link_targets)] == targets


@pytest.mark.long
@pytest.mark.parametrize("change", [change for change, _, _ in CHANGES.values()], ids=CHANGES)
def test_lists_of_the_bindings_nodes_that_change_during_a_call(change):
    """The lists change at every read of a stand-in among their nodes, and at every call of the host."""

    def made_by(counting):
        root = parse("# 1\n\n[1](1)\n\n- [1](1)\n\n## 1\n\n> [1](1)\n\n[1]: 1\n")
        lists = lists_of(root)
        for children in lists:
            for i in range(len(children), -1, -1):
                children.insert(i, CountedNode(paragraph("[1](1)"), counting))
        counting.act = lambda: [change(children) for children in lists]
        module = load_module(counting.counted(Symbol), counting.counted(ReferenceInfo))
        rule = counting.counted(str)
        symbols = module.extract_sections(root, "x\n" * 9, "P", 7, unique_fqn=rule, cap_docstring=rule)
        records = [CountedNode(Section(), counting), CountedNode(Section(2, 5, "B"), counting)]
        return symbols, module.extract_links(root, records)

    counting = Counting()
    made_by(counting)
    assert counting.uses > 100
    for k in range(1, counting.uses + 1):
        symbols, links = made_by(Counting(k))
        assert {symbol.name for symbol in symbols} <= {"1"}
        assert {link.name for link in links} <= {"1", "new", "other"}


@pytest.mark.skipif(not hasattr(signal, "setitimer"), reason="needs timers")
@pytest.mark.parametrize("copies", [1, 100])
@pytest.mark.parametrize("walk", [names, links, markdown._blocks, markdown._link_targets])
def test_an_endless_tree_can_be_interrupted(walk, copies):
    root = document()
    root.children += [root] * copies

    def interrupt(*_):
        raise KeyboardInterrupt

    before = signal.signal(signal.SIGALRM, interrupt)
    try:
        with pytest.raises(KeyboardInterrupt):
            signal.setitimer(signal.ITIMER_REAL, 0.02)
            list(walk(root))
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0)
        signal.signal(signal.SIGALRM, before)


def test_iterators_asked_while_they_work():
    found = []

    def advance():
        with pytest.raises(ValueError, match="already executing"):
            next(walk)
        found.append("refused")

    walk = markdown._blocks(document(Acting(advance), paragraph("after")))
    assert [node.text for node in walk] == [b"[a](b)", b"after"]
    walk = markdown._link_targets(document(Acting(advance), inline("[c](d)")))
    assert [target for _, target, _ in walk] == ["b", "d"]
    assert found == ["refused"] * 2
    broken = markdown._link_targets(document(Node(7), inline("[c](d)")))
    with pytest.raises(TypeError):
        next(broken)
    assert list(broken) == []  # like a generator that has raised


def test_modules_deleted_from_the_interpreter(monkeypatch):
    tree = document(Node("minus_metadata", text=b"---\ntitle: !!str T\n---"), inline("[a](b%20c)"))
    before = sections("x\n", root=tree), links(tree)
    gone = ("quarnel", "yaml", "re", "logging", "json", "urllib", "tree_sitter", "collections")
    for name in [name for name in sys.modules if name.split(".")[0] in gone]:
        if not name.startswith("yaml."):  # PyYAML imports these itself
            monkeypatch.delitem(sys.modules, name)
    assert (sections("x\n", root=tree), links(tree)) == before
    monkeypatch.setattr(markdown, "_CONTAINERS", {}, raising=True)
    monkeypatch.setattr(markdown, "_text", None)
    assert (sections("x\n", root=tree), links(tree)) == before


def test_inputs_that_fuzzing_started_from_and_found(monkeypatch, capsys):
    monkeypatch.syspath_prepend(str(FUZZ))
    import documents
    import replay

    assert replay.main([str(FUZZ / "seeds" / target) for target in replay.TARGETS]) == 0, (
        capsys.readouterr().out
    )
    for path in sorted((FUZZ / "seeds" / "documents").iterdir()):
        assert documents.failure(path.read_bytes().decode("utf-8", "replace")) is None, path.name
