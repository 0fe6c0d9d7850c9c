"""The check: what of a document is followed, which documents are judged, what is said, what keeps it silent."""

import json
import os
import subprocess
import sys

import pytest
from trees import records, run, write_tree

from docmap import checking

# --- what is followed ----------------------------------------------------------------------------------

TREE = {
    ".git/HEAD": "",
    "guide.md": "# Guide\n\n## Set Up: the *first* `Run<T>`!\n\n## Step\n\n## Step\n\n> ## Quoted\n\n- # In list\n\n"
    '<a id="by-id"></a>\n\n<h2>In <b>HTML</b></h2>\n\nSetext\n------\n\n```\n# In Code\n```\n\n## Über uns & मित्र\n',
    "docs/page.md": "# Page\n\n## Part\n",
    "docs/with space.md": "# S\n",
    "docs/deep/leaf.md": "# Leaf\n",
    "docs/near/same.md": "",
    "other/in/deep/same.md": "",
    "LICENSE": "",
    "pic.png": "",
    "src/code.py": "",
    ".gitignore": "built/\n/made/*\n!/made/x.md\n",
}
GOOD = """
[](page.md) [](./page.md?x=1) [](with%20space.md) [](<./with space.md>) [](deep) [](deep/) [](..) [](../LICENSE)
[](/docs/page.md) [](page.md#part) [](../guide.md#set-up-the-first-runt) [](../guide.md#step-1) [](#links)
[](../guide.md#quoted) [](../guide.md#in-list) [](../guide.md#by-id) [](../guide.md#in-html) [](../guide.md#setext)
[](../guide.md#über-uns--मित्र) [](../src/code.py#L10) [](#top) [](../../../issues) [](https://example.org/x.md)
![](../pic.png) <img src="../pic.png"> <a href="page.md#part">x</a> [a][b] [b][] a[i][j] `[x](no.md)` `![x](no.png)`
<!-- [x](no.md) ![x](no.png) --> [c](mailto:a@example.org) \\[x](no.md) [[no]] ![[no]] [d](a&amp;b.md) [^1] [^a-z]

[b]: page.md
[^1]: no.md
[t][a\\]b]

[a\\]b]: page.md
"""


def test_links_that_lead_somewhere_are_not_reported(tmp_path):
    write_tree(tmp_path, TREE | {"docs/links.md": f"# Links\n{GOOD}", "docs/a&b.md": ""})
    result = run("check", "--strict", "--no-cache", tmp_path)
    assert (result.stdout, result.exit_code) == ("", 0)


BROKEN = [
    pytest.param("[t](pgae.md)", 'no file "pgae.md"; did you mean "page.md"?', id="file, one close by"),
    pytest.param("[t](leaf.md)", 'no file "leaf.md"; did you mean "deep/leaf.md"?', id="file, elsewhere"),
    pytest.param("[t](page/)", 'no file "page/"; did you mean "page.md"?', id="page without its suffix"),
    pytest.param(
        "[t](/in/deep/same)", 'did you mean "/other/in/deep/same.md"?', id="folders of the same name"
    ),
    pytest.param("[t](Page.md)", 'no file "Page.md"; did you mean "page.md"?', id="file, other case"),
    pytest.param("[t](/docs/zzz.md)", 'no file "/docs/zzz.md"', id="file, from the root"),
    pytest.param("[t](../LICENCE)", 'no file "../LICENCE"; did you mean "../LICENSE"?', id="no suffix"),
    pytest.param("[t](page.mdr)", 'no file "page.mdr"; did you mean "page.md"?', id="misspelt suffix"),
    pytest.param(
        "[t](www.example.org)",
        'so it is read as a file; did you mean "https://www.example.org"?',
        id="web, no scheme",
    ),
    pytest.param("[t](a@example.org)", 'did you mean "mailto:a@example.org"?', id="mail, no scheme"),
    pytest.param("[t](a@2x.png)", 'no file "a@2x.png"', id="file with an at sign"),
    pytest.param("![t](pics.png)", 'no file "pics.png"', id="image"),
    pytest.param(
        '<img src="../pics.png">', 'no file "../pics.png"; did you mean "../pic.png"?', id="HTML image"
    ),
    pytest.param('x <a href="pag.md">y</a>', 'no file "pag.md"; did you mean "page.md"?', id="HTML link"),
    pytest.param(
        '<div>\n<a href="#no-such">y</a>\n</div>', 'no heading "#no-such"', id="HTML anchor in a block"
    ),
    pytest.param("[a][undefined]", 'no definition of the label "undefined"', id="label"),
    pytest.param("[und *x*][]", 'no definition of the label "und *x*"', id="collapsed label"),
    pytest.param(
        "[![t](../pic.png)][und]", 'no definition of the label "und"', id="label of an image's link"
    ),
    pytest.param("[^none] [^1]\n\n[^1]: x y", 'no footnote "none"', id="footnote"),
    pytest.param("[t](../guide.md#stepp)", 'in guide.md; did you mean "#step"?', id="heading"),
    pytest.param("[t](../guide.md#step-2)", 'no heading "#step-2" in guide.md', id="one repeat too many"),
    pytest.param("[t](../guide.md#in-code)", 'no heading "#in-code" in guide.md', id="heading in code"),
    pytest.param("[t](../guide.md#über-uns--मत्र)", 'mean "#über-uns--मित्र"?', id="vowel signs stay"),
    pytest.param("[t]\n\n[t]: pgae.md", 'no file "pgae.md"; did you mean "page.md"?', id="definition"),
    pytest.param("| a |\n|---|\n| ![x](no.png) |", 'no file "no.png"', id="image in a table"),
]


