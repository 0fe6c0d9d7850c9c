"""The command: which files it takes, how it reads them, what it prints, and which links it calls broken."""

import itertools
import json
import os
import pathlib
import pty
import re
import signal
import subprocess
import sys
import time

import jsonschema
import pytest
from docmap.cli import app
from docmap.documents import normalise
from docmap.targets import Folder
from typer.testing import CliRunner


def write_tree(root, files):
    for path, content in files.items():
        file = root / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_bytes(content if isinstance(content, bytes) else content.encode())


def run(*arguments, stdin=None):
    return CliRunner().invoke(app, [str(argument) for argument in arguments], input=stdin)


def records(*arguments, stdin=None):
    return [
        json.loads(line) for line in run("outline", "--json", *arguments, stdin=stdin).stdout.splitlines()
    ]


# --- which files ---------------------------------------------------------------------------------------

TREES = [
    pytest.param(
        "a.md b.md", {".gitignore": "!\n[z-a].md\nb\\\nb.md\n"}, "a.md", id="patterns that are none"
    ),
    pytest.param("b.md a.MD c/x.markdown c/y.txt", {}, "a.MD b.md c/x.markdown", id="suffixes"),
    pytest.param(".hidden/a.md .b.md c/.d/e.md", {}, ".b.md", id="hidden folders, not hidden files"),
    pytest.param(
        "out/a.md x/out/b.md c.tmp.md keep.tmp.md out.md",
        {".gitignore": "out/\n*.tmp.md\n!keep.tmp.md\n"},
        "keep.tmp.md out.md",
        id="gitignore with negation",
    ),
    pytest.param(
        "a.md d/a.md d/e/a.md", {"d/.gitignore": "/a.md\n"}, "a.md d/e/a.md", id="nested, anchored there"
    ),
    pytest.param(
        "a.md d/a.md d/b.md",
        {".gitignore": "*.md\n", "d/.gitignore": "!a.md\n"},
        "d/a.md",
        id="the nearest decides",
    ),
    pytest.param(
        "d/a.md",
        {".gitignore": "d/\n", "d/.gitignore": "!a.md\n"},
        "",
        id="an ignored folder is not looked into",
    ),
]


@pytest.mark.parametrize(("documents", "rules", "expected"), TREES)
def test_a_folder_is_walked(tmp_path, documents, rules, expected):
    write_tree(tmp_path, rules | dict.fromkeys(documents.split(), "# T\n"))
    found = [os.path.relpath(record["file"], tmp_path) for record in records(tmp_path)]
    assert found == expected.split()


def test_a_folder_within_a_repository_keeps_the_rules_above_it_unless_they_ignore_itself(tmp_path):
    write_tree(tmp_path, {".git/HEAD": "", ".gitignore": "built/\nno.md\n"})
    write_tree(tmp_path, dict.fromkeys(("d/no.md", "d/a.md", "built/b.md"), "# T"))
    assert [r["file"] for r in records(tmp_path / "d")] == [str(tmp_path / "d/a.md")]
    assert [r["file"] for r in records(tmp_path / "built")] == [str(tmp_path / "built/b.md")]


def test_a_loop_of_links_ends_and_a_file_named_twice_is_read_once(tmp_path):
    write_tree(tmp_path, {"d/a.md": "# A"})
    (tmp_path / "d/loop").symlink_to(tmp_path, target_is_directory=True)
    assert len(records(tmp_path, tmp_path / "d/a.md", tmp_path / "d")) == 1


# --- how they are read ---------------------------------------------------------------------------------


@pytest.mark.parametrize(
    ("data", "text", "replaced"),
    [
        pytest.param(
            b"\xef\xbb\xbf# A\r\nb\rc", "# A\nb\rc\n", False, id="BOM, CRLF, lone CR, no last line feed"
        ),
        pytest.param(b"", "", False, id="empty"),
        pytest.param(b"\xef\xbb\xbf", "", False, id="only a BOM"),
        pytest.param(b"a\xff\n", "a\ufffd\n", True, id="not UTF-8"),
        pytest.param("\ufffd".encode(), "\ufffd\n", False, id="a replacement character that was there"),
    ],
)
def test_text_is_normalised(data, text, replaced):
    assert normalise(data) == (text, replaced)


