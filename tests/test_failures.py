"""Failures: every use of a node, a record, a callable and a record type fails in turn, and so does every allocation."""

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
from quarnel.engines.references import ReferenceInfo
from quarnel.models import Symbol

FUZZ = Path(__file__).resolve().parents[1] / "fuzz"
PROGRAM = Path(__file__).resolve().parent / "programs" / "failing_allocations.py"
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
    """A copy of a tree in which the values of each attribute count their uses."""
    children = [wrapped(child, counting) for child in node.children]
    return SimpleNamespace(
        type=node.type, children=CountedSequence(children, counting), text=CountedBytes(node.text, counting),
        start_point=CountedSequence([CountedNumber(node.start_point[0], counting)], counting),
    )  # fmt: skip


def extract_sections(root, rule=str, module=markdown):
    return module.extract_sections(root, SOURCE, "Pé", 7, unique_fqn=rule, cap_docstring=rule)


TREE = tree()
COUNTING = Counting()
OTHER = load_module(COUNTING.counted(Symbol), COUNTING.counted(ReferenceInfo))
CALLS = {
    "nodes, sections": lambda: extract_sections(CountedNode(TREE, COUNTING)),
    "nodes, links": lambda: markdown.extract_links(CountedNode(TREE, COUNTING), RECORDS),
    "nodes, blocks": lambda: list(markdown._blocks(CountedNode(TREE, COUNTING))),
    "nodes, targets": lambda: list(markdown._link_targets(CountedNode(TREE, COUNTING))),
    "parts of nodes, sections": lambda: extract_sections(wrapped(TREE, COUNTING)),
    "parts of nodes, links": lambda: markdown.extract_links(wrapped(TREE, COUNTING), RECORDS),
    "callables": lambda: extract_sections(TREE, COUNTING.counted(str)),
    "records": lambda: markdown.extract_links(TREE, [CountedNode(record, COUNTING) for record in RECORDS]),
    "sequence of records": lambda: markdown.extract_links(TREE, CountedSequence(RECORDS, COUNTING)),
    "symbol type": lambda: extract_sections(TREE, module=OTHER),
    "reference type": lambda: OTHER.extract_links(TREE, RECORDS),
}


def fail_at_every_use(call):
    """Lets each use of a call fail in turn, until the call succeeds; returns how many uses that takes."""
    for k in itertools.count(1):
        COUNTING.uses, COUNTING.act_at = 0, k
        try:
            call()
        except Failure as failure:
            assert failure.args == (k,) and failure.__context__ is failure.__cause__ is None
        else:
            assert COUNTING.uses == k - 1, "an exception was lost"
            return k - 1


@pytest.mark.long
@pytest.mark.parametrize("name", CALLS)
def test_what_fails_at_any_use_comes_out_and_nothing_is_lost(name):
    call = CALLS[name]
    uses = fail_at_every_use(call)
    assert uses >= 4
    held = [
        TREE, *TREE.children, TREE.children[0].text, SOURCE, RECORDS, *RECORDS, Failure, CountedNode, str, None,
    ]  # fmt: skip
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


def run_in_own_process(which, **environment):
    paths = os.pathsep.join([str(PROGRAM.parents[1]), os.environ.get("PYTHONPATH", "")])
    run = subprocess.run(
        [sys.executable, PROGRAM, which],
        env=os.environ | {"PYTHONPATH": paths} | environment, capture_output=True, text=True,
    )  # fmt: skip
    assert run.returncode == 0, f"{run.returncode}: {run.stdout[-500:]}\n{run.stderr[-3000:]}"
    return int(run.stdout)


@pytest.mark.long
def test_every_allocation_of_the_interpreter_may_fail():
    pytest.importorskip("_testcapi")
    assert run_in_own_process("interpreter") > 500


@pytest.mark.long
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
    preloaded = f"{library} {os.environ.get('LD_PRELOAD', '')}".strip()
    options = os.environ.get("ASAN_OPTIONS", "") + ":verify_asan_link_order=0"
    assert run_in_own_process("core", LD_PRELOAD=preloaded, ASAN_OPTIONS=options) > 50
