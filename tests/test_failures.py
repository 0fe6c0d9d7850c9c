"""Failure at every step: of a node, a record, a callable, a record type, and of every allocation."""

import gc
import itertools
import os
import shutil
import subprocess
import sys
from pathlib import Path
from types import SimpleNamespace

import pytest
from nodes import CountedNode, Counting, Failure, Node, document, heading, inline, load_module, paragraph
from quarnel.engines import markdown

FUZZ = Path(__file__).resolve().parents[1] / "fuzz"
PARAGRAPH = "a `b` [c](d%20e.md#f) *g* [[H#i|j]] [k](l) [k](l)"
MANY_LINKS = " ".join(f"[a]({i % 12})" for i in range(30))
SOURCE = "\n".join("abcdefghij")
NATIVE = b'---\ntitle: "A \\u00e9"\ndescription: >\n  b\n  c\n---\n'
LOADED = b"---\ntitle: &a !!str A\ndescription: 123456789012345678901234567890\nx: {<<: {y: z}}\n---\n"
BROKEN = b"---\ntitle: [\n---\n"
TOML = b"+++\ntitle = \"A \\u00e9\"\ndescription = 'b'\n+++\n"


def tree(front=NATIVE):
    definition = Node(
        "link_reference_definition", Node("link_label"), Node("link_destination", text=b"<m n>"), row=5
    )
    table = Node("pipe_table", Node("pipe_table_row", Node("pipe_table_cell", text=b"[t](u%C3)", row=6)))
    return document(
        Node("plus_metadata" if front == TOML else "minus_metadata", text=front),
        paragraph("after *it*", 1),
        Node("section", heading(2, "B ##", 2), paragraph(PARAGRAPH, 3), heading(3, "``` C ` `` *d* \u00e9", 4)),
        Node("list", Node("list_item", paragraph(MANY_LINKS, 8))),
        Node("setext_heading", paragraph("E\n<!-- f -->", 5), Node("setext_h2_underline"), row=5),
        definition, table, inline("[back](v)", 1), inline(MANY_LINKS, 2),
    )  # fmt: skip


RECORDS = [
    SimpleNamespace(start_line=1, end_line=9, fqn="A"),
    SimpleNamespace(start_line=3, end_line=5, fqn="B"),
]


class CountedSequence:
    def __init__(self, items, counting):
        self.items, self.counting = items, counting

    def __len__(self):
        self.counting.use()
        return len(self.items)

    def __getitem__(self, index):
        self.counting.use()
        return self.items[index]


class CountedBytes(bytearray):
    def __init__(self, data, counting):
        super().__init__(data)
        self.counting = counting

    def __len__(self):
        self.counting.use()
        return 1


class CountedNumber:
    def __init__(self, value, counting):
        self.value, self.counting = value, counting

    def __index__(self):
        self.counting.use()
        return self.value


def wrapped(node, counting):
    """A node whose every part counts its uses too."""
    children = [wrapped(child, counting) for child in node.children]
    return SimpleNamespace(
        type=node.type, children=CountedSequence(children, counting), text=CountedBytes(node.text, counting),
        start_point=CountedSequence([CountedNumber(node.start_point[0], counting)], counting),
    )  # fmt: skip


def counted(counting, answer=lambda text: text):
    def call(text):
        counting.use()
        return answer(text)

    return call


def extract_sections(root, counting=None, module=markdown):
    rules = {"unique_fqn": counted(counting or Counting()), "cap_docstring": counted(counting or Counting())}
    return module.extract_sections(root, SOURCE, "P", 7, **rules)


def counting_type(type):
    def make(*args, **fields):
        counting.use()
        return type(*args, **fields)

    return make


TREE = tree()
counting = Counting()
OTHER = load_module(counting_type(markdown.Symbol), counting_type(markdown.ReferenceInfo))


def shared(call):
    """A call of the other module, whose record types share one counting."""

    def run(own):
        counting.uses, counting.fail_at = 0, own.fail_at
        try:
            return call(own)
        finally:
            own.uses = counting.uses

    return run


CALLS = {
    "nodes, sections": lambda c: extract_sections(CountedNode(TREE, c)),
    "nodes, links": lambda c: markdown.extract_links(CountedNode(TREE, c), RECORDS),
    "nodes, blocks": lambda c: list(markdown._blocks(CountedNode(TREE, c))),
    "nodes, targets": lambda c: list(markdown._link_targets(CountedNode(TREE, c))),
    "parts of nodes, sections": lambda c: extract_sections(wrapped(TREE, c)),
    "parts of nodes, links": lambda c: markdown.extract_links(wrapped(TREE, c), RECORDS),
    "callables": lambda c: extract_sections(TREE, c),
    "records": lambda c: markdown.extract_links(TREE, [CountedNode(record, c) for record in RECORDS]),
    "sequence of records": lambda c: markdown.extract_links(TREE, CountedSequence(RECORDS, c)),
    "symbol type": shared(lambda c: extract_sections(TREE, module=OTHER)),
    "reference type": shared(lambda c: OTHER.extract_links(TREE, RECORDS)),
}


def fail_at_every_use(call):
    """The number of uses that a successful call makes, after one failing call for each of them."""
    for k in itertools.count(1):
        counting = Counting(k)
        try:
            call(counting)
        except Failure as failure:
            assert failure.args == (k,) and failure.__context__ is failure.__cause__ is None
        else:
            assert counting.uses == k - 1, "an exception was lost"
            return k - 1