def test_the_outline_of_a_heading_without_final_line_feed(tmp_path):
    write_tree(tmp_path, {"sub/a.b.md": "# A"})
    (record,) = records(tmp_path)
    assert (record["name"], record["fqn"]) == ("A", "sub.a.b.A")


def test_what_cannot_be_read_is_named_and_the_rest_is_still_mapped(tmp_path):
    write_tree(tmp_path, {"a.md": "# A", "bad.md": b"# caf\xe9\n"})
    (tmp_path / "gone.md").symlink_to(tmp_path / "nowhere")
    result = run("outline", tmp_path, tmp_path / "missing.md")
    assert result.exit_code == 1
    for name, reason in (
        ("gone.md", "No such file"),
        ("missing.md", "No such file"),
        ("bad.md", "not all of it is UTF-8"),
    ):
        assert re.search(rf"{name}: .*{reason}", result.stderr)
    assert "A  1-1" in result.stdout and "caf\ufffd  1-1" in result.stdout


# --- what is printed -----------------------------------------------------------------------------------

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


SCHEMA = pathlib.Path(__file__).parents[1] / "docs/docmap.schema.json"


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


@pytest.mark.long
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


def test_control_characters_do_not_reach_the_terminal():
    assert (
        "\x1b"
        not in run("outline", "--links", "-", stdin="# a\x1b[31m\n\np\x1b]0;x\x07\n\n[x](\x1bc.md)\n").stdout
    )


@pytest.mark.long
def test_several_processes_print_what_one_prints(tmp_path):
    write_tree(tmp_path, {f"{n % 7}/{n:03}.md": f"# T{n}\n\n[a](x{n}.md)\n" for n in range(100)})
    for command in (["outline", "--json"], ["check"]):
        one, three = run(*command, tmp_path), run(*command, "--jobs", 3, tmp_path)
        assert one.stdout == three.stdout and one.stdout.count("\n") >= 100


@pytest.mark.long
def test_a_closed_pipe_ends_quietly(tmp_path):
    write_tree(tmp_path, {f"{n}.md": "# Title\n" * 300 for n in range(60)})
    for option in ([], ["--json"]):
        command = [sys.executable, "-m", "docmap", "outline", *option, str(tmp_path)]
        with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE) as process:
            process.stdout.readline()
            process.stdout.close()
            assert process.stderr.read() == b""
            assert process.wait(60) == 128 + signal.SIGPIPE


def waiting_outline(folder, *options):
    """A command that reads a document, then waits for another at a pipe that nobody has written to."""
    os.mkfifo(folder / "pipe")
    write_tree(folder, {"a.md": "# A\n"})
    return [sys.executable, "-m", "docmap", "outline", *options, str(folder / "a.md"), str(folder / "pipe")]


@pytest.mark.long
@pytest.mark.parametrize("jobs", ["1", "2"])
def test_an_interrupt_ends_with_its_own_status(tmp_path, jobs):
    command = waiting_outline(tmp_path, "--jobs", jobs)
    with subprocess.Popen(
        command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, start_new_session=True
    ) as process:
        # Opening the pipe for writing succeeds once the command waits in it for text.
        with open(tmp_path / "pipe", "wb"):
            time.sleep(0.1)
            os.killpg(process.pid, signal.SIGINT)
            time.sleep(0.1)
        assert process.wait(60) == 130
        assert b"Traceback" not in process.stderr.read()


@pytest.mark.long
def test_an_interrupt_leaves_the_terminal_as_it_was(tmp_path):
    for name in ("first", "second"):
        os.mkfifo(tmp_path / name)
    ours, theirs = pty.openpty()
    command = [sys.executable, "-m", "docmap", "outline", str(tmp_path / "first"), str(tmp_path / "second")]
    environment = os.environ | {"TERM": "xterm"}
    with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=theirs, env=environment) as process:
        with open(tmp_path / "first", "wb"):
            time.sleep(1.2)  # The progress bar waits for a second.
        with open(tmp_path / "second", "wb"):
            time.sleep(0.3)
            process.send_signal(signal.SIGINT)
            assert process.wait(60) == 130
    shown = os.read(ours, 1 << 16).decode()
    assert "reading" in shown and "Traceback" not in shown
    hidden, seen = "\x1b[?25l", "\x1b[?25h"
    assert shown.count(hidden) == shown.count(seen) == 1 and shown.index(hidden) < shown.index(seen)