@pytest.mark.parametrize(("link", "message"), BROKEN)
def test_a_broken_link_is_reported_where_it_stands(tmp_path, monkeypatch, link, message):
    write_tree(tmp_path, TREE | {"docs/links.md": f"# Links\n\n{link}\n"})
    monkeypatch.chdir(tmp_path)
    result = run("check", "--no-cache")
    (report,) = result.stdout.splitlines()
    written = next(
        n for n, line in enumerate(link.split("\n"), 3) if n == 3 + link.count("\n") or "href" in line
    )
    line = 3 if link.startswith(("[^", "[t](", "[a]", "!")) else written
    assert report.startswith(f"docs/links.md:{line}: no ") and message in report
    assert result.exit_code == 1 and "1 broken of" in result.stderr


DOUBTFUL = [
    pytest.param("[t](../built/x.html)", "Git ignores it", id="ignored by Git"),
    pytest.param("[t](../made/in/x.md)", "Git ignores it", id="ignored below a folder that is not there"),
    pytest.param("[t](../guide.md#Step)", "letter case", id="anchor of another case"),
    pytest.param("[t]({{ site.url }}/x)", "template", id="filled in"),
    pytest.param("[t](../../elsewhere.md)", "outside the repository", id="out of the repository"),
]


@pytest.mark.parametrize(("link", "why"), DOUBTFUL)
def test_what_cannot_be_read_makes_a_link_doubtful(tmp_path, link, why):
    write_tree(tmp_path, TREE | {"docs/links.md": f"# Links\n\n{link}\n"})
    lenient, strict = (run("check", "--no-cache", tmp_path, *options) for options in ([], ["--strict"]))
    assert (lenient.stdout, lenient.exit_code, strict.exit_code) == ("", 0, 1)
    assert why in strict.stdout and "1 doubtful" in lenient.stderr


def test_a_wiki_link_is_offered_a_heading_as_it_is_written(tmp_path):
    write_tree(tmp_path, {".obsidian/x": "", "a.md": "## Big Part\n", "b.md": "[[a#Bigg Part]]\n"})
    assert 'mean "a#Big Part"?' in run("check", "--no-cache", tmp_path).stdout


def test_a_missing_page_is_said_to_be_missing_once(tmp_path):
    write_tree(tmp_path, {"config.toml": 'base_url = "https://x.org"\n', "content/a.md": "[x](@/x.md)\n"})
    assert run("check", "--no-cache", tmp_path).stdout.endswith('a.md:1: no file "@/x.md"\n')


