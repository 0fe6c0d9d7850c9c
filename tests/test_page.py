"""`docmap page`: what the page holds, how it reads and works in a real browser, and that documents cannot start anything."""

import importlib.util
import json
import os
import re
import shutil
import sys
from importlib import resources
from pathlib import Path

import pytest
from click.testing import CliRunner
from docmap.cli import app

pytest.importorskip("gravis", reason="the drawing library is not installed (requirements/page.txt)")
webdriver = pytest.importorskip(
    "selenium.webdriver", reason="selenium is not installed (requirements/page.txt)"
)
from selenium.webdriver.common.by import By  # noqa: E402
from selenium.webdriver.common.keys import Keys  # noqa: E402
from selenium.webdriver.support.ui import WebDriverWait  # noqa: E402

CHROMIUM = shutil.which("chromium") or shutil.which("google-chrome")
DRIVER = shutil.which("chromedriver")
in_browser = pytest.mark.skipif(
    not (CHROMIUM and DRIVER), reason="no chromium with its chromedriver is installed"
)

FOLDER = {
    "index.md": "# Handbook\n\nAll that we know, in few words.\n\n[guide](guide/start.md) and [gone](gone.md)\n",
    "guide/start.md": "# Start\n\nHow to begin with it at all.\n\n## Install\n\nWith two commands.\n\n### Linux\n\n[back](../index.md)\n\n## Use\n",
    "guide/more.md": "# Café props\n\n[s](start.md) [s](start.md#use)\n\n## Props\n",
    "guide/props.md": "# Props\n\n[m](more.md) [t]({{ site }}/t.md)\n",
    "lone.md": "no heading\n",
}


def run(*arguments):
    return CliRunner().invoke(app, ["page", *map(str, arguments)])


def write_page(root, files, *options):
    for path, text in files.items():
        (root / "docs" / path).parent.mkdir(parents=True, exist_ok=True)
        (root / "docs" / path).write_text(text)
    page = root / "page.html"
    result = run(root / "docs", "-o", page, *options)
    assert result.exit_code == 0, result.output
    return page


def data_of(page):
    data = json.loads(re.search(r'id="data">(.*?)</script>', page.read_text())[1])
    return data, {entry["path"]: entry for entry in data["documents"]}


# --- What the page holds -----------------------------------------------------------------------------------------


def test_the_map_names_what_links_lead_to_and_nothing_of_this_machine(tmp_path):
    page = write_page(tmp_path, FOLDER)
    data, entries = data_of(page)
    order = list(entries)
    assert [row[:2] for row in entries["guide/more.md"]["links"]] == [[order.index("guide/start.md"), 3]]
    [[line, target, message, *_]] = entries["index.md"]["broken"]
    assert (line, target) == (5, "gone.md") and "gone.md" in message
    assert [row[:4] for row in entries["guide/start.md"]["sections"]] == [
        [0, "Start", 1, 13], [1, "Install", 5, 11], [2, "Linux", 9, 11], [1, "Use", 13, 13],
    ]  # fmt: skip
    [doubtful] = entries["guide/props.md"]["broken"]
    assert "template" in doubtful[4]
    assert entries["guide/start.md"]["text"] == "How to begin with it at all."
    assert str(tmp_path) not in page.read_text() and data["link"] == "./docs/{path}#L{line}"


def test_documents_stand_as_their_titles_do(tmp_path):
    files = {
        "z/readme.md": "# Zoo",  # what introduces a folder, then what is numbered, then titles
        "z/2-b.md": "# Y",
        "z/10-a.md": "# X",
        "z/k.md": "# Part 9",
        "z/j.md": "# Émile",
        "z/b.md": "# Part 10",
        "z/p1.md": "# Zz",  # one numbered file is no series
        "only/one/a.md": "# Alone",  # as if it lay in the folder itself
        "b2/9.md": "",
        "b2/11.md": "",
        "b10/ch2.md": "# F",
        "b10/ch10.md": "# E",
        "b10/ch1-3.md": "# G",
        "b10/a.md": "# " + "9" * 9_000,
    }
    order = "only/one/a b2/9 b2/11 b10/ch1-3 b10/ch2 b10/ch10 b10/a z/readme z/2-b z/10-a z/j z/k z/b z/p1"
    found = list(data_of(write_page(tmp_path, files))[1])
    assert [path.removesuffix(".md") for path in found] == order.split()


@pytest.mark.parametrize(
    ("path", "text", "title"),
    [
        ("a.md", "---\ntitle: Of *all*\n---\n\n# One\n", "Of all"),
        ("a.md", "# One `two` {#own-id}\n\n## Three\n", "One two"),
        ("a.md", "# One\n\n# Two\n", "a"),
        ("some-note.md", "### Deep\n", "some-note"),
        ("deep/index.md", "## Deep\n", "deep"),
        ("a.md", "# \u202eevil\x1b[1m\n", "[U+202E]evil␛[1m"),
    ],
)
def test_titles(tmp_path, path, text, title):
    entry = data_of(write_page(tmp_path, {path: text, "b/c.md": "", "d.md": ""}))[1][path]
    assert entry["title"] == title and "{" not in json.dumps(entry["sections"])


