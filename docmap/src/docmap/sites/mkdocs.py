"""MkDocs: a folder with mkdocs.yml; and Zensical, which has its settings from zensical.toml as well."""

from __future__ import annotations

import posixpath
import re
from collections.abc import Callable, Iterable, Iterator, Sequence
from functools import partial
from typing import Any

from pathspec import GitIgnoreSpec

from docmap.facts import (
    BRACKETED,
    DOLLARS,
    EMBED,
    ENVIRONMENT,
    FENCE,
    HREF,
    LIQUID,
    NAV,
    SNIPPET,
    SRC,
    WIKI,
    Construct,
    Facts,
    Heading,
    Link,
)
from docmap.repository import Repository
from docmap.sites import literals, slugs
from docmap.sites.mkdocs_languages import Languages
from docmap.sites.mkdocs_nav import links_of_navigation
from docmap.sites.mkdocs_settings import (
    USUAL_EXTENSIONS,
    configurations,
    named_options,
    rewrites_links,
    settings_of,
)
from docmap.sites.resolution import Resolution, found
from docmap.sites.rules import Effect, Rules, numbered
from docmap.sites.site import Site
from docmap.sites.ways import (
    as_hosted,
    base_of,
    by_web_server,
    file_from_content,
    is_elsewhere,
    itself,
    nothing_because,
    outside_base,
    outside_content,
    page_at_address,
    site_file,
)

KIND = "mkdocs"

# Plugins that make neither pages nor links nor anchors, or only those that the rules know.
_HARMLESS = literals.words(
    """
    search minify social privacy offline optimize meta info typeset group blog tags redirects autorefs
    section-index awesome-pages awesome-nav exclude glightbox git-revision-date
    git-revision-date-localized git-authors git-committers git-committers-2 table-reader mermaid2
    htmlproofer open-in-new-tab codeinclude include-markdown mkdocstrings macros literate-nav
    encryptcontent charts callouts rss pdf-export with-pdf swagger-ui-tag tooltips panzoom
    markdownextradata section-number add-number enumerate-headings caption img2fig drawio kroki plantuml
    build_plantuml same-dir toggle-sidebar video spellcheck linkcheck navlinks exclude-search termynal
    mike i18n material-relative-language-selector ezglossary unused_files no-sitemap markdown-filter
    custom-attributes markdown-exec
    """
)
# What plugins make, and where: name -> pattern of addresses.
_MADE_BY = {
    "blog": r"/blog/(?:archive|category|page|author|\d+)/.*",
    "rss": r"/feed_\w+\.(?:xml|json)",
    "social": r"/assets/images/social/.*",
}
# Plugins that bring documents, to go by their names.
_MAKES_SOURCES = re.compile(r"gen|auto|api|repo|import|jupyter|notebook|gallery|merge|projects|doxy|simple")
# Events by which a hook can bring files or pages; those for pages can bring anchors.
_FILE_EVENT = re.compile(r"^def on_(?:config|files|nav|pre_build|post_build|env)\b", re.MULTILINE)
_PAGE_EVENT = re.compile(r"^def on_(?:page_\w+|post_page)\b", re.MULTILINE)
# A fence whose output markdown-exec puts in its place.
_EXECUTED = re.compile(r"^[ \t>]*(?:`{3,}|~{3,}).*\bexec=", re.MULTILINE)

# Extensions, and what is Markdown with each of them though the grammar calls it something else.
_BODIES = {"md_in_html": "element", "def_list": "definition", "footnotes": "footnote"}