def test_a_site_that_cannot_make_it_is_not_asked_twice(tmp_path):
    """Something unread may make any address of this book, but not one that is a slip for a page that is there."""
    book = '[book]\ntitle = "B"\n[preprocessor.custom]\ncommand = "x"\n'
    text = "[a](made/page.html) [b](chaptr.html) [c](other.html#sectoin)\n"
    chapter = "# C\n\n## Section\n"
    write_tree(
        tmp_path,
        {
            "book.toml": book,
            "src/SUMMARY.md": "[A](index.md)\n[C](chapter.md)\n[O](other.md)\n",
            "src/index.md": text,
            "src/chapter.md": chapter,
            "src/other.md": chapter,
        },
    )
    found = {
        record["target"]: record for record in records("check", "--json", "--strict", "--no-cache", tmp_path)
    }
    assert {target: record["type"] for target, record in found.items()} == {
        "made/page.html": "doubtful",
        "chaptr.html": "broken",
        "other.html#sectoin": "broken",
    }
    assert (
        found["chaptr.html"]["decided_by"] == "mdbook" and "`custom`" in found["made/page.html"]["decided_by"]
    )


# --- which documents, and where from -------------------------------------------------------------------


def test_without_git_a_site_is_found_from_the_folder_of_its_pages(tmp_path):
    pages = {"mkdocs.yml": "site_name: S\n", "docs/a.md": "[b](../b/) [z](../z/)\n", "docs/b.md": "# B\n"}
    write_tree(tmp_path, {f"unpacked/{path}": text for path, text in pages.items()})
    found = records("check", "--json", "--no-cache", tmp_path / "unpacked" / "docs")
    assert [(record["target"], record["decided_by"]) for record in found] == [("../z/", "mkdocs")]


def test_some_files_are_judged_against_their_whole_repository(tmp_path, monkeypatch):
    links = "[a](../guide.md) [b](../gone.md) [c](deep/leaf.md#no)\n"
    write_tree(tmp_path, TREE | {"docs/links.md": links, "docs/other.md": "[a](zzz.md)\n"})
    monkeypatch.chdir(tmp_path / "docs")
    for paths in (["links.md"], ["links.md", "page.md"], [tmp_path / "docs/links.md"]):
        assert [r["target"] for r in records("check", "--json", "--no-cache", *paths)] == [
            "../gone.md",
            "deep/leaf.md#no",
        ]
    assert [r["file"] for r in records("check", "--json", "--no-cache")] == [
        "links.md",
        "links.md",
        "other.md",
    ]


def test_the_code_hosts_annotations(tmp_path, monkeypatch):
    write_tree(tmp_path, {".git/HEAD": "", "a,b.md": "x [a](no%25.md)\n\n[t]({{ x }}/y)\n"})
    monkeypatch.chdir(tmp_path)
    shown = run("check", "--format", "github", "--strict", "--no-cache").stdout.splitlines()
    assert shown[0] == '::error file=a%2Cb.md,line=1,title=broken link::no file "no%25.md"'
    assert shown[1].startswith("::warning file=a%2Cb.md,line=3,col=5,title=doubtful link::")


def test_unreadable_folders_and_odd_names(tmp_path, monkeypatch):
    def scandir(folder, scandir=os.scandir):
        if str(folder).endswith("locked"):
            # As the system does for all users but root, as which these tests may run.
            raise PermissionError(13, "Permission denied", folder)
        return scandir(folder)

    def realpath(path, *arguments, realpath=os.path.realpath, **options):
        if str(path).endswith("secret"):  # as one of another user's process
            raise PermissionError(13, "Permission denied", path)
        return realpath(path, *arguments, **options)

    text = "[a](locked/b.md) [b](c.md) [d](secret/d.md) [e](round/a.md)\n"
    write_tree(tmp_path, {".git/HEAD": "", "a.md": text, "locked/b.md": "", "x\ny.md": "[a](z.md)"})
    monkeypatch.setattr("os.path.realpath", realpath)
    for link in ("self", "loop.md", "secret"):
        (tmp_path / link).symlink_to(link)
    (tmp_path / "round").symlink_to(".")
    monkeypatch.setattr("os.scandir", scandir)
    monkeypatch.chdir(tmp_path)
    result = run("check", "--strict", "--no-cache")
    doubtful, broken, secret, around, odd = result.stdout.splitlines()
    assert "the folder locked cannot be read" in doubtful and "the folder secret cannot" in secret
    assert "round leads to a folder around itself" in around
    assert broken == 'a.md:1: no file "c.md"'
    assert odd == 'x\ufffdy.md:1: no file "z.md"' and result.exit_code == 1
    assert "locked: Permission denied" in result.stderr and "loop.md: Too many levels" in result.stderr