@pytest.mark.parametrize(
    ("text", "first"),
    [
        ("---\ntitle: T\n---\n\nWith [`a`](b.md) and [c].\n\n# H\n\n[c]: d.md\n", "With a and c."),
        (
            "# H\n\n[![Badge](b.svg)](c) ![Other][o]\n\n> What it is about.\n\n[o]: p.svg\n",
            "What it is about.",
        ),
        ("# H\n\n:::{grid} 1\n:::\n\n- A list.\n", "A list."),
        ("import A from 'a'\n\nNo heading here.\n", "No heading here."),
    ],
)
def test_first_paragraphs(tmp_path, text, first):
    assert data_of(write_page(tmp_path, {"a.md": text}))[1]["a.md"]["text"] == first


SITE = {
    "w/astro.config.mjs": "// title: 'No'\nexport default defineConfig({ integrations: [starlight({\n\ttitle: 'S',\n})] });\n",
    "w/src/content/docs/index.mdx": "---\ntitle: Long title\n---\n\nWhat it is about.\n",
    "w/src/content/docs/de/index.mdx": "---\ntitle: Lang\n---\n",
    "z/b/src/content/docs/index.md": "# Example\n",
}


@pytest.mark.parametrize(
    ("files", "options", "title"),
    [
        pytest.param({"index.md": "# A book\n", "README.md": "# Not this\n"}, (), "A book", id="index"),
        pytest.param({"src/readme.md": "# Read\n", "src/a/b.md": ""}, (), "Read", id="README further down"),
        pytest.param({"index.md": "# Introduction\n", "mkdocs.yml": "site_name: 'S'\n"}, (), "S", id="site"),
        pytest.param(SITE, (), "S", id="site below, with its index"),
        pytest.param({"a.md": "# A\n"}, (), "{} docs", id="folder of a name that says nothing"),
        pytest.param({"index.md": "# A book\n"}, ("--title", "Own"), "Own", id="option"),
    ],
)
def test_what_the_folder_is_called(tmp_path, files, options, title):
    data, _ = data_of(write_page(tmp_path, files, *options))
    assert data["title"] == title.format(tmp_path.name)


@pytest.mark.parametrize(
    ("arguments", "status", "said"),
    [
        pytest.param(["{}/none", "-o", "-"], 2, "does not exist", id="no folder"),
        pytest.param([os.devnull, "-o", "-"], 2, "is not a folder", id="not a folder"),
        pytest.param(["{}", "-o", "{}/no/page.html"], 1, "page.html: No such file", id="cannot be written"),
        pytest.param(["{}", "-o", "-"], 0, "0 files, 0 sections, 0 broken", id="empty, to the output"),
        pytest.param(["{}", "--link", "javascript:{{path}}"], 2, "{path}", id="no address"),
        pytest.param([], 0, "docmap.html: 0 files", id="names by default"),
    ],
)
def test_status(tmp_path, monkeypatch, arguments, status, said):
    monkeypatch.chdir(tmp_path)
    result = run(*(argument.format(tmp_path) for argument in arguments))
    assert result.exit_code == status and said in result.stderr
    assert ("</html>" in result.stdout) == (status == 0 and bool(arguments))


def test_without_the_library_one_line_says_how_to_get_it_here(tmp_path, monkeypatch):
    monkeypatch.setattr("docmap.page._CARRIER", "no-such-distribution")
    result = run(tmp_path, "-o", "-")
    assert result.exit_code == 1 and result.stderr.count("\n") == 1
    assert sys.executable in result.stderr and "install" in result.stderr


def test_a_file_name_that_is_no_text_does_not_stop_the_page(tmp_path):
    if sys.platform != "linux":
        pytest.skip("file names are any bytes on Linux only")
    entry = data_of(write_page(tmp_path, {"a\udcff.md": "# A\n"}))[1]["a\ufffd.md"]
    assert entry["href"] == "a%FF.md"


def luminance(colour):
    parts = [int(colour[at : at + 2], 16) / 255 for at in (1, 3, 5)]
    linear = [part / 12.92 if part <= 0.04045 else ((part + 0.055) / 1.055) ** 2.4 for part in parts]
    return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]


BACKGROUNDS = ["back", "raised", "chosen", "region"]