# What attr_list reads after the text of a heading: {#id}, {: #id .class }, { id="id" }.
_BEFORE_ID = r"""(?:(?<![^\s{:])#|\bid=["']?)(?=[^\s{}"'])"""
# Linear: there is one place for the id, the first.
_ATTRIBUTES = rf"""\{{(?:(?!{_BEFORE_ID})[^{{}}])*{_BEFORE_ID}([^\s{{}}"']+)(?![^\s{{}}"'])[^{{}}]*\}}\s*$"""
# The title of a content tab: === "Title".
_TAB = re.compile(r'^[ \t]*===[!+]* "(.+)"', re.MULTILINE)
_EMOJI = re.compile(r":[\w+-]+:")
# Ids that blocks of pymdownx give: of an element, `/// html | div#id.class`, and of any block, `attrs: {id: name}`.
_BLOCK_ID = re.compile(
    r"""^[ \t]*/{3,}[ \t]*html[ \t]*\|[^\n#]{0,1000}\#(?P<element>[\w-]+)
      | ^[ \t]{4,}attrs:[ \t]*\{(?:[^{}\n]{0,1000}[\s,])?id:[ \t]*["']?(?P<attribute>[^\s"',{}]+)""",
    re.MULTILINE | re.VERBOSE,
)


def _addresses(
    directory_urls: bool, left_out: GitIgnoreSpec, languages: Languages, site: Site, page: str, facts: Facts
) -> Sequence[str]:
    """index.md is the index of its folder, and README.md where there is none."""
    place = site.within(page, site.content) or page
    if left_out.match_file(place):
        return ()
    if not languages.names:
        return _addresses_of(directory_urls, site, place)
    language, plain = languages.split(place)
    addresses = _addresses_of(directory_urls, site, plain)
    return [there for address in addresses for there in languages.addresses(language, address)]


def _addresses_of(directory_urls: bool, site: Site, place: str) -> list[str]:
    """The addresses of a page by its place below the content, without a language."""
    folder, name = posixpath.split(posixpath.splitext(place)[0])
    index = posixpath.join(site.content, folder, "index.md")
    if name == "index" or (name == "README" and index not in site.repository.files):
        return [posixpath.join("/", folder, ""), posixpath.join("/", folder, "index.html")]
    stem = posixpath.join("/", folder, name)
    return [f"{stem}/" if directory_urls else f"{stem}.html"]


def _document(site: Site, link: Link, source: str) -> Resolution | None:
    """A path to a file in the folder of documents, relative to the file that links to it."""
    if link.path.endswith("/") or site.within(site.place(link.path, source), site.content) is None:
        return None
    place = site.place(link.path, source)
    if place not in site.repository.files:
        # A folder is left to the browser, as any address.
        return None
    if site.addresses.get(place) == []:
        return nothing_because(site, link, source, f"the configuration leaves {place} out")
    return site_file(site, place)


def _named(site: Site, link: Link, source: str) -> Resolution | None:
    """A wiki link finds a page anywhere by its name."""
    name = posixpath.splitext(link.path)[0].casefold()
    pages = [
        page for page in site.pages if posixpath.splitext(posixpath.basename(page))[0].casefold() == name
    ]
    return found(*pages) if pages else None


def _snippet_of(repository: Repository, bases: Sequence[str], construct: Construct) -> str:
    """The file that a snippet names, in the first of the folders that has it; in the first of all where none does."""
    path = re.sub(r":[^/]*$", "", construct.arguments.strip().strip("\"'"))
    places = [posixpath.normpath(posixpath.join(base, path)) for base in bases]
    return next((place for place in places if place in repository.files), places[0])


def _snippet(bases: tuple[str, ...], site: Site, construct: Construct, page: str) -> str | None:
    return _snippet_of(site.repository, bases, construct)


def _included(site: Site, construct: Construct, page: str) -> str | None:
    path = re.match(r"""\s*["']([^"']+)""", construct.arguments)
    return site.place(path[1], page) if path is not None else None


def _tab_anchors(
    slug: Callable[[str], str], combined: bool, site: Site, page: str, facts: Facts
) -> Iterable[str]:
    """Content tabs have anchors of their titles, or of heading and title."""
    titles = dict.fromkeys(map(slug, dict.fromkeys(_TAB.findall(site.repository.text(page) or ""))))
    headings = dict.fromkeys(slug(heading.text) for heading in facts.headings) if combined and titles else ()
    yield from titles
    yield from (f"{heading}-{title}" for heading in headings for title in titles)


def _all_of(
    sources: tuple[Callable[[Site, str, Facts], Iterable[str]], ...], site: Site, page: str, facts: Facts
) -> Iterable[str]:
    return (anchor for source in sources for anchor in source(site, page, facts))