@pytest.mark.parametrize(
    ("asked", "failed"), [("a.md", False), ("in", False), (".", True), ("locked.md", True)]
)
def test_only_what_is_asked_for_must_be_readable(tmp_path, monkeypatch, asked, failed):
    def locked(path, *arguments, **options):
        # As the system does for all users but root, as which these tests may run.
        if str(path).endswith("locked.md"):
            raise PermissionError(13, "Permission denied", path)
        return open(path, *arguments, **options)

    link = "[x](/locked.md) [y](/locked.md#h) [z](/set/by/it/)\n"
    front = "---\n---\n"
    write_tree(
        tmp_path, {"_config.yml": "a: b\n", "a.md": front + link, "in/b.md": front, "locked.md": front}
    )
    monkeypatch.setattr("docmap.checking.open", locked, raising=False)
    monkeypatch.chdir(tmp_path)
    lenient, strict = (run("check", "--no-cache", "--root", ".", asked, *more) for more in ([], ["--strict"]))
    assert (lenient.exit_code, "locked.md: Permission" in lenient.stderr) == (failed, failed)
    assert lenient.stdout == ""
    assert strict.stdout.count("locked.md cannot be read") == (2 if asked in {"a.md", "."} else 0)


# --- what keeps it silent ------------------------------------------------------------------------------

FAULTY = {
    ".git/HEAD": "",
    "a.md": "[a](no.md)\n",
    "old/b.md": "[b](no.md)\n",
    "c.md": "[c](made/x.html)\n",
}
SETTINGS = [
    pytest.param('exclude = ["old/**"]', [], "a.md c.md", "", id="exclude"),
    pytest.param('ignore = ["made/*"]', [], "a.md old/b.md", "", id="ignore"),
    pytest.param("", ["--exclude", "old", "--ignore", "made/*"], "a.md", "", id="options"),
    pytest.param(
        'exclude = ["none/**"]', [], "a.md c.md old/b.md", 'exclude: "none/**" matches nothing', id="unused"
    ),
    pytest.param(
        'site = { "gone" = "hugo" }', [], "a.md c.md old/b.md", 'site: "gone" matches nothing', id="no folder"
    ),
    pytest.param('exlude = ["old"]', [], None, "there is no setting 'exlude'", id="misspelt"),
    pytest.param("exclude = [", [], None, "docmap.toml", id="not TOML"),
]


@pytest.mark.parametrize("file", ["docmap.toml", "pyproject.toml"])
@pytest.mark.parametrize(("settings", "options", "reported", "said"), SETTINGS)
def test_settings(tmp_path, monkeypatch, file, settings, options, reported, said):
    table = settings if file == "docmap.toml" else f"[tool.docmap]\n{settings}"
    write_tree(tmp_path, FAULTY | {file: table})
    monkeypatch.chdir(tmp_path)
    result = run("check", "--json", "--no-cache", *options)
    assert said.replace("docmap.toml", file) in result.stderr
    if reported is None:
        assert result.exit_code == 2
    else:
        assert [json.loads(line)["file"] for line in result.stdout.splitlines()] == reported.split()


def test_a_setting_says_what_kind_of_site_a_folder_is(tmp_path, monkeypatch):
    write_tree(
        tmp_path, {".git/HEAD": "", "manual/content/a.md": "[b](/x/) [c](/y/)\n", "manual/content/x.md": ""}
    )
    monkeypatch.chdir(tmp_path)
    assert [r["target"] for r in records("check", "--json", "--no-cache")] == ["/x/", "/y/"]
    assert [r["target"] for r in records("check", "--json", "--no-cache", "--site", "manual=hugo")] == ["/y/"]