@pytest.mark.parametrize(
    ("colour", "others", "least"),
    [
        *((colour, BACKGROUNDS, 4.5) for colour in ("text", "faint", "accent", "bad")),
        *((colour, ["back", "region"], 3) for colour in ("mark", "edge", "border")),
        ("bad", ["mark"], 3), ("text", ["mark"], 3),
    ],
)  # fmt: skip
def test_contrast(colour, others, least):
    style = (resources.files("docmap") / "assets" / "page.css").read_text()
    themes = [
        dict(re.findall(r"--(\w+): (#\w{6})", block))
        for block in re.findall(r"\{([^{}]*--back:[^{}]*)\}", style)
    ]
    assert len(themes) == 3 and themes[1] == themes[2]
    for theme in themes:
        for other in others:
            one, two = sorted((luminance(theme[colour]), luminance(theme[other])))
            assert (two + 0.05) / (one + 0.05) >= least, (theme[colour], other)


# --- In a browser ------------------------------------------------------------------------------------------------


@pytest.fixture(scope="module")
def browser():
    options = webdriver.ChromeOptions()
    options.binary_location = CHROMIUM
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--window-size=1400,900"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    with webdriver.Chrome(options=options, service=webdriver.ChromeService(DRIVER)) as driver:
        yield driver


@pytest.fixture
def opened(browser, tmp_path):
    """Opens a page of `files` and, when the test is over, finds nothing that the browser complained of."""

    def open_page(files, place="", width=1400, dark=False, options=()):
        metrics = {"width": width, "height": 900, "deviceScaleFactor": 1, "mobile": width < 700}
        browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", metrics)
        features = [
            {"name": "prefers-color-scheme", "value": "dark" if dark else "light"},
            {"name": "prefers-reduced-motion", "value": "reduce"},
        ]
        browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": features})
        browser.get("about:blank")
        browser.get(write_page(tmp_path, files, *options).as_uri() + place)
        return browser

    yield open_page
    assert browser.get_log("browser") == []


def texts(browser, selector):
    script = "return [...document.querySelectorAll(arguments[0])].map((found) => found.textContent)"
    return browser.execute_script(script, selector)


def reading(browser):
    return browser.find_element(By.ID, "reading").text


def focused(browser):
    return (
        browser.switch_to.active_element.get_attribute("aria-label") or browser.switch_to.active_element.text
    )


def press(browser, *keys):
    for key in keys:
        browser.switch_to.active_element.send_keys(key)


@in_browser
def test_a_folder_and_a_document_are_described(opened):
    browser = opened(FOLDER)
    assert browser.title == "Handbook – map of 5 documents" and texts(browser, "h1") == ["Handbook"]
    text = reading(browser)
    for said in (
        "All that we know",
        "1 broken link in 1 document",
        "Start",
        "linked from 2",
        "Not linked",
        "lone",
    ):
        assert said in text
    browser.find_element(By.LINK_TEXT, "Start").click()
    assert browser.title == "Start – Handbook" and focused(browser) == "Start"
    text = reading(browser)
    for said in ("How to begin", "With two commands.", "line 9", "Linked from 2", "line 5"):
        assert said in text
    hrefs = [link.get_attribute("href") for link in browser.find_elements(By.CSS_SELECTOR, "#reading a")]
    assert any(href.endswith("/docs/guide/start.md#L9") for href in hrefs)
    # What links here stands in the other file.
    assert any(href.endswith("/docs/index.md#L5") for href in hrefs)
    browser.back()
    assert "Not linked" in reading(browser)


@in_browser
@pytest.mark.parametrize(
    ("template", "address"),
    [
        ("https://host/x/{path}#L{line}", "https://host/x/guide/start.md#L9"),
        ("vscode://file/{path}:{line}", "vscode://file{}/docs/guide/start.md:9"),
    ],
)
def test_every_line_is_a_link_by_the_template(opened, tmp_path, template, address):
    browser = opened(FOLDER, "#document=guide/start.md", options=("--link", template))
    link = browser.find_element(By.LINK_TEXT, "Linux").get_attribute("href")
    assert link == address.replace("{}", str(tmp_path))
    assert str(tmp_path) not in (tmp_path / "page.html").read_text()


@in_browser
def test_the_picture_shows_the_folder_then_the_neighbours(opened):
    browser = opened(FOLDER)
    assert (
        len(texts(browser, "#graph .node.document:not(.broken)")) == 3
        and len(texts(browser, "#graph .node.broken")) == 1
    )
    assert "1 without links is listed" in texts(browser, "#shown")[0]
    assert texts(browser, "#legend li") == [
        "document; larger: more documents link to it",
        "document with broken links",
        "folder",
    ]
    node = browser.find_element(By.CSS_SELECTOR, 'svg .node[aria-label^="Props"]')
    webdriver.ActionChains(browser).move_to_element(node).perform()
    faded = "return [...document.querySelectorAll('#graph .node.document')].filter((n) => getComputedStyle(n).opacity < 1).length"
    assert browser.execute_script(faded) == 2
    browser.find_element(By.CSS_SELECTOR, "#graph .node.broken").click()
    assert sorted(texts(browser, "#graph text:not(.caption)")) == ["Handbook", "Start", "gone.md"]
    assert len(texts(browser, "#graph .node.missing")) == 1 and focused(browser).startswith("Handbook")
    browser.find_element(By.ID, "whole").click()
    assert (
        len(texts(browser, "#graph .node.document")) == 4 and len(texts(browser, "#graph .node.chosen")) == 1
    )


