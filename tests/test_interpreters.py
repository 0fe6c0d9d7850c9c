"""Threads, sub-interpreters, and a module that is loaded, dropped and loaded again."""

import gc
import importlib.util
import json
import sys
import threading
import weakref
from pathlib import Path

import pytest
from nodes import Node, document, heading, inline, load_module, paragraph, parse, sections
from quarnel.engines import markdown

SOURCES = [
    f"---\ntitle: T {i}\ndescription: !!str D\n---\n\ntext [a](b{i}.md)\n\n## B *{i}*\n\n- [c](d%20e.md)\n\n"
    f"### C `{i}`\n\n[[P#q]] [r](s) [r](s)\n\n[t]: u.md\n"
    for i in range(4)
]


def answer(root, source):
    symbols = sections(source, root=root)
    return symbols, markdown.extract_links(root, symbols)


@pytest.mark.long
@pytest.mark.parametrize("shared", [True, False], ids=["shared trees", "own trees"])
def test_eight_threads_find_what_one_finds(shared):
    trees = [parse(source) for source in SOURCES]
    expected = [answer(*pair) for pair in zip(trees, SOURCES, strict=True)]
    wrong, start = [], threading.Barrier(8)

    def work():
        own = trees if shared else [parse(source) for source in SOURCES]
        start.wait()
        for _ in range(40):
            for tree, source, right in zip(own, SOURCES, expected, strict=True):
                if answer(tree, source) != right:
                    wrong.append(source)

    interval = sys.getswitchinterval()
    sys.setswitchinterval(1e-5)
    try:
        threads = [threading.Thread(target=work) for _ in range(8)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
    finally:
        sys.setswitchinterval(interval)
    assert not wrong


@pytest.mark.long
def test_a_module_is_loaded_and_dropped_a_thousand_times():
    tree = document(Node("minus_metadata", text=b"---\ntitle: T\n---"), heading(2, "A"), inline("[a](b)"))

    def use():
        module = load_module()
        assert module is not markdown and module._blocks.__self__ is module
        module.extract_sections(tree, "x", "P", 1, unique_fqn=str, cap_docstring=str)
        module.extract_links(tree, [])
        next(module._blocks(tree))
        module.itself = module
        return weakref.ref(module)

    held = [tree, tree.children[0], type(tree), str, sys.modules["yaml"], markdown.Symbol, markdown.logger]
    grown = []
    for _ in range(3):  # the first rounds fill the interpreter's own caches
        gc.collect()
        counts, blocks = [sys.getrefcount(thing) for thing in held], sys.getallocatedblocks()
        last = [use() for _ in range(1000)][-1]
        gc.collect()
        grown.append(sys.getallocatedblocks() - blocks)
    assert last() is None
    assert [sys.getrefcount(thing) for thing in held] == counts
    assert min(grown) < 100, f"{grown} blocks by 1000 modules each"


def test_a_function_and_an_iterator_outlive_their_module():
    module = load_module()
    plain_text, walk = module._plain_text, module._blocks(document(paragraph("a"), paragraph("b")))
    vars(module).clear()
    del module
    gc.collect()
    assert plain_text("*a*") == "a"
    assert [node.text for node in walk] == [b"a", b"b"]


PROGRAM = Path(__file__).parent / "programs" / "sub_interpreter.py"


def run_in_sub_interpreter(script):
    for name in ("_interpreters", "_xxsubinterpreters"):
        if not importlib.util.find_spec(name):
            continue
        interpreters = importlib.import_module(name)
        # A legacy interpreter shares the interpreter lock. Most extension modules need that, the grammar's binding too.
        own = (
            interpreters.create("legacy") if name == "_interpreters" else interpreters.create(isolated=False)
        )
        try:
            failed = interpreters.run_string(own, script)
            assert not failed, failed
        finally:
            interpreters.destroy(own)
        return
    pytest.skip("no sub-interpreters in this build")


def test_sub_interpreters_one_after_the_other(tmp_path):
    out = tmp_path / "out"
    script = f"import sys\nsys.path[:], sys.argv = {sys.path!r}, ['', {str(out)!r}]\n{PROGRAM.read_text()}"
    for _ in range(3):
        run_in_sub_interpreter(script)
    assert [json.loads(line) for line in out.read_text().splitlines()] == [["P.T", "b c", "P.T"]] * 3
    assert sections(SOURCES[0])[0].name == "T 0"  # the main interpreter still works