IGNORED = [
    pytest.param(
        "<!-- docmap-ignore -->\n\n[a](no.md)\n[b](no.md)\n\n[c](no2.md)", ["no2.md"], id="a paragraph"
    ),
    pytest.param(
        "<!-- docmap-ignore -->\n- [a](no.md)\n\n  [b](no.md)\n- c\n\n[c](no2.md)", ["no2.md"], id="a list"
    ),
    pytest.param("- <!-- docmap-ignore -->\n  [a](no.md)\n- [c](no2.md)", ["no2.md"], id="in a list item"),
    pytest.param("x <!-- docmap-ignore --> [a](no.md)\n\n[c](no2.md)", ["no2.md"], id="in a line"),
    pytest.param("```\n<!-- docmap-ignore -->\n```\n[c](no2.md)", ["no2.md"], id="in code it is none"),
]


@pytest.mark.parametrize(("text", "reported"), IGNORED)
def test_a_comment_keeps_the_next_block_silent(tmp_path, text, reported):
    write_tree(tmp_path, {"a.md": text + "\n"})
    assert [r["target"] for r in records("check", "--json", "--no-cache", tmp_path)] == reported


# --- what is kept --------------------------------------------------------------------------------------


@pytest.mark.parametrize("state", ["empty", "kept", "broken off", "a folder", "of another version"])
def test_what_is_kept_changes_no_result(tmp_path, monkeypatch, state):
    monkeypatch.setenv("XDG_CACHE_HOME", str(tmp_path / "cache"))
    kept = tmp_path / "cache/docmap/facts.sqlite"
    write_tree(tmp_path / "docs", TREE | {"docs/links.md": f"# Links\n{GOOD}[a](no.md) [b](page.md#no)\n"})
    expected = run("check", "--no-cache", tmp_path / "docs").stdout
    assert not kept.exists() and expected.count("\n") == 2
    if state == "a folder":
        kept.mkdir(parents=True)
    elif state != "empty":
        run("check", tmp_path / "docs")
    if state == "broken off":
        kept.write_bytes(kept.read_bytes()[:5000] + b"x" * 5000)
    elif state == "of another version":
        monkeypatch.setattr("docmap.cache._FORMAT", 0)
    elif state == "kept":
        # Only what is kept can say what is in the files now.
        monkeypatch.setattr("docmap.checking.read_packed", None)
    assert run("check", tmp_path / "docs").stdout == expected
    write_tree(tmp_path / "docs", {"docs/page.md": "# Page\n\n## No\n\n## Part\n"})
    monkeypatch.undo()
    monkeypatch.setenv("XDG_CACHE_HOME", str(tmp_path / "cache"))
    assert run("check", tmp_path / "docs").stdout.count("\n") == 1


def test_a_changed_configuration_is_noticed(tmp_path, monkeypatch):
    monkeypatch.setenv("XDG_CACHE_HOME", str(tmp_path / "cache"))
    files = {"book.toml": "[book]\n", "src/SUMMARY.md": "[A](a.md)\n", "src/a.md": "[x](old.html)\n"}
    write_tree(tmp_path / "book", files)
    assert [run("check", tmp_path / "book").exit_code for _ in range(2)] == [1, 1]
    write_tree(tmp_path / "book", {"book.toml": '[output.html.redirect]\n"/old.html" = "a.html"\n'})
    assert run("check", tmp_path / "book").exit_code == 0


DEPENDS = [
    pytest.param("[](deep/)", "", 0, id="on paths alone"),
    pytest.param("[](../b/page.md#part)", "b/page.md", 0, id="on an anchor elsewhere"),
    pytest.param(
        "[](in-the-book.md)", "book/src/shows.md book/src/in-the-book.md", 0, id="on where it is shown"
    ),
    pytest.param("[](no.md)", "book/src/shows.md book/src/in-the-book.md", 1, id="on nothing that is there"),
]