@in_browser
def test_the_first_view_explains_itself(opened):
    browser = opened(SITE | {"w/src/content/docs/a/1.md": "", "w/src/content/docs/a/2.md": ""})
    assert texts(browser, "h2") == ["S"] and "What it is about." in reading(browser)
    near = browser.find_element(By.ID, "near")
    assert not near.is_enabled() and "Choose a document first" in near.get_attribute("title")
    assert browser.find_element(By.ID, "choose").is_displayed()
    browser = opened(many(40))
    assert "Those that other documents link to most come first." in reading(browser)
    browser.find_element(By.CSS_SELECTOR, "#reading li a").click()
    assert browser.find_element(By.ID, "near").get_attribute("title") == ""
    assert not browser.find_element(By.ID, "choose").is_displayed()


@in_browser
@pytest.mark.parametrize(
    ("pointer", "said"), [("fine", "Search ( / )"), ("coarse", "Search"), ("small", "Search")]
)
def test_a_key_is_named_where_a_keyboard_is_likely(opened, browser, pointer, said):
    browser.execute_cdp_cmd("Emulation.setTouchEmulationEnabled", {"enabled": pointer == "coarse"})
    try:
        opened(FOLDER, width=390 if pointer == "small" else 1400)
        assert browser.find_element(By.ID, "search").get_attribute("placeholder") == said
    finally:
        browser.execute_cdp_cmd("Emulation.setTouchEmulationEnabled", {"enabled": False})


@in_browser
def test_a_document_without_links_is_listed_once_and_has_a_sentence_for_a_picture(opened):
    browser = opened(FOLDER)
    assert len(browser.find_elements(By.CSS_SELECTOR, '#reading li > a[href="#document=lone.md"]')) == 1
    browser.find_element(By.LINK_TEXT, "lone").click()
    assert "no picture" in browser.find_element(By.ID, "nothing").text
    assert not browser.find_element(By.ID, "key").is_displayed()
    browser.back()
    assert texts(browser, "#nothing") == [""] and browser.find_element(By.ID, "key").is_displayed()


@in_browser
def test_what_the_introduction_links_to_comes_before_large_folders(opened):
    tests = {f"a/tests/{n}.md": f"# T{n}\n" for n in range(20)}
    guide = {f"z/guide/{n}.md": f"# G{n}\n\n[next](1.md)\n" for n in range(3)}
    browser = opened({"README.md": "# All\n\n[guide](z/guide/2.md)\n"} | tests | guide)
    assert texts(browser, ".group li > a[href^='#folder']") == ["z/guide/", "a/tests/"]
    assert texts(browser, "#tree > li > .row .name") == ["All", "a/tests", "z/guide"]


@in_browser
def test_the_words_below_the_picture_are_those_of_its_size(opened):
    browser = opened(many(90))
    said = texts(browser, "#shown")
    metrics = {"width": 1400, "height": 500, "deviceScaleFactor": 1, "mobile": False}
    browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", metrics)
    drawn = "return [document.getElementById('shown').textContent, document.querySelectorAll('#graph .node.document').length]"
    WebDriverWait(browser, 5).until(lambda _: browser.execute_script(drawn)[0] not in said)
    words, count = browser.execute_script(drawn)
    assert words.startswith(f"The {count} most linked")