def _block_ids(site: Site, page: str, facts: Facts) -> Iterable[str]:
    for match in _BLOCK_ID.finditer(site.repository.text(page) or ""):
        yield match[match.lastgroup or 0]


def _all_anchors(site: Site) -> frozenset[str]:
    return frozenset(anchor for page in site.pages for anchor in site.anchors(page).known)


def _is_heading(site: Site, label: str) -> bool:
    """autorefs takes a label for the anchor of a heading of any page, else for its text."""
    name = label.strip("`")
    return not site.once(_all_anchors).isdisjoint({name, site.rules.slug(name)})


def _text_without_emoji(heading: Heading) -> str:
    return _EMOJI.sub("", heading.text)


RULES = Rules(
    kind=KIND,
    ways={
        "link": (itself, _document, outside_content, page_at_address, outside_base, by_web_server),
        HREF: (itself, page_at_address, outside_base, by_web_server),
        SRC: (page_at_address, outside_base),
        NAV: (_document,),
    },
    page_suffixes=(".md", ".markdown", ".mdown", ".mkdn", ".mkd"),
    not_copied=(".md", ".markdown", ".mdown", ".mkdn", ".mkd"),
    made={
        r"/404\.html|/sitemap\.xml(?:\.gz)?|/search(?:\.html|/.*)": None,
        r"/assets/(?:javascripts|stylesheets)/.*": None,
    },
    slug=slugs.python_markdown,
    repeats=numbered(join="_"),
    always=r"|top|:~:.*|fn(?:ref)?\d*:.*|tag:.*|__\w.*",
    bodies=("admonition",),
)


def find(repository: Repository) -> Iterator[str]:
    """The configurations: a folder may hold several, one a language."""
    return configurations(repository)


def make(repository: Repository, root: str) -> Site | None:
    """The site of a configuration, or of the first in a folder."""
    if root in repository.files:
        path, root = root, posixpath.dirname(root)
    else:
        path = next((path for path in configurations(repository) if posixpath.dirname(path) == root), "")
    config = settings_of(repository, path)
    extensions = named_options(config.get("markdown_extensions"))
    if path.endswith(".toml") and "markdown_extensions" not in config:
        extensions = dict(USUAL_EXTENSIONS)
    plugins = named_options(config.get("plugins"))
    content = posixpath.normpath(posixpath.join(root, literals.text(config, "docs_dir", otherwise="docs")))
    languages = Languages.of(plugins.get("i18n"))
    directory_urls = config.get("use_directory_urls", True) is not False
    rules = RULES.changed(
        addresses=partial(_addresses, directory_urls, _left_out(config), languages),
        base=base_of(literals.text(config, "site_url")),
        redirects=_redirects(plugins.get("redirects")),
        static=_theme_folders(root, config),
        listed=tuple(links_of_navigation(config.get("nav"), set(plugins), repository.text(path) or "")),
    )
    rules = _with_extensions(rules, repository, root, extensions)
    rules = _with_plugins(rules, path, plugins)
    rules = _with_hooks(rules, repository, root, literals.texts(config.get("hooks")))
    ways = dict(rules.ways)
    if literals.get(config, "validation", "links", "absolute_links") == "relative_to_docs" or (
        literals.get(config, "validation", "absolute_links") == "relative_to_docs"
    ):
        ways["link"] = (itself, file_from_content, *ways["link"])
    if posixpath.basename(path).startswith("zensical"):
        # MkDocs leaves the addresses of elements as they are, in any block. Of Zensical this is not known.
        ways[HREF] = ways[SRC] = (*ways[HREF], _document)
    if languages.names:
        ways["link"] = (itself, languages.way, *ways["link"][1:])
    if {"roamlinks", "ezlinks", "obsidian-bridge", "wikilinks"} & {*plugins, *extensions}:
        ways[WIKI] = ways[EMBED] = (itself, _document, page_at_address, _named)
        rules = rules.changed(wiki_links=True)
    return Site(
        as_hosted(rules.changed(ways=ways), repository, root),
        repository,
        root,
        "" if content == "." else content,
        path,
    )