@pytest.mark.parametrize(("link", "others", "status"), DEPENDS)
def test_no_document_is_parsed_that_no_judged_link_depends_on(tmp_path, monkeypatch, link, others, status):
    monkeypatch.setenv("XDG_CACHE_HOME", str(tmp_path / "cache"))
    root = tmp_path / "docs"
    other = {
        "b/page.md": "## Part\n",
        "c/x.md": "[[a]] alias\n",
        "wiki/mkdocs.yml": "",
        "wiki/docs/i.md": "# I\n",
    }
    book = {"book.toml": "", "src/SUMMARY.md": "[](shows.md)[](in-the-book.md)\n"}
    book |= {"src/shows.md": "{{#include ../../a/judged.md}}\n", "src/in-the-book.md": ""}
    write_tree(root, other | {f"book/{name}": text for name, text in book.items()})
    write_tree(root, {".git/HEAD": "", "a/judged.md": f"{link}\n", "a/deep/x.md": ""})
    parsed = []

    def read(path, held=checking.read_held, **how):
        parsed.append(os.path.relpath(path, root))
        return held(path, **how)

    monkeypatch.setattr(checking, "read_held", read)
    monkeypatch.setattr(checking, "read_packed", lambda path, **how: checking.packed(*read(path, **how)))
    assert run("check", "--strict", "--no-cache", root / "a/judged.md").exit_code == status
    # What defines a site is read to find it.
    assert sorted({*parsed} - {"book/src/SUMMARY.md"}) == sorted(["a/judged.md", *others.split()])
    # What is kept depends on the others as well.
    assert [run("check", "--strict", root / "a/judged.md").exit_code for _ in range(2)] == [status, status]
    write_tree(root, {path: "changed\n" for path in others.split()})
    assert run("check", "--strict", root / "a/judged.md").exit_code == (status or bool(others))


@pytest.mark.long
def test_several_runs_at_once_share_what_is_kept(tmp_path):
    write_tree(tmp_path / "docs", {f"{n:03}.md": f"# T\n\n[a](x{n}.md)\n" for n in range(300)})
    command = [sys.executable, "-m", "docmap", "check", str(tmp_path / "docs")]
    environment = os.environ | {"XDG_CACHE_HOME": str(tmp_path / "cache")}
    runs = [
        subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=environment)
        for _ in range(4)
    ]
    results = [process.communicate(timeout=120) for process in runs]
    assert len({out for out, _ in results}) == 1 and results[0][0].count(b"\n") == 300
    assert all(err.count(b"\n") == 1 for _, err in results)


# --- documents made to take long -----------------------------------------------------------------------

