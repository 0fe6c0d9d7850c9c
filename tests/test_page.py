"""`docmap page`: the page in a real browser; what it holds, how it is used, and that documents cannot start anything."""

import json
import re
import shutil
import sys

import pytest
from docmap.cli import app
from typer.testing import CliRunner

pytest.importorskip("gravis", reason="the drawing library is not installed (requirements/page.txt)")
webdriver = pytest.importorskip(
    "selenium.webdriver", reason="selenium is not installed (requirements/page.txt)"
)
from selenium.webdriver.common.by import By  # noqa: E402
from selenium.webdriver.common.keys import Keys  # noqa: E402

CHROMIUM = shutil.which("chromium") or shutil.which("google-chrome")
DRIVER = shutil.which("chromedriver")
in_browser = pytest.mark.skipif(
    not (CHROMIUM and DRIVER), reason="no chromium with its chromedriver is installed"
)

FOLDER = {
    "index.md": "# Home\n\n[guide](guide/start.md) and [gone](gone.md)\n",
    "guide/start.md": "# Start\n\n## Install\n\n### Linux\n\n[back](../index.md)\n\n## Use\n",
    "guide/more.md": "# More\n\n[s](start.md) [s](start.md#use)\n",
    "lone.md": "no heading\n",
}


def write_page(root, files):
    for path, text in files.items():
        (root / "docs" / path).parent.mkdir(parents=True, exist_ok=True)
        (root / "docs" / path).write_text(text)
    page = root / "page.html"
    result = CliRunner().invoke(app, ["page", str(root / "docs"), "-o", str(page)])
    assert result.exit_code == 0, result.output
    return page


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

    def open_page(files, place=""):
        browser.get("about:blank")
        browser.get(write_page(tmp_path, files).as_uri() + place)
        return browser

    yield open_page
    assert browser.get_log("browser") == []


def texts(browser, selector):
    script = "return [...document.querySelectorAll(arguments[0])].map((found) => found.textContent)"
    return browser.execute_script(script, selector)


def details(browser):
    return browser.find_element(By.ID, "details").text


def press(browser, *keys):
    for key in keys:
        browser.switch_to.active_element.send_keys(key)


def test_the_map_names_the_pages_that_links_lead_to(tmp_path):
    page = write_page(tmp_path, FOLDER).read_text()
    data = json.loads(re.search(r'id="data">(.*?)</script>', page)[1])
    by_path = {entry["path"]: entry for entry in data["documents"]}
    order = [entry["path"] for entry in data["documents"]]
    assert by_path["guide/more.md"]["links"] == [[order.index("guide/start.md"), 2]]
    assert by_path["index.md"]["broken"] == [[3, "gone.md", 'no file "gone.md"', "lone.md"]]
    assert by_path["guide/start.md"]["sections"] == [
        [0, "Start", 1, 9], [1, "Install", 3, 7], [2, "Linux", 5, 7], [1, "Use", 9, 9],
    ]  # fmt: skip
    assert by_path["lone.md"]["title"] == "lone.md" and data["base"] == "docs"


@pytest.mark.parametrize(
    ("arguments", "status", "said"),
    [
        pytest.param(["{}/none", "-o", "-"], 2, "is not a folder", id="no folder"),
        pytest.param(["{}", "-o", "{}/no/page.html"], 1, "page.html: No such file", id="cannot be written"),
        pytest.param(
            ["{}", "-o", "-"], 0, "0 files, 0 sections, 0 links, 0 broken", id="empty, to the output"
        ),
    ],
)
def test_status(tmp_path, arguments, status, said):
    result = CliRunner().invoke(app, ["page", *(argument.format(tmp_path) for argument in arguments)])
    assert result.exit_code == status and said in result.stderr
    assert ("</html>" in result.stdout) == (status == 0)


def test_without_the_library_one_line_says_how_to_get_it(tmp_path, monkeypatch):
    monkeypatch.setattr("docmap.page._CARRIER", "no-such-distribution")
    result = CliRunner().invoke(app, ["page", str(tmp_path), "-o", "-"])
    assert (
        result.exit_code == 1
        and result.stderr.count("\n") == 1
        and 'pip install "docmap[page]"' in result.stderr
    )


@in_browser
def test_the_graph_shows_documents_and_a_chosen_one_with_its_broken_links(opened):
    browser = opened(FOLDER)
    assert texts(browser, "#counts") == ["4 documents, 6 sections, 5 links, 1 broken"]
    assert sorted(texts(browser, "#graph > g > text")) == ["Home", "More", "Start", "lone.md"]
    assert len(texts(browser, "#graph line")) == 3 and len(texts(browser, ".node.broken")) == 1
    browser.find_element(By.CSS_SELECTOR, '.node[aria-label^="Home"]').click()
    assert sorted(texts(browser, "#graph > g > text")) == ["Home", "Start", "gone.md"]
    assert 'line 3: no file "gone.md"' in details(browser) and "index.md" in details(browser)
    browser.back()
    assert len(texts(browser, ".node")) == 4