def many(count, folder="part{}"):
    """Documents with long names in folders of ten, each linked with some others."""
    path = lambda number: f"{folder.format(number // 10)}/document-{number}.md"  # noqa: E731
    text = "# Title number {} of these\n\nIts text.\n\n## S\n\n[a](../{}) [b](../{})\n"
    return {
        path(n): text.format(n, path(n * 7 % count), path(n // 10 * 10)) for n in range(count)
    } | {"alone/in/here.md": "# Alone\n"}  # fmt: skip


@in_browser
@pytest.mark.parametrize(
    ("count", "broken", "said"),
    [
        pytest.param(20, 1, ["21 documents with links; 1 without links is listed, not drawn."], id="all is drawn"),
        pytest.param(600, 1, [" of 601 documents", ": the one with broken links, then", "Not all lines are drawn"], id="one"),
        pytest.param(600, 9, [": all 9 with broken links, then the most linked"], id="some"),
        pytest.param(3, 300, ["{drawn} of 303 documents with links: {wrong} of the 300 with broken links, then"], id="too many"),
    ],
)  # fmt: skip
def test_broken_links_are_drawn_first_and_what_is_left_out_is_said(opened, count, broken, said):
    browser = opened(
        many(count) | {f"part1/z{n}.md": f"# Wrong {n}\n\n[gone](gone.md)\n" for n in range(broken)}
    )
    drawn, wrong = (len(texts(browser, f"#graph .node.{kind}")) for kind in ("document", "broken"))
    # Each folder keeps two marks.
    assert min(broken, drawn - 2) <= wrong <= broken
    [words] = texts(browser, "#shown")
    assert all(part.format(drawn=drawn, wrong=wrong) in words for part in said), words
    hidden = "return [...document.querySelectorAll('#graph line')].some((l) => getComputedStyle(l).display === 'none')"
    assert browser.execute_script(hidden) == ("Not all lines" in words)


@in_browser
def test_labels_overlap_neither_each_other_nor_marks(opened):
    browser = opened(many(90))
    boxes = browser.execute_script("""
        const box = (e) => { const {left, top, right, bottom} = e.getBoundingClientRect(); return [left, top, right, bottom]; };
        return [[...document.querySelectorAll("#graph text")].map(box), [...document.querySelectorAll("#graph .node path")].map(box)];
    """)
    labels, marks = boxes
    assert len(labels) > 20 and texts(browser, "#graph text.folder")[0].startswith("part")
    named = texts(browser, "#graph text.document")
    # The first of each folder has the most links.
    unnamed = [n for n in range(0, 90, 10) if not any(re.search(rf"\b{n}\b", name) for name in named)]
    assert len(unnamed) < 2, unnamed
    apart = 2  # a box is higher than the letters in it
    for number, one in enumerate(labels):
        for other in labels[:number] + marks:
            assert (
                one[0] >= other[2] - apart or one[2] <= other[0] + apart or one[1] >= other[3] - apart or one[3] <= other[1] + apart
            )  # fmt: skip


@in_browser
def test_titles_of_a_series_keep_their_ends(opened):
    series = {f"s/{n}.md": f"# Fundamentals of the whole project, part {n}\n\n[z](0.md)\n" for n in range(9)}
    long = {"long.md": "# " + "e\u0301\U0001f600" * 900 + " end\n\n[s](s/0.md)\n"}
    browser = opened(series | long | {"short.md": "# window.struck=1\n"})
    for selector in ("#graph text.document", "#tree .document .name span:last-child"):
        found = texts(browser, selector)
        assert {f"part {n}" for n in range(9)} <= {name[-6:] for name in found}, found
    assert any(piece.endswith(" end") for piece in texts(browser, "#tree .name span:last-child"))
    cut = "return [...document.querySelectorAll('#tree .name span:last-child')].filter((s) => s.scrollWidth > s.clientWidth).length"
    assert browser.execute_script(cut) == 0
    pieces = texts(browser, "#tree .name span, #graph text.document")
    assert not any(
        piece.startswith("\u0301") or "\u2026\u0301" in piece or "\ufffd" in piece for piece in pieces
    )


@in_browser
def test_what_tells_the_titles_of_a_series_apart_is_left_out_last(opened):
    names = ["Part 1: Store of it all", "Part 2: Fetching and caching", "Part 10: Reducers of state"]
    series = {f"s/{n}.md": f"# Fundamentals of it, {name}\n\n[z](0.md)\n" for n, name in enumerate(names)}
    browser = opened(series | {"other.md": "# Something else\n\n[s](s/0.md)\n"})
    assert texts(browser, "#tree .told span:last-child") == names
    labels = texts(browser, "#graph text.document")
    assert all(any(name[:7] in label for label in labels) for name in names), labels


@in_browser
def test_a_broken_link_leads_to_what_it_names_and_back_to_itself(opened):
    wrong = "# Wrong\n\n[u](b/guide.md#usag)\n\n[s](b/guid.md)\n"
    browser = opened({"index.md": wrong, "b/guide.md": "# Guide\n\n## Usage\n"}, "#document=index.md")
    links = browser.find_elements(By.CSS_SELECTOR, "#reading .finding a")
    assert [link.text for link in links] == ["line 3", "b/guide.md", "#usage", "line 5", "b/guide.md"]
    links[2].send_keys(Keys.ENTER)
    assert browser.find_element(By.CSS_SELECTOR, "#reading .here").text.startswith("Usage")
    browser.back()
    WebDriverWait(browser, 5).until(lambda _: browser.find_elements(By.LINK_TEXT, "line 5"))
    browser.find_elements(By.CSS_SELECTOR, "#reading .finding a")[4].send_keys(Keys.ENTER)
    assert focused(browser) == "Guide"
    style = "return getComputedStyle(document.activeElement).outlineStyle"
    assert browser.execute_script(style) == "solid"
    browser.back()
    last = "return [...document.querySelectorAll('#reading .finding a')].indexOf(document.activeElement)"
    WebDriverWait(browser, 5).until(lambda _: browser.execute_script(last) == 4)
    browser.execute_script("arguments[0].focus()", browser.find_elements(By.LINK_TEXT, "line 5")[0])
    press(browser, Keys.ENTER)
    WebDriverWait(browser, 5).until(
        lambda _: "guide.html" not in browser.current_url and "#L5" in browser.current_url
    )
    browser.back()
    WebDriverWait(browser, 5).until(lambda _: browser.execute_script(last) == 3)


@in_browser
def test_where_to_begin_is_said(opened):
    beginnings = {
        f"{path}.md": "# Getting started\n\n[0](/part0/document-0.md)\n" for path in ("g/x", "de/deep/x")
    }
    linked = {"part0/l.md": "# L\n\n[g](../g/x.md) [d](../de/deep/x.md) [i](../introduction.md)\n"}
    browser = opened(many(20) | linked | beginnings)
    assert texts(browser, ".beginnings") == ["Where to begin: Getting started g"]
    browser = opened(many(20) | linked | beginnings | {"introduction.md": "# To all\n"})
    assert texts(browser, ".beginnings") == ["Where to begin: To all"]


@in_browser
def test_documents_of_the_same_title_are_told_apart(opened):
    paths = ["x/one/src/1.md", "x/two/src/1.md", "x/two/src/2.md", "x/1.md", "y/a/1.md"]
    same = {path: "# Same\n\n[i](/index.md)\n" for path in paths}
    browser = opened(same | {"index.md": "# I\n", "y/a/k.md": "# K\n"})
    names = ["one", "1.md", "2.md", "x", "a"]
    assert sorted(texts(browser, "#graph text.document")) == sorted(
        ["I", *(f"Same \u00b7 {name}" for name in names)]
    )
    while closed := browser.find_elements(By.CSS_SELECTOR, '#tree li.folder[aria-expanded="false"] .twist'):
        closed[0].click()
    rows = [
        row.get_attribute("aria-label") for row in browser.find_elements(By.CSS_SELECTOR, "#tree li.document")
    ]
    assert sorted(rows) == sorted(
        ["I, document", "K, document", *(f"Same, {name}, document" for name in names)]
    )
    # In one branch, where they stand below each other, they differ to the eye, too.
    assert sorted(texts(browser, "#tree .beside")) == sorted(names[:-1])
    for name in names:
        assert f"Same {name}" in reading(browser)


@in_browser
def test_the_picture_is_one_tab_stop_with_arrows_inside(opened):
    browser = opened(FOLDER)
    assert len(browser.find_elements(By.CSS_SELECTOR, '#graph [tabindex="0"]')) == 1
    browser.find_element(By.ID, "fit").send_keys(Keys.TAB)
    seen = {focused(browser)}
    for key in (Keys.ARROW_UP, Keys.ARROW_LEFT, Keys.ARROW_DOWN, Keys.ARROW_RIGHT) * 3:
        press(browser, key)
        seen.add(focused(browser))
    assert len(seen) > 2 and any("link here, links to" in name or "links here" in name for name in seen)
    press(browser, Keys.HOME, Keys.END, Keys.ENTER)
    assert "#document=" in browser.current_url and focused(browser).split(",")[0] in texts(browser, "h2")[0]


@in_browser
def test_the_tree_moves_by_keys_and_letters(opened):
    browser = opened(FOLDER | {"plan.md": "# Plan\n"})
    browser.find_element(By.ID, "search").send_keys(Keys.TAB)
    press(browser, "p")
    assert focused(browser) == "Props, document"
    press(browser, Keys.HOME, "p", "p")
    assert focused(browser) == "Plan, document"
    press(browser, Keys.HOME, "s", Keys.ARROW_RIGHT, Keys.ARROW_RIGHT)
    assert focused(browser) == "Install, section, lines 5 to 11"
    press(browser, Keys.ENTER)
    assert focused(browser) == "Install, section, lines 5 to 11" and "line=5" in browser.current_url
    assert "Install" in texts(browser, "#reading .here")[0]
    browser.find_element(By.ID, "skip").send_keys(Keys.ENTER)
    assert "Install" in focused(browser) and "line=5" in browser.current_url
    press(browser, Keys.TAB)
    assert browser.switch_to.active_element.tag_name == "a"


@in_browser
@pytest.mark.parametrize(
    ("words", "rows"),
    [
        pytest.param("props", ["Props guide/props.md", "Café props § Props guide/more.md, line 5"], id="exact first, one row each"),
        pytest.param("CAFE", ["Café props guide/more.md"], id="accents and case"),
        pytest.param("commands two", ["Start § Install guide/start.md, line 5"], id="words of a paragraph"),
        pytest.param("start.md", ["Start guide/start.md"], id="file name"),
        pytest.param("nowhere", [], id="nothing"),
    ],
)  # fmt: skip
def test_search(opened, words, rows):
    browser = opened(FOLDER)
    browser.find_element(By.TAG_NAME, "body").send_keys("/")
    press(browser, words)
    found = [" ".join(row.text.split()) for row in browser.find_elements(By.CSS_SELECTOR, "#results li")]
    assert found == rows
    press(browser, Keys.ARROW_DOWN, Keys.ARROW_UP, Keys.ENTER)
    if rows:
        assert rows[0].startswith(texts(browser, "h2")[0]) and focused(browser) != ""
        assert ("line=" in browser.current_url) == ("line" in rows[0])
    press(browser, "/", "x", Keys.ESCAPE)
    assert browser.find_element(By.ID, "tree").is_displayed()


@in_browser
def test_a_narrow_screen_scrolls_freely_and_choosing_shows_the_details(opened):
    browser = opened(many(40) | {"index.md": f"# {'W' * 3_000}\n\n{'w' * 400}\n"}, width=320)
    wide = "return document.documentElement.scrollWidth"
    assert browser.execute_script(wide) == 320
    browser.find_element(By.ID, "to-picture").click()
    before = browser.execute_script("return scrollY")
    browser.execute_cdp_cmd("Emulation.setTouchEmulationEnabled", {"enabled": True})
    for kind, at in (("Start", 300), ("Move", 350), ("Move", 400), ("Move", 450)):
        touch = {"type": f"touch{kind}", "touchPoints": [{"x": 160, "y": at}]}
        browser.execute_cdp_cmd("Input.dispatchTouchEvent", touch)
    browser.execute_cdp_cmd("Input.dispatchTouchEvent", {"type": "touchEnd", "touchPoints": []})
    browser.execute_cdp_cmd("Emulation.setTouchEmulationEnabled", {"enabled": False})
    assert browser.execute_script("return scrollY") < before
    mark = browser.find_element(By.CSS_SELECTOR, "#graph .node.document")
    browser.execute_script("arguments[0].dispatchEvent(new MouseEvent('click', {bubbles: true}))", mark)
    top = browser.execute_async_script(
        "setTimeout(() => arguments[0](document.querySelector('h2').getBoundingClientRect().top), 100)"
    )
    assert 0 <= top < 450 and browser.execute_script(wide) == 320
    browser.get(browser.current_url.split("#")[0] + "#document=index.md")
    assert len(texts(browser, "h2")[0]) < 200
    browser.find_element(By.XPATH, "//button[starts-with(., 'Show the whole')]").click()
    assert len(texts(browser, "h2")[0]) == 3_000 and browser.execute_script(wide) == 320


@in_browser
@pytest.mark.parametrize("width", [1400, 390])
@pytest.mark.parametrize("dark", [False, True])
def test_no_automated_accessibility_violation(opened, width, dark):
    carrier = importlib.util.find_spec("axe_playwright_python")
    axe = Path(carrier.submodule_search_locations[0], "axe.min.js").read_text()
    check = "axe.run().then((r) => arguments[0](r.violations.map((v) => v.id + ' ' + v.nodes.map((n) => n.html).join())))"
    for place in ("", "#document=index.md", "#document=guide/start.md&line=5&view=map", "search"):
        browser = opened(FOLDER, "" if place == "search" else place, width=width, dark=dark)
        if place == "search":
            browser.find_element(By.ID, "search").send_keys("s")
        browser.execute_script(axe)
        assert browser.execute_async_script(check) == [], place


@in_browser
def test_without_scripts_the_outline_is_there(opened, browser):
    browser.execute_cdp_cmd("Emulation.setScriptExecutionDisabled", {"value": True})
    try:
        opened(FOLDER)
        # A driver finds no elements without scripts; the accessibility tree does not need them.
        tree = browser.execute_cdp_cmd("Accessibility.getFullAXTree", {})["nodes"]
    finally:
        browser.execute_cdp_cmd("Emulation.setScriptExecutionDisabled", {"value": False})
    names = {
        (node["role"]["value"], node.get("name", {}).get("value")) for node in tree if not node["ignored"]
    }
    assert ("DisclosureTriangle", "Handbook/ (2)") in names and ("DisclosureTriangle", "Handbook") in names
    outline = re.search(
        r"<noscript>(.*?)</noscript>", (Path(browser.current_url[7:])).read_text(), re.DOTALL
    )[1]
    for tag in ("details", "summary", "ul", "li", "a", "p"):
        assert len(re.findall(rf"<{tag}\b", outline)) == outline.count(f"</{tag}>") > 0
    assert '<a href="./docs/guide/start.md#L9">Linux</a>' in outline and "With two" not in outline


@in_browser
def test_an_empty_folder_gets_a_sentence(opened, tmp_path):
    (tmp_path / "docs").mkdir()
    assert "No Markdown documents are in this folder." in reading(opened({}))


@in_browser
def test_the_colours_follow_the_system_until_switched(opened):
    browser = opened(FOLDER)
    script = "return getComputedStyle(document.body).backgroundColor"
    light = browser.execute_script(script)
    assert opened(FOLDER, dark=True).execute_script(script) != light
    opened(FOLDER)
    browser.find_element(By.ID, "theme").click()
    assert browser.execute_script(script) != light
    browser.refresh()
    assert browser.execute_script(script) != light
    browser.find_element(By.ID, "theme").click()
    assert browser.execute_script(script) == light


@in_browser
def test_a_section_far_down_a_long_document_is_shown(opened):
    files = {"a.md": "# A\n" + "".join(f"\n## Section {n}\n" for n in range(2_000))}
    browser = opened(files, "#document=a.md&line=3003")
    assert texts(browser, ".here > a, .here > span:first-child") == ["Section 1500"]
    assert texts(browser, '#tree [aria-selected="true"] > .row .name') == ["Section 1500"]
    browser.find_element(By.ID, "skip").send_keys(Keys.ENTER)
    assert focused(browser).startswith("Section 1500")
    browser.find_element(By.XPATH, "//button[. = 'Show all 2,000']").click()
    assert len(texts(browser, ".outline > li")) == 2_000 and focused(browser).startswith("Section 0")


HOSTILE = '</script><!--<script></noscript><img src=x onerror="window.struck=1"><svg onload=window.struck=1>'


@in_browser
def test_documents_start_nothing_and_show_as_written(opened):
    name = '<img src=x onerror="window.struck=1">&lt;b&gt;.md'
    link = "<img src=x onerror=window.struck=1>.md"
    quoted = lambda text: text.replace("<", "%3C").replace(">", "%3E").replace(" ", "%20").replace("&", "%26")  # noqa: E731
    # In code the name of a heading keeps its tags.
    browser = opened({
        name: f"# `{HOSTILE}`\n\n[a](<{quoted(link)}>)\n\n## ${{policy}} $$\n",
        "javascript:struck=1.md": f"# J\n\n[a]({quoted(name)})\n",
        "${script}/</title><script>struck=1</script>.md": "# \u2028 \ud7ff \U0001f600\n",
    })  # fmt: skip
    assert any(title.startswith(HOSTILE[:90]) for title in texts(browser, ".node title"))
    browser.find_element(By.CSS_SELECTOR, '.node[aria-label*="onerror"]').click()
    assert HOSTILE in texts(browser, "h2") and "${policy} $$" in texts(browser, "#reading .section a")
    browser.find_element(By.ID, "search").send_keys("e")
    for place in ("img", "iframe", "svg svg", "script:not([type]) ~ script ~ script"):
        assert browser.find_elements(By.CSS_SELECTOR, place) == []
    assert browser.execute_script("return window.struck") is None
    hrefs = [link.get_attribute("href") for link in browser.find_elements(By.CSS_SELECTOR, "a[href]")]
    assert all(href.startswith("file:///") for href in hrefs)


@in_browser
def test_what_got_in_could_neither_run_nor_reach_the_network(browser, tmp_path):
    browser.get(write_page(tmp_path, FOLDER).as_uri())
    browser.execute_script("""
        const script = document.createElement("script");
        script.textContent = "window.struck = 1";
        document.body.append(script);
        document.body.setAttribute("onclick", "window.struck = 2");
        document.body.click();
    """)
    assert browser.execute_script("return window.struck") is None
    fetched = "fetch('data:,x').then(() => arguments[0]('reached'), () => arguments[0]('refused'))"
    assert browser.execute_async_script(fetched) == "refused"
    assert any("Content Security Policy" in entry["message"] for entry in browser.get_log("browser"))


@in_browser
@pytest.mark.parametrize(
    ("folder", "rows"), [pytest.param("part{}", 601, id="folders"), pytest.param("one", 401, id="one folder")]
)
def test_six_thousand_documents_stay_usable(opened, folder, rows):
    browser = opened(many(6000, folder))
    assert 20 < len(texts(browser, "#graph .node")) < 150
    assert "most linked of 6,000" in texts(browser, "#shown")[0]
    browser.find_element(By.ID, "search").send_keys("number 4321")
    press(browser, Keys.ENTER)
    assert texts(browser, "h2") == ["Title number 4321 of these"] and len(texts(browser, "#graph .node")) >= 3
    assert texts(browser, '#tree [aria-selected="true"] > .row .name') == ["Title number 4321 of these"]