@pytest.mark.long
@pytest.mark.skipif(not os.path.exists("/proc/self/task"), reason="finds the processes in /proc")
@pytest.mark.parametrize(
    ("victim", "status", "said"),
    [
        pytest.param("children", 1, rb"docmap: a process was killed .*\n", id="a worker"),
        pytest.param("parent", 143, rb"", id="the command"),
    ],
)
def test_a_killed_process_ends_the_run_in_a_line(tmp_path, victim, status, said):
    command = waiting_outline(tmp_path, "-j2")
    with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE) as process:
        with open(tmp_path / "pipe", "wb"):
            children = pathlib.Path(f"/proc/{process.pid}/task/{process.pid}/children").read_text().split()
            if victim == "parent":
                process.send_signal(signal.SIGTERM)
                time.sleep(0.3)
            else:
                os.kill(int(children[0]), signal.SIGKILL)
                os.kill(int(children[-1]), signal.SIGKILL)
        assert process.wait(60) == status
        assert re.fullmatch(said, process.stderr.read())
    assert not any(os.path.exists(f"/proc/{child}") for child in children)


@pytest.mark.long
@pytest.mark.parametrize(
    ("typed", "offered"),
    [
        pytest.param("docmap o", ["outline"], id="command"),
        pytest.param("docmap check --al", ["--all-files"], id="option"),
    ],
)
def test_the_shell_completes(typed, offered):
    script = f"""
        source <(docmap --show-completion bash)
        COMP_WORDS=({typed}) COMP_CWORD={len(typed.split()) - 1}
        _docmap_completion docmap && printf '%s\\n' "${{COMPREPLY[@]}}"
    """
    path = f"{os.path.dirname(sys.executable)}:{os.environ['PATH']}"
    environment = os.environ | {"PATH": path, "_TYPER_COMPLETE_TEST_DISABLE_SHELL_DETECTION": "1"}
    shown = subprocess.run(
        ["bash", "-c", script], capture_output=True, text=True, env=environment, check=False
    )
    assert shown.stdout.split() == offered, shown.stderr


@pytest.mark.parametrize(
    ("arguments", "status"),
    [
        pytest.param(["--version"], 0, id="version"),
        pytest.param(["outline"], 2, id="no path"),
        pytest.param(["outline", "--jobs", "0", "."], 2, id="no process"),
        pytest.param(["check", "/no/such/folder"], 2, id="nothing to check"),
        pytest.param(["check", "-"], 2, id="links of standard input lead from no folder"),
    ],
)
def test_status(arguments, status):
    assert run(*arguments).exit_code == status


# --- broken links --------------------------------------------------------------------------------------

GUIDE = """
# Guide
## Set Up: the *first* `Run<T>`!
## Step
## Step
> ## Quoted

- # In list

<a id="by-id"></a>

### Über uns {#about}
## 2. Numbered

Term
: what it means

```
# In Code
```

Setext
------
"""

TREE = {
    "index.md": "# Home\n\n[[My Note]]\n",
    "guide.md": GUIDE,
    "titled.md": "---\ntitle: Front Title\naliases: [/old/place]\n---\n\n## Real\n",
    "included.md": "# Top\n\n{{#include other.md}}\n",
    "docs/README.md": "# Docs\n",
    "docs/page.md": "# Page\n\n## Part\n",
    "docs/deep/leaf.md": "# Leaf\n",
    "docs/with space.md": "# S\n",
    "site/content/blog/_index.md": "# Blog\n",
    "notes/My Note.md": "---\naliases: [Nickname]\n---\n# My Note\n\n## Idea One\n",
    "pic.png": "",
    "src/code.py": "",
}

