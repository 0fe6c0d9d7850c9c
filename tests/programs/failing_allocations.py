"""Lets each allocation of each call fail in turn and prints how many failed: `failing_allocations.py interpreter|core`.

`interpreter` means the allocations of Python objects. `core` means those of C++ and needs fuzz/failing_new.cpp preloaded.
This is a process of its own, because a fault may end it.
"""

import collections
import ctypes
import importlib.util
import os
import sys

from quarnel.engines import markdown
from test_failures import BROKEN, LOADED, NATIVE, PARAGRAPH, RECORDS, TOML, TREE, extract_sections, tree


def load():
    origin = importlib.util.find_spec("quarnel.engines.markdown")
    origin.loader.exec_module(importlib.util.module_from_spec(origin))


TREES = {
    name: tree(front)
    for name, front in {"native": NATIVE, "TOML": TOML, "loaded": LOADED, "broken": BROKEN}.items()
}
CALLS = {
    **{f"sections, {name}": lambda root=root: extract_sections(root) for name, root in TREES.items()},
    "links": lambda: markdown.extract_links(TREES["native"], RECORDS),
    "paths": lambda: markdown._heading_path(["é" * 90] * 5),
    "targets": lambda: [*markdown._inline_targets(PARAGRAPH + "``[", 1), *markdown._link_targets(TREE)],
    "ends": lambda: markdown._section_ends([markdown._Heading("a", 1, i, None) for i in range(9)], ["a"] * 9),
    "unquote": lambda: markdown.unquote("%C3%A9é" * 9),
    "YAML fields": lambda: markdown._yaml_fields("title: 1.5\ndescription: " + "9" * 600, "P"),
}
if sys.version_info < (3, 12):  # from 3.12 on, making a type may fail for lack of memory without an exception
    CALLS["load"] = load
OF_LIBRARIES = {"load", "sections, loaded", "sections, broken"}


def of_interpreter():
    from _testcapi import remove_mem_hooks, set_nomemory

    # `namedtuple` calls the interpreter's compiler, which does not survive a lack of memory.
    types = {type._fields[0]: type for type in (markdown._Heading, markdown._FrontMatter)}
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
    for name, call in CALLS.items():
        k = in_a_row = 0
        while in_a_row < 20:  # a few allocations may fail without harm
            k += 1
            in_a_row = 0 if fails(call, k, k + 1) else in_a_row + 1
            failed += in_a_row == 0
        if name not in OF_LIBRARIES:
            begin = 1
            while fails(call, begin, 0):  # this allocation and all later ones fail
                begin += 1
            blocks = sys.getallocatedblocks()
            for k in range(1, begin):
                fails(call, k, k + 1)
            assert sys.getallocatedblocks() - blocks < begin / 4, (name, "lost")
        call()
    return failed


def of_core():
    core = ctypes.CDLL(None)
    failed = 0
    for name, call in CALLS.items():
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
    return failed


if __name__ == "__main__":
    for call in CALLS.values():
        call()  # the first call fills caches
    print({"interpreter": of_interpreter, "core": of_core}[sys.argv[1]](), flush=True)
    # CPython 3.10 makes a cache for a function when it is called for the 1,024th time. When that allocation fails, it frees
    # half of the cache, and frees it again when the interpreter is finalised. So the interpreter is not finalised.
    os._exit(0)
