"""What the commands print: trees, JSON Lines, colours."""

import itertools
import json
import os
import pathlib
import pty
import re
import subprocess
import sys

import jsonschema
import pytest
from trees import run, write_tree

DOCUMENT = "# Guide\n\nWhat it is.\n\n## Use\n\nSee [a](b.md#c).\n\n- [[N]]\n\n# Guide\n"


def test_json_lines_hold_every_field_in_a_fixed_order():
    lines = run("outline", "--json", "-", stdin=DOCUMENT).stdout.splitlines()
    assert lines[1] == (
        '{"type": "section", "file": "-", "name": "Use", "fqn": "stdin.Guide.Use", "start_line": 5, '
        '"end_line": 9, "signature": "Guide > Use", "docstring": "See a."}'
    )
    assert json.loads(lines[2])["fqn"] == "stdin.Guide#2"
    assert lines[3] == (
        '{"type": "link", "file": "-", "path": "b.md", "anchor": "c", "line": 7, "kind": "doc_link", '
        '"source_fqn": "stdin.Guide.Use"}'
    )
    assert json.loads(lines[4])["kind"] == "wiki_link"
    assert len(lines) == 5


SCHEMA = pathlib.Path(__file__).parents[2] / "docs/docmap.schema.json"


def test_every_json_line_is_as_its_schema_says(tmp_path):
    links = "[a](b.md#c) [b](%C3%A9.md?x) [c](#d) [[N|n]]\n"
    write_tree(tmp_path, {"a.md": f"{links}\n{DOCUMENT}\n## \n\n## B\n{links}", "N.md": b"# \xff\n\n## N\n"})
    printed = [run(command, "--json", tmp_path).stdout.splitlines() for command in ("outline", "check")]
    documented = SCHEMA.with_name("docmap.md").read_text().splitlines()
    printed.append([line for line in documented if line.startswith("{")])
    validator = jsonschema.Draft202012Validator(json.loads(SCHEMA.read_text()))
    kinds = set()
    for line in itertools.chain(*printed):
        validator.validate(json.loads(line))
        kinds.add(json.loads(line)["type"])
    assert kinds == {"section", "link", "broken"}


def test_the_outline_nests_and_shows_links_below_their_section():
    shown = run("outline", "--links", "-", stdin=DOCUMENT).stdout
    order = ["Guide  1-9", "What it is.", "Use  5-9", "b.md#c", "N  line 9", "Guide  11-11"]
    assert [text for _, text in sorted((shown.index(text), text) for text in order)] == order
    assert shown.index("Use") - shown.rindex("\n", 0, shown.index("Use")) > 5
    assert "\x1b" not in shown


@pytest.mark.parametrize(
    ("terminal", "environment", "coloured"),
    [
        pytest.param(True, {}, True, id="terminal"),
        pytest.param(True, {"NO_COLOR": "1"}, False, id="terminal, NO_COLOR"),
        pytest.param(True, {"TERM": "dumb"}, False, id="terminal without colours"),
        pytest.param(False, {}, False, id="pipe"),
    ],
)
@pytest.mark.parametrize("arguments", [["outline", "--links"], ["check"]], ids=lambda arguments: arguments[0])
def test_colours_are_for_terminals(tmp_path, arguments, terminal, environment, coloured):
    write_tree(tmp_path, {"a.md": DOCUMENT})
    ours, theirs = pty.openpty() if terminal else os.pipe()
    plain = {name: value for name, value in os.environ.items() if name not in {"NO_COLOR", "FORCE_COLOR"}}
    command = [sys.executable, "-m", "docmap", *arguments, str(tmp_path)]
    subprocess.run(
        command,
        stdout=theirs,
        stderr=subprocess.PIPE,
        env=plain | {"TERM": "xterm"} | environment,
        check=False,
    )
    shown = os.read(ours, 1 << 16).decode()
    assert "b.md" in shown
    assert bool(re.search(r"\x1b\[[\d;]*3[0-7]m", shown)) == (coloured and arguments[0] == "outline")
    assert ("\x1b[1m" in shown) == (coloured or (terminal and environment.get("NO_COLOR") == "1"))


@pytest.mark.parametrize("character", ["\x1b", "\x9b", "\u2028", "\u202e", "\u2066"], ids=ascii)
def test_control_characters_do_not_reach_the_terminal(character):
    document = f"# a{character}[31m\n\np{character}]0;x\x07\n\n[x]({character}c.md)\n"
    assert character not in run("outline", "--links", "-", stdin=document).stdout
