"""The time that loading the module takes beyond its libraries, and the parts of that time."""

from __future__ import annotations

import json
import os
import subprocess
import sys

import timing

_LIBRARIES = (
    "collections, json, logging, re, tree_sitter, urllib.parse, yaml, quarnel.engines, quarnel.engines.references, "
    "quarnel.models"
)


def report(*, rounds: int) -> None:
    """Print medians over fresh processes."""
    found = [_in_fresh_process() for _ in range(rounds)]

    def milliseconds(key: str) -> timing.Spread:
        return timing.spread([sample[key] * 1e3 for sample in found])

    rest = timing.spread(
        [1e3 * (s["engine"] - s["find"] - s["map"] - s["patterns"] - s["records"]) for s in found]
    )
    print(f"libraries: {milliseconds('libraries')} ms")
    print(f"the module beyond them: {milliseconds('engine')} ms, of which")
    for key, what in (
        ("find", "finding the file on the path"),
        ("map", "mapping it into the process (dlopen)"),
        ("patterns", f"compiling {found[0]['pattern_count']} patterns with re"),
        ("records", f"making {found[0]['record_count']} named tuples"),
    ):
        print(f"  {milliseconds(key)} ms  {what}")
    print(f"  {rest} ms  everything else")
    print(f"Medians of {rounds} fresh processes, quartiles in brackets.")


def _in_fresh_process() -> dict[str, float]:
    answer = subprocess.run(
        [sys.executable, __file__], env=os.environ, check=True, stdout=subprocess.PIPE, text=True
    )
    return json.loads(answer.stdout)


def _measure() -> dict[str, float]:
    begin = timing.clock()
    exec(f"import {_LIBRARIES}")
    spent = {"libraries": timing.clock() - begin}
    counts = {}

    import collections
    import re
    from importlib.machinery import ExtensionFileLoader, PathFinder

    def watch(owner, attribute: str, key: str) -> None:
        watched = getattr(owner, attribute)

        def call(*args, **keywords):
            started = timing.clock()
            try:
                return watched(*args, **keywords)
            finally:
                spent[key] = spent.get(key, 0.0) + timing.clock() - started
                counts[key] = counts.get(key, 0) + 1

        setattr(owner, attribute, call)

    watch(re, "compile", "patterns")
    watch(collections, "namedtuple", "records")
    watch(ExtensionFileLoader, "create_module", "map")
    watch(PathFinder, "find_spec", "find")
    begin = timing.clock()
    import quarnel.engines.markdown  # noqa: F401

    spent["engine"] = timing.clock() - begin
    return spent | {"pattern_count": counts["patterns"], "record_count": counts["records"]}


if __name__ == "__main__":
    print(json.dumps(_measure()))