def _left_out(config: dict[str, Any]) -> GitIgnoreSpec:
    """The documents that the built site does not have."""
    lines = [literals.text(config, setting).splitlines() for setting in ("exclude_docs", "draft_docs")]
    try:
        return GitIgnoreSpec.from_lines(line for some in lines for line in some)
    except ValueError:
        return GitIgnoreSpec.from_lines([])


def _redirects(options: dict[str, Any] | None) -> dict[str, str]:
    """Redirects by file: old.md -> new.md#anchor, as addresses in both forms."""
    redirects: dict[str, str] = {}
    for old, new in literals.table(options, "redirect_maps").items():
        if not isinstance(new, str):
            continue
        stem = re.sub(r"(?:^|/)(?:index|README)$", "", posixpath.splitext(str(old))[0])
        for address in (f"/{stem}/".replace("//", "/"), f"/{stem}.html"):
            redirects[address] = new if is_elsewhere(new) else re.sub(r"\.md(?=#|$)", "/", "/" + new)
    return redirects


def _theme_folders(root: str, config: dict[str, Any]) -> tuple[str, ...]:
    """The folder of the site's own theme, the files of which are served from "/"."""
    custom = literals.get(config.get("theme"), "custom_dir")
    return (posixpath.normpath(posixpath.join(root, custom)),) if isinstance(custom, str) else ()


def _slug_function(options: object) -> Callable[[str], str] | None:
    """The function that the options of an extension name; None for one that is not known here."""
    setting = literals.get(options, "slugify")
    separator = literals.text(options, "separator", otherwise="-")
    name = setting if isinstance(setting, str) else literals.text(setting, "!")
    # TOML has no tags: {object = "pymdownx.slugs.slugify", kwds = {case = "lower"}}.
    name = literals.text(setting, "object", otherwise=name)
    if setting is None:
        return partial(slugs.python_markdown, separator=separator)
    if "slugify_unicode" in name:
        return partial(slugs.python_markdown_unicode, separator=separator)
    if "pymdownx.slugs." in name:
        usual = "lower" if "uslugify" in name and "cased" not in name else ""
        case = literals.text(setting, "kwds", "case", otherwise=usual)
        return slugs.pymdown(case, separator)
    return partial(slugs.python_markdown, separator=separator) if name.endswith("toc.slugify") else None


def _with_extensions(
    rules: Rules, repository: Repository, root: str, extensions: dict[str, dict[str, Any]]
) -> Rules:
    """The rules as extensions of Markdown change them; `extensions`: their options by name."""
    effects = dict(rules.effects)
    slug = _slug_function(extensions.get("toc"))
    if slug is None:
        rules = rules.changed(any_anchor="made by the slugify function of mkdocs.yml?")
    elif "toc" in extensions:
        rules = rules.changed(slug=slug)
    if {"attr_list", "extra", "pymdownx.extra"} & extensions.keys():
        rules = rules.changed(custom_id=_ATTRIBUTES, named=("attribute_ids",))
    bodies = (kind for name, kind in _BODIES.items() if {name, "extra", "pymdownx.extra"} & extensions.keys())
    rules = rules.changed(bodies=(*rules.bodies, *bodies))
    if "pymdownx.emoji" in extensions:
        rules = rules.changed(heading_text=_text_without_emoji)
    if any(re.search(r"arithmatex|math$|katex", name) for name in extensions):
        rules = rules.changed(literal=rules.literal | DOLLARS | {BRACKETED, ENVIRONMENT})
    more: list[Callable[[Site, str, Facts], Iterable[str]]] = []
    tabbed = extensions.get("pymdownx.tabbed", {})
    if "slugify" in tabbed:
        titles = _slug_function(tabbed) or slugs.pymdown("lower")
        combined = bool(tabbed.get("combine_header_slug"))
        more.append(partial(_tab_anchors, titles, combined))
    if any(name.startswith("pymdownx.blocks.") for name in extensions):
        more.append(_block_ids)
    if more:
        rules = rules.changed(more_anchors=partial(_all_of, tuple(more)))
    if "markdown_exec" in str(extensions.get("pymdownx.superfences")):
        rules = rules.changed(unread_anchors=_executes)
    snippets = extensions.get("pymdownx.snippets")
    if snippets is not None:
        # Relative to the folder that the program is started in: that of the configuration, or the repository's.
        bases = tuple(
            Site.place(base, posixpath.join(folder, "x"))
            for folder in dict.fromkeys((root, ""))
            for base in literals.texts(snippets.get("base_path"))
        ) or (root,)
        effects[SNIPPET] = Effect(includes=partial(_snippet, bases), anchors="included in line {line}?")
        labels: set[str] = set()
        everywhere: list[str] = []
        for name in literals.texts(snippets.get("auto_append")):
            places = (posixpath.normpath(posixpath.join(base, name)) for base in bases)
            appended = next((place for place in places if place in repository.files), None)
            everywhere += [] if appended is None else [appended]
            labels.update(() if appended is None else _labels_of(repository, bases, appended))
            if appended is None:
                rules = rules.changed(any_label=f"defined by {name}, which pymdownx.snippets appends?")
        rules = rules.changed(more_labels=frozenset(labels), appended=tuple(everywhere))
    return rules.changed(effects=effects)