@in_browser
def test_the_tree_is_made_when_opened_and_moves_by_keys(opened):
    browser = opened(FOLDER)
    assert texts(browser, "#tree .name") == ["guide", "index.md", "lone.md"]
    browser.find_element(By.ID, "search").send_keys(Keys.TAB)
    press(browser, Keys.ARROW_RIGHT, Keys.ARROW_RIGHT, Keys.ARROW_DOWN, Keys.ARROW_RIGHT, Keys.ARROW_RIGHT)
    press(browser, Keys.ARROW_RIGHT, Keys.ARROW_RIGHT, Keys.ARROW_DOWN)
    assert browser.switch_to.active_element.get_attribute("aria-label") == "Use"
    press(browser, Keys.ENTER)
    assert texts(browser, '#tree [aria-selected="true"] > .row .name') == ["Use"]
    assert "guide/start.md" in details(browser)
    press(browser, Keys.ARROW_LEFT, Keys.ARROW_LEFT)
    assert browser.switch_to.active_element.get_attribute("aria-expanded") == "false"


@in_browser
def test_the_search_finds_sections_and_documents_by_keys(opened):
    browser = opened(FOLDER)
    browser.find_element(By.ID, "graph-pane").send_keys("/")
    press(browser, "LiN")
    assert texts(browser, "#results button") == ["Linuxguide/start.md:5"]
    press(browser, Keys.ARROW_DOWN, Keys.ENTER)
    assert texts(browser, '#tree [aria-selected="true"] > .row .name') == ["Linux"]
    press(browser, Keys.ESCAPE)
    assert browser.find_element(By.ID, "tree").is_displayed()
    press(browser, "start.md")
    assert texts(browser, "#results button") == ["Startguide/start.md"]


@in_browser
def test_the_colours_follow_the_system_until_switched(opened):
    browser = opened(FOLDER)
    script = "return getComputedStyle(document.body).backgroundColor"
    light = browser.execute_script(script)
    for media in ("dark", "light"):
        features = [{"name": "prefers-color-scheme", "value": media}]
        browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": features})
        assert (browser.execute_script(script) == light) == (media == "light")
    browser.find_element(By.ID, "theme").click()
    assert browser.execute_script(script) != light
    browser.refresh()
    assert browser.execute_script(script) != light
    browser.find_element(By.ID, "theme").click()
    assert browser.execute_script(script) == light


HOSTILE = '</script><!--<script><img src=x onerror="window.struck=1"><svg onload=window.struck=1>'


@in_browser
def test_documents_start_nothing_and_show_as_written(opened):
    name = '<img src=x onerror="window.struck=1">&lt;b&gt;.md'
    link = "<img src=x onerror=window.struck=1>.md"
    # In code the name of a heading keeps its tags.
    browser = opened({
        name: f"# `{HOSTILE}`\n\n[a](<{link.replace('<', '%3C').replace('>', '%3E')}>)\n\n# ${{policy}} $$\n",
        "javascript:struck=1.md": f"# J\n\n[a]({name.replace('<', '%3C').replace('>', '%3E').replace(' ', '%20')})\n",
        "${script}/</title><script>struck=1</script>.md": "# \u2028 \ud7ff \U0001f600\n",
    })  # fmt: skip
    assert any(title.startswith(HOSTILE) for title in texts(browser, ".node title"))
    browser.find_element(By.CSS_SELECTOR, '.node[aria-label*="onerror"]').click()
    assert HOSTILE in texts(browser, "#details h2") and "${policy} $$" in texts(browser, "#details li button")
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
    ("path", "drawn", "rows", "said"),
    [
        pytest.param("{}.md", 120, 401, "the 120 of 6,000 documents with most links", id="one flat folder"),
        pytest.param("en/{0[3]}/{0}.md", 10, 1, "10 folders, 6,000 documents", id="folders"),
    ],
)
def test_six_thousand_documents_stay_usable(opened, path, drawn, rows, said):
    names = [f"{number:04}" for number in range(6000)]
    paths = [path.format(name) for name in names]
    up = "../" * path.count("/")
    files = {
        p: f"# D{n}\n\n## S\n\n[x]({up}{paths[(int(n) * 7 + 1) % 6000]})\n"
        for n, p in zip(names, paths, strict=True)
    }
    browser = opened(files)
    assert texts(browser, "#shown") == [said]
    assert len(texts(browser, ".node")) == drawn and len(texts(browser, "#tree li")) == rows
    browser.find_element(By.ID, "search").send_keys("d4321")
    browser.find_element(By.CSS_SELECTOR, "#results button").click()
    assert len(texts(browser, ".node")) == 3 and "D4321" in texts(browser, "#graph > g > text")
    assert texts(browser, '#tree [aria-selected="true"] > .row .name') == ["4321.md"]


def test_a_file_name_that_is_no_text_does_not_stop_the_page(tmp_path):
    if sys.platform != "linux":
        pytest.skip("file names are any bytes on Linux only")
    write_page(tmp_path, {"a\udcff.md": "# A\n"})