# Stands as docs/links.md in the tree. Nothing is wrong with these links, or nobody can say.
GOOD = """
# Good links

- Files: [](page.md) [](./page.md?x=1) [](with%20space.md) [](<./with space.md>) [](deep/leaf.md)
- A picture: [](../pic.png)
- Folders: [](deep) [](deep/) [](../docs) [](..) [](.)
- Addresses: [](page) [](page/) [](PAGE.html) [](deep/leaf) [](pa\\ge.html) [](generated/route.html)
- From where the page counts as a folder: [](../page) [](../deep/leaf)
- From a root: [](/docs/page.md) [](/docs/page/) [](/page.md) [](/blog/) [](/blog) [](/content/blog/)
- From a root with a name: [](/base/docs/page/) [](@/docs/page.md) [](/old/place) [](/api/generated)
- Headings: [](page.md#part) [](page.md#Part) [](../guide.md#set-up-the-first-runt) [](../guide.md#step-1)
- More headings: [](../guide.md#quoted) [](../guide.md#in-list) [](../guide.md#setext) [](../guide.md#term)
- In other generators: [](../guide.md#über-uns) [](../guide.md#uber-uns) [](../guide.md#2-numbered)
- And others yet: [](../guide.md#numbered) [](../guide.md#step_2) [](../included.md#anything)
- Other anchors: [](../guide.md#by-id) [](../guide.md#about) [](../guide.md#) [](#top) [](#fn1) [](#fnref:2)
- Text fragment, lines: [](../guide.md#:~:text=x) [](../src/code.py#L10) [](../src/code.py#nothing)
- Outside: [](../../outside.md) [](../../x/y.md#z) [](https://example.org/x.md)
- To be filled in: [](<{{x}}.md>) [](${dir}/a.md)
- No Markdown: [](../no-such.png) [](../src/gone.py)
- Notes: [[My Note]] [[my note]] [[my-note]] [[notes/My Note]] [[My Note.md]] [[leaf|text]]
- More notes: [[deep/leaf]] [[Nickname]]
- Places in notes: [[My Note#Idea One]] [[My Note#idea one]] [[My Note#^block]] [[My Note#My Note#Idea One]]
- Other double brackets: [[pic.png]] [[gone.png]] [[Category:None]] [[{{name}}]]

| table |
|-------|
| [[My Note\\|text]] |
"""


def test_good_links_are_not_called_broken(tmp_path):
    write_tree(tmp_path, TREE | {"docs/links.md": GOOD})
    result = run("check", tmp_path)
    assert (result.stdout, result.exit_code) == ("", 0)
    # The web's is the only one that is no link to a file.
    written = len(re.findall(r"\]\((?!http)|\[\[", GOOD))
    assert f"0 broken of {written + 1} links" in result.stderr


BROKEN = [
    pytest.param("[t](pgae.md)", 'no file "pgae.md"; did you mean "page.md"?', id="file, one close by"),
    pytest.param("[t](leaf.md)", 'no file "leaf.md"; did you mean "deep/leaf.md"?', id="file, elsewhere"),
    pytest.param("[t](Page.md)", 'no file "Page.md"; did you mean "page.md"?', id="file, other case"),
    pytest.param("[t](zzz.md)", 'no file "zzz.md"', id="file, nothing like it"),
    pytest.param("[t](/docs/zzz.md)", 'no file "/docs/zzz.md"', id="file, from the root"),
    pytest.param("[t](pagee.html)", 'no file "pagee.html"; did you mean "page.md"?', id="address"),
    pytest.param(
        "[t](../guide.md#stepp)", 'no heading "#stepp" in {}/guide.md; did you mean "#step"?', id="heading"
    ),
    pytest.param(
        "[t](../guide.md#step-5)", 'no heading "#step-5" in {}/guide.md; did you mean "#step"?', id="repeat"
    ),
    pytest.param("[t](../guide.md#quoted-1)", 'no heading "#quoted-1" in {}/guide.md', id="no repeat"),
    pytest.param("[t](../page#zzz)", 'no heading "#zzz" in {}/docs/page.md', id="page counts as a folder"),
    pytest.param("[t](/base/docs/page/#zzz)", 'no heading "#zzz" in {}/docs/page.md', id="site with a name"),
    pytest.param("[t](../guide.md#in-code)", 'no heading "#in-code" in {}/guide.md', id="heading in code"),
    pytest.param(
        "[t](../titled.md#front-title)", 'no heading "#front-title" in {}/titled.md', id="front matter title"
    ),
    pytest.param("[t](#zzz)", 'no heading "#zzz"', id="heading of the same document"),
    pytest.param("[[My Nte]]", 'no page "My Nte"; did you mean "My Note"?', id="note"),
    pytest.param("[[zzz]]", 'no page "zzz"', id="note, nothing like it"),
    pytest.param("[[My Note#Idea]]", 'no heading "#Idea" in {}/notes/My Note.md', id="heading of a note"),
    pytest.param(
        "[t]\n\n[t]: pgae.md", 'no file "pgae.md"; did you mean "page.md"?', id="reference definition"
    ),
]