N = 100_000
HOSTILE = [
    pytest.param("a %% [[x]] %% $[[y]]$ `$ $$ ``" * N, 0, id="comments and mathematics in one line"),
    pytest.param("---\nx: " + "[" * 60_000 + "\n---\n", 0, id="nesting front matter"),
    pytest.param("---\nx:\n" + "- " * 30_000 + "\n---\n", 0, id="nesting lists in front matter"),
    pytest.param("{#" + "a" * N, 0, id="attribute without end"),
    pytest.param("<h1>" * N, 0, id="HTML headings without end"),
    pytest.param("{%" + " " * N, 0, id="tag without name"),
    pytest.param("{{" * N, 0, id="expressions without end"),
    pytest.param("<a " * N, 0, id="elements without end"),
    pytest.param("<!--" * N, 0, id="comments without end"),
    pytest.param("![" * N, 0, id="images without end"),
    pytest.param("![a](" * N, 0, id="destinations without end"),
    pytest.param(
        "![" + "`" * 5 + "".join("`" * (n % 90 + 1) + " " for n in range(N // 20)), 0, id="backticks"
    ),
    pytest.param("!" + "[" * N + "]" * N, 0, id="nested brackets"),
    pytest.param("x\n: y\n" * (N // 4), 0, id="definitions"),
    pytest.param("".join(f"# h{n}\n\n[a](#g{n})\n\n" for n in range(3000)), 3000, id="wrong anchors"),
    pytest.param("# a\n\n" * 20000 + "[a](#a-20000)\n", 1, id="one heading again and again"),
    pytest.param(f"[a]({'a/' * N}b.md)", 1, id="a long path"),
    pytest.param("<!-- docmap-ignore -->\n\nx\n\n" * N, 0, id="comments that ignore a block"),
    pytest.param("x " + "<!-- docmap-ignore --> " * N, 0, id="comments that ignore one line"),
    pytest.param("<!-- docmap-ignore --> [a](no.md)\n\n" * (N // 4), 0, id="ignored links"),
    pytest.param("x <!-- y --> [a](no.md)\n\n" * (N // 3), N // 3, id="comments beside links"),
    pytest.param("!!! note\n\n" + "    x\n" * N, 0, id="a long admonition"),
    pytest.param("!!! note\n\n    x\n\n```\nx\n```\n\n" * (N // 2), 0, id="admonitions and code"),
    pytest.param(";" * N * 2 + " 8<-", 0, id="signs of a snippet"),
    pytest.param("![a](" + " " * N + "x y", 0, id="white space in a destination"),
    pytest.param("[" * N + "a" + "][]" * N, 249, id="collapsed labels within each other"),
    pytest.param(
        "".join(f"# h{n}\n\n[a](#{n}g)\n\n" for n in range(N // 4)), N // 4, id="many wrong anchors"
    ),
    pytest.param("{{< " + "a" * N * 40, 0, id="a long name of a shortcode"),
    pytest.param("x :::{toctree}\n" * N, 0, id="openings of toctrees in lines of text"),
    pytest.param("!!! note\n\n    " + "~" * N + "\n" + "    [x]\n" * N, 0, id="a long fence without end"),
    pytest.param(
        "".join(f"[l{n}]: /x\n\n!!! note\n\n    [k{n}]: /y\n\n    [k{n}] a\n\n" for n in range(N // 4)),
        N // 4,
        id="labels of bodies",
    ),
]
VITEPRESS, SPHINX = (
    ".vitepress/config.js",
    {"conf.py": "extensions = ['myst_parser', 'sphinx.ext.autosummary']\n"},
)
HOSTILE_SITES = [
    pytest.param({VITEPRESS: "", "c.md": "# {" + "#" * N}, id="signs of an id"),
    pytest.param(
        {
            VITEPRESS: "",
            "c.md": "".join(f"<!--@include: p{n}.txt-->\n\n[x][no {n}]\n\n" for n in range(5000)),
        },
        id="labels and includes",
    ),
    pytest.param(
        {
            VITEPRESS: "",
            **{f"p{n}.md": f"<!--@include: p{(n + 1) % 5000}.md-->\n\n[x][no]\n" for n in range(5000)},
        },
        id="files that include each other",
    ),
    pytest.param({**SPHINX, "c.md": "{ref}`no`\n\n" + ".. _" * N * 5}, id="targets of reStructuredText"),
    pytest.param({**SPHINX, "c.md": "{doc}`no`\n\n" + "autosummary::" * N * 5}, id="lists of summaries"),
]


@pytest.mark.long
@pytest.mark.parametrize(("text", "broken"), HOSTILE)
def test_hostile_documents_are_checked_in_time(tmp_path, text, broken):
    write_tree(tmp_path, {"a.md": text, "b.md": "# B\n\n[a](a.md#zzz)\n"})
    command = [sys.executable, "-m", "docmap", "check", "--no-cache", str(tmp_path)]
    result = subprocess.run(command, capture_output=True, text=True, timeout=60, check=False)
    assert result.stdout.count("\n") == broken + 1


@pytest.mark.long
@pytest.mark.parametrize("files", HOSTILE_SITES)
def test_hostile_sites_are_checked_in_time(tmp_path, files):
    write_tree(tmp_path, files)
    for page in ("a.md", "docs/a.md"):
        write_tree(tmp_path, {page: "# A\n\n[c](c.md#zzz)\n"})
    command = [sys.executable, "-m", "docmap", "check", "--strict", "--no-cache", str(tmp_path)]
    result = subprocess.run(command, capture_output=True, text=True, timeout=60, check=False)
    assert result.returncode == 1 and "a.md:3: " in result.stdout


def test_links_that_only_the_site_reads_are_counted(tmp_path):
    write_tree(tmp_path, {"mkdocs.yml": "", "docs/a.md": "!!! note\n\n    [b](b.md) [a](a.md)\n"})
    assert "1 broken of 2 links in 1 file" in run("check", "--no-cache", tmp_path).stderr