def _labels_of(repository: Repository, bases: tuple[str, ...], path: str) -> Iterable[str]:
    """The labels that a file defines, and the snippets in it."""
    waiting, seen = [path], {path}
    while waiting:
        facts = repository.facts(waiting.pop(), suffixes=("",))
        if facts is None:
            continue
        yield from facts.labels
        for construct in facts.constructs:
            if construct.form == SNIPPET:
                snippet = _snippet_of(repository, bases, construct)
                waiting += [] if snippet in seen else [snippet]
                seen.add(snippet)


def _with_plugins(rules: Rules, path: str, plugins: dict[str, dict[str, Any]]) -> Rules:
    """The rules as plugins change them; `path`: the configuration that names these."""
    effects, made = dict(rules.effects), dict(rules.made)
    for name, pattern in _MADE_BY.items():
        if name in plugins:
            made[pattern] = f"made by the plugin `{name}`?"
    if "include-markdown" in plugins:
        include = Effect(includes=_included, anchors="included in line {line}?")
        effects |= {f"{LIQUID}:include-markdown": include, f"{LIQUID}:include": include}
    if "mkdocstrings" in plugins or "autorefs" in plugins:
        rules = rules.changed(any_label="a name that mkdocstrings documents?", names_label=_is_heading)
        effects[FENCE] = Effect(anchors="made of what mkdocstrings documents in line {line}?")
    if "markdown-exec" in plugins:
        rules = rules.changed(unread_anchors=_executes)
    if "macros" in plugins:
        effects[LIQUID] = Effect(anchors="made by a macro in line {line}?")
    for name in sorted(plugins.keys() - _HARMLESS):
        why = f"made by the plugin `{name}` of {path}?"
        rules = rules.changed(any_target=why, any_anchor=why)
        if _MAKES_SOURCES.search(name):
            rules = rules.changed(any_source=why)
    return rules.changed(effects=effects, made=made)


def _with_hooks(rules: Rules, repository: Repository, root: str, hooks: list[str]) -> Rules:
    """The rules as hooks change them, programs of the site's own; `hooks`: their paths below `root`."""
    for hook in hooks:
        text, why = repository.text(posixpath.join(root, hook)), f"made by the hook {hook}?"
        if not text or _FILE_EVENT.search(text):
            rules = rules.changed(any_target=why)
        if text and _FILE_EVENT.search(text):
            rules = rules.changed(any_source=why)
        if not text or _PAGE_EVENT.search(text):
            rules = rules.changed(any_anchor=why, any_label=why)
        if text and _PAGE_EVENT.search(text) and rewrites_links(text):
            rules = rules.changed(rewritten=f"does the hook {hook} make another link of it?")
    return rules


def _executes(site: Site, page: str, facts: Facts) -> str | None:
    """Code that markdown-exec runs may print headings."""
    text = site.repository.text(page) or ""
    return "printed by code that markdown-exec runs?" if "exec=" in text and _EXECUTED.search(text) else None
