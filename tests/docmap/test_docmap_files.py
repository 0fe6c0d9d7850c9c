"""Which files the commands take, and how they read them."""

import os
import re

import pytest
from docmap.documents import normalise
from trees import records, run, write_tree

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
    found = [os.path.relpath(record["file"], tmp_path) for record in records("outline", "--json", tmp_path)]
    assert found == expected.split()


def test_a_folder_within_a_repository_keeps_the_rules_above_it_unless_they_ignore_itself(tmp_path):
    write_tree(tmp_path, {".git/HEAD": "", ".gitignore": "built/\nno.md\n"})
    write_tree(tmp_path, dict.fromkeys(("d/no.md", "d/a.md", "built/b.md"), "# T"))
    assert [r["file"] for r in records("outline", "--json", tmp_path / "d")] == [str(tmp_path / "d/a.md")]
    assert [r["file"] for r in records("outline", "--json", tmp_path / "built")] == [
        str(tmp_path / "built/b.md")
    ]


def test_a_loop_of_links_ends_and_a_file_named_twice_is_read_once(tmp_path):
    write_tree(tmp_path, {"d/a.md": "# A"})
    (tmp_path / "d/loop").symlink_to(tmp_path, target_is_directory=True)
    assert len(records("outline", "--json", tmp_path, tmp_path / "d/a.md", tmp_path / "d")) == 1


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
    (record,) = records("outline", "--json", tmp_path)
    assert (record["name"], record["fqn"]) == ("A", "sub.a.b.A")


def test_what_cannot_be_read_is_named_and_the_rest_is_still_mapped(tmp_path):
    write_tree(tmp_path, {"a.md": "# A", "bad.md": b"# caf\xe9\n"})
    (tmp_path / "gone.md").symlink_to(tmp_path / "nowhere")
    (tmp_path / "loop.md").symlink_to(tmp_path / "loop.md")
    result = run("outline", tmp_path)
    assert result.exit_code == 1
    for name, reason in (
        ("gone.md", "No such file"),
        ("loop.md", "symbolic links"),
        ("bad.md", "not all of it is UTF-8"),
    ):
        assert re.search(rf"{name}: .*{reason}", result.stderr)
    assert "A  1-1" in result.stdout and "caf\ufffd  1-1" in result.stdout