@pytest.mark.parametrize("name", CALLS)
def test_what_fails_at_any_use_comes_out_and_nothing_is_lost(name):
    call = CALLS[name]
    uses = fail_at_every_use(call)
    assert uses >= 4
    held = [
        TREE,
        *TREE.children,
        TREE.children[0].text,
        SOURCE,
        RECORDS,
        *RECORDS,
        Failure,
        CountedNode,
        str,
        None,
    ]
    repetitions = 5
    for _ in range(2):  # the first round fills the interpreter's own caches
        gc.collect()
        counts, blocks = [sys.getrefcount(thing) for thing in held], sys.getallocatedblocks()
        for _ in range(repetitions):
            fail_at_every_use(call)
        gc.collect()
        grown = sys.getallocatedblocks() - blocks
    changes = [sys.getrefcount(thing) - count for thing, count in zip(held, counts, strict=True)]
    assert max(map(abs, changes)) < uses, changes
    assert grown < repetitions * uses / 4, f"{grown} blocks by {repetitions * uses} failing calls"


# What the two tests below run in a process of its own: a crash ends that process, not this one.
EVERY_CALL = """
import importlib.util, sys
from types import SimpleNamespace
from test_failures import *
from nodes import Counting

trees = {name: tree(front) for name, front in {"native": NATIVE, "loaded": LOADED, "broken": BROKEN, "toml": TOML}.items()}
origin = importlib.util.find_spec("quarnel.engines.markdown")

def load():
    module = importlib.util.module_from_spec(origin)
    origin.loader.exec_module(module)

def rule(text):
    return text

calls = {"links": lambda: markdown.extract_links(trees["native"], RECORDS)}
if sys.version_info < (3, 12):  # the interpreter then forgets to say that it lacks memory for a type
    calls["load"] = load
for name, root in trees.items():
    calls["sections, " + name] = lambda root=root: markdown.extract_sections(
        root, SOURCE, "P\\u00e9", 7, unique_fqn=rule, cap_docstring=rule)
calls["paths"] = lambda: markdown._heading_path(["\\u00e9" * 90] * 5)
calls["targets"] = lambda: list(markdown._inline_targets(PARAGRAPH + "``[", 1)) + list(markdown._link_targets(TREE))
calls["ends"] = lambda: markdown._section_ends([markdown._Heading("a", 1, i, None) for i in range(9)], ["a"] * 9)
calls["unquote"] = lambda: markdown.unquote("%C3%A9\\u00e9" * 9)
calls["yaml fields"] = lambda: markdown._yaml_fields("title: 1.5\\ndescription: " + "9" * 600, "P")
for call in calls.values():
    call()
without_libraries = calls.keys() - {"load", "sections, loaded", "sections, broken"}
"""


def run_in_own_process(script, **environment):
    paths = os.pathsep.join([str(Path(__file__).parent), os.environ.get("PYTHONPATH", "")])
    run = subprocess.run(
        [sys.executable, "-c", EVERY_CALL + script],
        env=os.environ | {"PYTHONPATH": paths} | environment, capture_output=True, text=True,
    )  # fmt: skip
    assert run.returncode == 0, f"{run.returncode}: {run.stdout[-500:]}\n{run.stderr[-3000:]}"
    return int(run.stdout)


def test_every_allocation_of_the_interpreter_may_fail():
    pytest.importorskip("_testcapi")
    script = """
import collections
from _testcapi import remove_mem_hooks, set_nomemory

# The interpreter's own compiler, which namedtuple calls, does not survive a lack of memory.
types = {fields[0]: collections.namedtuple("Type", fields) for fields in (markdown._Heading._fields, markdown._FrontMatter._fields)}
collections.namedtuple = lambda name, fields: types[fields[0]]

def fails(call, begin, end):
    set_nomemory(begin, end)
    try:
        call()
    except MemoryError:
        return True
    finally:
        remove_mem_hooks()
    return False

failed = 0
for name, call in calls.items():
    k = in_a_row = 0
    while in_a_row < 20:  # a few allocations may fail without harm
        k += 1
        in_a_row = 0 if fails(call, k, k + 1) else in_a_row + 1
        failed += in_a_row == 0
    if name in without_libraries:
        begin = 1
        while fails(call, begin, 0):  # this one and all that follow
            begin += 1
        blocks = sys.getallocatedblocks()
        for k in range(1, begin):
            fails(call, k, k + 1)
        assert sys.getallocatedblocks() - blocks < begin / 4, (name, "lost")
    call()
print(failed)
"""
    assert run_in_own_process(script) > 500


def test_every_allocation_of_the_core_may_fail(tmp_path):
    compiler = shutil.which(os.environ.get("CXX", "c++"))
    if not compiler or not sys.platform.startswith("linux"):
        pytest.skip("needs a C++ compiler and LD_PRELOAD")
    if b"_Znw" not in Path(markdown.__file__).read_bytes():
        pytest.skip("operator new lies inside the module, where none can take its place")
    library = tmp_path / "failing_new.so"
    subprocess.run(
        [compiler, "-std=c++20", "-O1", "-shared", "-fPIC", FUZZ / "failing_new.cpp", "-o", library],
        env={key: value for key, value in os.environ.items() if key != "LD_PRELOAD"}, check=True,
    )  # fmt: skip
    script = """
import ctypes
core = ctypes.CDLL(None)
failed = 0
for name, call in calls.items():
    for k in range(1, 100_000):
        live = core.live_new_calls()
        core.fail_new_at(k)
        try:
            call()
        except MemoryError:
            failed += 1
        left = core.new_calls_left()
        core.fail_new_at(0)
        assert core.live_new_calls() == live, (name, k, "lost")
        if left:
            break
        assert sys.exc_info()[0] is None
print(failed)
"""
    preloaded = f"{library} {os.environ.get('LD_PRELOAD', '')}".strip()
    options = os.environ.get("ASAN_OPTIONS", "") + ":verify_asan_link_order=0"
    assert run_in_own_process(script, LD_PRELOAD=preloaded, ASAN_OPTIONS=options) > 50