@pytest.mark.parametrize(("link", "message"), BROKEN)
def test_a_broken_link_is_reported_where_it_stands(tmp_path, link, message):
    write_tree(tmp_path, TREE | {"docs/links.md": f"# Links\n\n{link}\n"})
    result = run("check", tmp_path)
    line = 3 + link.count("\n")
    (report,) = result.stdout.splitlines()
    assert report.startswith(f"{tmp_path}/docs/links.md:{line}: {message.format(tmp_path)}")
    assert result.exit_code == 1 and "1 broken of" in result.stderr


def test_other_files_are_judged_only_when_asked_for(tmp_path):
    write_tree(tmp_path, TREE | {"docs/links.md": "[a](../no.png) [b](../pic.png) [c](/api/made)\n"})
    found = [json.loads(line) for line in run("check", "--all-files", "--json", tmp_path).stdout.splitlines()]
    assert [(record["target"], record["suggestion"]) for record in found] == [
        ("../no.png", None),
        ("/api/made", None),
    ]


def test_an_address_on_many_pages_is_a_programs(tmp_path):
    write_tree(tmp_path, {f"{n}.md": "[a](term)\n" + "[b](rare)\n" * (n < 4) for n in range(5)})
    found = run("check", "--all-files", "--json", tmp_path).stdout.splitlines()
    assert [json.loads(line)["target"] for line in found] == ["rare"] * 4


N = 200_000
# Each would take minutes or hours if what reads it took the square of its length.
HOSTILE = [
    pytest.param("{#" + "a" * N, 0, id="attribute without end"),
    pytest.param("<h1>" * N, 0, id="HTML headings without end"),
    pytest.param("{%" + " " * N, 0, id="tag without name"),
    pytest.param("x" + " " * N + "y\n: z\n", 0, id="spaces in a term"),
    pytest.param("x" + "\u0301\u0327" * N + "\n: z\n", 0, id="combining marks"),
    pytest.param("<!--" * N, 0, id="comments without end"),
    pytest.param("".join(f"# h{n}\n\n[a](#g{n})\n\n" for n in range(3000)), 3000, id="wrong anchors"),
    pytest.param(f"[a]({'a/' * N}b.md)", 1, id="a long path"),
]


@pytest.mark.long
@pytest.mark.parametrize(("text", "broken"), HOSTILE)
def test_hostile_documents_are_checked_in_time(tmp_path, text, broken):
    write_tree(tmp_path, {"a.md": text, "b.md": "# B\n\n[a](a.md#zzz)\n"})
    assert run("check", tmp_path).stdout.count("\n") == broken + 1


def test_examples_and_texts_for_other_pages_are_not_judged(tmp_path):
    shown = "{% highlight md %}\n[x](zzz.md)\n{% endhighlight %}\n"
    commented = "a <!-- [x](zzz.md) -->\n\n[^1]: zzz.md\n"
    write_tree(tmp_path, {"a.md": shown, "b.md": commented, "_includes/c.md": "[x](zzz.md) [y](#zzz)\n"})
    assert run("check", tmp_path).stdout == ""


def test_double_brackets_are_no_links_where_none_leads_anywhere(tmp_path):
    write_tree(tmp_path, {"a.md": "# A\n\nif [[ -f x ]] and [[nodiscard]]\n"})
    assert run("check", tmp_path).exit_code == 0


def test_a_single_file_is_checked_within_its_folder(tmp_path):
    write_tree(tmp_path, TREE | {"docs/links.md": "[a](page.md#none)\n", "docs/other.md": "[a](zzz.md)\n"})
    assert run("check", tmp_path / "docs/links.md").stdout.count("\n") == 1


def test_the_nearest_note_comes_first(tmp_path):
    write_tree(tmp_path, {"a/n.md": "", "a/b/n.md": "", "c/n.md": ""})
    folder = Folder(str(tmp_path))
    assert [folder.find_note("N", f"{place}/x.md")[0] for place in ("a", "a/b", "c")] == [
        "a/n.md",
        "a/b/n.md",
        "c/n.md",
    ]
