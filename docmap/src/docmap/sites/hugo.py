"""Hugo: a folder with hugo.toml (or another of its names) and content."""

from __future__ import annotations

import posixpath
import re
from collections.abc import Iterator, Mapping, Sequence
from functools import partial
from typing import Any, NamedTuple

from docmap.facts import FRONT_MATTER, HREF, IMAGE, LIQUID, SHORTCODE, SRC, TEMPLATE, Construct, Heading, Link
from docmap.repository import Repository
from docmap.sites import literals, slugs
from docmap.sites.components import may_make_anchors
from docmap.sites.hugo_addresses import SUFFIXES, Pages, Root, content_path, forms, urlized
from docmap.sites.hugo_settings import (
    CONFIGURATIONS,
    contents_of,
    is_configured,
    made_by_outputs,
    mounts_of,
    permalinks_of,
    read_settings,
)
from docmap.sites.resolution import Resolution, doubtful, found
from docmap.sites.rules import ID_IN_BRACES, Effect, Rules
from docmap.sites.site import Site
from docmap.sites.ways import as_hosted, base_of, itself, nothing_because, outside_base, page_at_address

KIND = "hugo"

# Shortcodes of Hugo's own that make no anchors.
_KNOWN = literals.words(
    """
    details figure gist highlight instagram param qr ref relref tweet twitter vimeo x youtube
    """
)
_SUFFIX = re.compile(r"\.(?:md|markdown|mdown|html)$")
_INDEX = re.compile(r"(?:^|/)_?index$")
_SPACES = re.compile(r"\s+")
_OF_LANGUAGE = re.compile(r"\.[a-z]{2}(?:-\w+)?(?=\.\w+$)")
_BRINGS_TEXT = re.compile(r"readFile|RenderShortcodes|\.Content\b|\.RawContent")
# Templates make Markdown as well: headings, and terms with ": " below.
_MAKES_HEADINGS = re.compile(r"^\s*(?:#{1,6}|:)\s", re.MULTILINE)
_REF = re.compile(r"\{\{[<%]\s*(?:rel)?ref\s+(.*?)\s*/?[>%]\}\}(.*)", re.DOTALL)
_WORDS = re.compile(r"""(?:(\w+)=)?(?:"([^"]*)"|'([^']*)'|`([^`]*)`|([^\s"'`]+))""")
_SLUGS: Mapping[str, Any] = {
    "github": slugs.hugo,
    "github-ascii": slugs.hugo_ascii,
    "blackfriday": slugs.blackfriday,
}


class _Lookup:
    """Finds pages as .GetPage does: by path from the source's folder, from the content's root, or by name."""

    def __init__(self, roots: Sequence[Root]) -> None:
        self.roots = roots
        self._index: dict[str, list[str]] = {}
        self._paths: dict[str, tuple[str, str]] = {}

    def find(self, site: Site, path: str, source: str) -> Resolution | None:
        if not path:
            return found(source)
        language, folder = self._path_of(site, source)
        folder = posixpath.dirname(folder)
        places = [path.lstrip("/")]
        if not path.startswith("/"):
            starts = [folder, posixpath.dirname(folder)] if _is_leaf(source) else [folder]
            places = [posixpath.join(start, path) for start in starts] + places
        index = self._pages(site)
        for place in places:
            pages = index.get(_logical(posixpath.normpath(place)))
            if pages:
                own = [page for page in pages if self._path_of(site, page)[0] == language]
                return found(*(own or pages))
        # A bare name finds the only page that has it, wherever that lies.
        name = _logical(path)
        named = [
            page for logical, pages in index.items() if logical.rpartition("/")[2] == name for page in pages
        ]
        return found(*named) if "/" not in path and len(named) == 1 else None

    def _pages(self, site: Site) -> dict[str, list[str]]:
        if not self._index:
            for page, addresses in site.addresses.items():
                # A translation answers to the path of its original.
                _, path = self._path_of(site, page)
                paths = (path, _OF_LANGUAGE.sub("", path))
                for path in dict.fromkeys(map(_logical, paths)) if addresses else ():
                    self._index.setdefault(path, []).append(page)
        return self._index

    def _path_of(self, site: Site, page: str) -> tuple[str, str]:
        if page not in self._paths:
            outside = "", site.within(page, site.content) or page
            self._paths[page] = content_path(self.roots, page) or outside
        return self._paths[page]


def _is_leaf(page: str) -> bool:
    return posixpath.basename(page).startswith("index.")


def _logical(path: str) -> str:
    path = _SUFFIX.sub("", path.rstrip("/"))
    return _SPACES.sub("-", _INDEX.sub("", "" if path == "." else path).lower())


def _ref(lookup: _Lookup, site: Site, link: Link, source: str) -> Resolution | None:
    """{{< ref "page#anchor" >}} stands for the address of a page."""
    match = _REF.search(link.path)
    if match is None:
        return doubtful("filled in by a template")
    words = [(key, next(filter(None, texts), "")) for key, *texts in _WORDS.findall(match[1])]
    options = dict(words)
    target = options.get("path") or next((text for key, text in words if not key), "")
    path, _, anchor = target.partition("#")
    resolution = lookup.find(site, path, source)
    if resolution is None:
        why = (
            "an output format or language of its own?" if {"lang", "outputFormat"} & options.keys() else None
        )
        return doubtful(why) if why else nothing_because(site, link, source, f"no page {path}")
    behind = match[2].partition("#")[2]
    return Resolution(resolution.outcome, resolution.pages, anchor=anchor or behind or None)


def _hooked(
    lookup: _Lookup, special: frozenset[str], site: Site, link: Link, source: str
) -> Resolution | None:
    """A render hook finds pages by path, as .GetPage does, and files of the page's bundle."""
    if link.path in special:
        return found()
    resolution = lookup.find(site, link.path, source)
    return resolution if resolution is not None else _resource(site, link, source)


def _resource(site: Site, link: Link, source: str) -> Resolution | None:
    """A file of the bundle around a page, or of the assets."""
    folder = posixpath.dirname(source)
    path = link.path.lstrip("/")
    for place in (posixpath.join(folder, path), posixpath.join(site.root, "assets", path)):
        if posixpath.normpath(place) in site.repository.files:
            return found()
    return None


def _bundled(site: Site, link: Link, source: str) -> Resolution | None:
    """Files beside index.md and _index.md are served at the page's address."""
    name = posixpath.basename(source)
    if link.path.startswith("/") or not name.startswith(("index.", "_index.")):
        return None
    return found() if site.place(link.path, source) in site.repository.files else None


def _unknown_hook(why: str, site: Site, link: Link, source: str) -> Resolution | None:
    """A theme that is not here may bring a render hook, which finds files and assets."""
    places = (site.place(link.path, source), posixpath.join(site.root, "assets", link.path.lstrip("/")))
    return doubtful(why) if any(place in site.repository.files for place in places) else None


def _other_page(roots: Sequence[Root], site: Site, link: Link, source: str) -> Resolution | None:
    """Content that is no Markdown makes pages, too."""
    path = site.address_of(link.path, source).strip("/")
    starts = [root.folder for root in roots if not root.target]
    stems = (posixpath.join(start, path, name).rstrip("/") for start in starts for name in ("", "_index"))
    names = (f"{stem}{suffix}" for stem in stems for suffix in (".html", ".adoc", ".rst", ".org", ".pandoc"))
    return found() if any(name in site.repository.files for name in names) else None


def _term(taxonomies: frozenset[str], site: Site, link: Link, source: str) -> Resolution | None:
    """The pages that Hugo makes of each taxonomy and of its terms."""
    taxonomy, _, term = site.address_of(link.path, source).strip("/").partition("/")
    if taxonomy not in taxonomies:
        return None
    return found() if not term or (taxonomy, term) in site.once(_terms) else None


def _terms(site: Site) -> frozenset[tuple[str, str]]:
    """All terms, each with the field that gives it."""
    fields = (facts.fields for page in site.pages if (facts := site.facts(page)) is not None)
    given = (
        (name, term) for each in fields for name, value in each.items() for term in literals.texts(value)
    )
    return frozenset((name, urlized(term)) for name, term in given if len(term) < 100)


def _raw_line(heading: Heading) -> str:
    """Hugo makes anchors of a heading's source, the last line of it."""
    return heading.raw if heading.html else heading.raw.strip().rpartition("\n")[2]


class _Template(NamedTuple):
    """What a shortcode's template may do; one that is not here, or is empty, may make anchors."""

    brings_text: bool
    may_make_anchors: bool


class _Shortcodes:
    """What the shortcodes of one site do, as far as their templates say it."""

    def __init__(self, repository: Repository, root: str, starts: Sequence[str]) -> None:
        """`starts`: folders that arguments may name files below."""
        self._repository, self._root, self._starts = repository, root, starts
        self._templates: dict[str, _Template] = {}

    def included(self, site: Site, construct: Construct, page: str) -> str | None:
        """The file that a shortcode brings in, where its template reads one and its argument names it."""
        template = self._template(construct.name)
        if construct.name in _KNOWN or not template.brings_text:
            return page
        for _, *texts in _WORDS.findall(construct.arguments):
            path = next(filter(None, texts), "").lstrip("/")
            for start in (*self._starts, posixpath.dirname(page)) if path else ():
                place = posixpath.normpath(posixpath.join(start, path))
                for name in (place, *(place + suffix for suffix in SUFFIXES)):
                    if name in self._repository.files:
                        return name
        # What it brings in by another name is not known: `unknown` says so.
        return page

    def unknown(self, site: Site, construct: Construct, page: str) -> str | None:
        """Why a shortcode may make anchors: its template makes some, or is not here."""
        if construct.name in _KNOWN or self.included(site, construct, page) != page:
            return None
        if not self._template(construct.name).may_make_anchors:
            return None
        return f"made by the shortcode `{construct.name}` in line {construct.line}?"

    def _template(self, name: str) -> _Template:
        if name not in self._templates:
            folders = ("layouts/shortcodes", "layouts/_shortcodes")
            paths = (posixpath.join(self._root, folder, f"{name}.html") for folder in folders)
            texts = (self._repository.text(path) for path in paths)
            text = next((text for text in texts if text is not None), "")
            brings_text = _BRINGS_TEXT.search(text) is not None
            makes_anchors = may_make_anchors(text) or _MAKES_HEADINGS.search(text) is not None
            self._templates[name] = _Template(brings_text, not text or brings_text or makes_anchors)
        return self._templates[name]


RULES = Rules(
    kind=KIND,
    ways={},
    page_suffixes=SUFFIXES,
    url_style="slash",
    not_copied=SUFFIXES,
    made={r"/404\.html|/(?:.*/)?(?:index\.xml|sitemap\.xml|rss\.xml)|/robots\.txt|/(?:.*/)?page/\d+/?": None},
    heading_text=_raw_line,
    custom_id=ID_IN_BRACES,
    literal=frozenset({"comment", FRONT_MATTER, "highlight"}),
    always=r"|top|:~:.*|fn(?:ref)?\d*:.*",
)


def find(repository: Repository) -> Iterator[str]:
    """The folders with a configuration of Hugo's and a folder of content."""
    for path in repository.files:
        # Few paths end so.
        for name in CONFIGURATIONS if path.endswith(CONFIGURATIONS) else ():
            root = path[: -len(name)].rstrip("/")
            if path == posixpath.join(root, name) and is_configured(repository, root, path):
                yield root


def make(repository: Repository, root: str) -> Site | None:
    """The site in a folder."""
    config = read_settings(repository, root)
    paths = (posixpath.join(root, name) for name in CONFIGURATIONS)
    path = next((path for path in paths if path in repository.files), "")
    languages = literals.table(config, "languages")
    default = literals.text(config, "defaultcontentlanguage") or "en"
    mounted = mounts_of(config)
    roots = [
        Root(re.sub(r"^\.$", "", posixpath.normpath(posixpath.join(root, folder))), target, language)
        for folder, target, language in contents_of(config, mounted, default)
    ]
    content = posixpath.commonpath([f"/{each.folder}" for each in roots]).strip("/")
    in_subfolder = config.get("defaultcontentlanguageinsubdir") is True
    pages = Pages(
        roots,
        languages,
        "" if in_subfolder else default,
        permalinks_of(config),
        config.get("uglyurls") is True,
    )
    taxonomies = config.get("taxonomies")
    plurals = (
        literals.texts(list(taxonomies.values())) if isinstance(taxonomies, dict) else ["tags", "categories"]
    )
    lookup = _Lookup(roots)
    starts = [*(each.folder for each in roots), root, posixpath.join(root, "assets")]
    shortcodes = _Shortcodes(repository, root, starts)
    shortcode = Effect(includes=shortcodes.included, unknown=shortcodes.unknown)
    links, images = _ways(lookup, repository, root, config, plurals)

    def takes(site: Site, page: str) -> bool:
        # Other files lie between folders of content that share no folder; a setting may name another folder.
        return site.content != content or content_path(roots, page) is not None

    static = literals.texts(config.get("staticdir")) or ["static"]
    static += [mount.source for mount in mounted if mount.component == "static"]
    parser = literals.get(config, "markup", "goldmark", "parser")
    slug = _SLUGS.get(literals.text(parser, "autoidtype") or literals.text(parser, "autoheadingidtype"))
    rules = RULES.changed(
        ways={
            "link": links,
            HREF: (itself, *links[-4:]),
            IMAGE: images,
            SRC: images[-4:],
            TEMPLATE: (partial(_ref, lookup),),
        },
        takes=takes,
        addresses=pages.addresses,
        made={**RULES.made, **made_by_outputs(config)},
        base=base_of(literals.text(config, "baseurl")),
        static=tuple(posixpath.normpath(posixpath.join(root, folder)) for folder in static),
        slug=slug or slugs.hugo,
        terms=literals.get(parser, "autodefinitiontermid") is True,
        other_pages=_sections(repository, roots, ("", *languages)),
        effects={SHORTCODE: shortcode, LIQUID: shortcode},
    )
    if literals.get(config, "markup", "goldmark", "extensions", "passthrough", "enable") is True:
        rules = rules.changed(literal=rules.literal | _passed_through(config))
    if literals.get(parser, "autoheadingid") is False:
        rules = rules.changed(heading_levels=range(0))
    hook = _layout(repository, root, "render-heading.html")
    if hook is not None and ".Anchor" not in hook:
        rules = rules.changed(any_anchor="made by the render hook for headings?")
    if literals.get(parser, "attribute", "block") is True:
        rules = rules.changed(named=("attribute_ids",))
    return Site(as_hosted(rules, repository, root), repository, root, content, path)


def _passed_through(config: Mapping[str, Any]) -> frozenset[str]:
    """The kinds of mathematics whose delimiters the configuration names."""
    delimiters = literals.get(config, "markup", "goldmark", "extensions", "passthrough", "delimiters")
    pairs = [pair for kind in ("block", "inline") for pair in literals.entries(delimiters, kind)]
    opening = {first for pair in pairs for first in literals.texts(pair)[:1]}
    return frozenset("\\(" if sign == "\\[" else sign for sign in opening)


def _sections(repository: Repository, roots: Sequence[Root], languages: Sequence[str]) -> frozenset[str]:
    """The home pages, and the lists that Hugo makes of the folders at the top, with _index.md or without."""
    tops = {""}
    for folder in repository.folders:
        _, place = content_path(roots, folder) or ("", "")
        tops.add(urlized(place) if "/" not in place else "")
    addresses = (posixpath.join("/", language, top) for language in languages for top in tops)
    return frozenset(form for address in addresses for form in forms(address))


def _layout(repository: Repository, root: str, name: str) -> str | None:
    folders = ("layouts/_markup", "layouts/_default/_markup", "layouts/docs/_markup")
    paths = [posixpath.join(root, folder, name) for folder in folders]
    paths += [
        path
        for path in repository.files
        if path.endswith(f"/_markup/{name}") and path.startswith(posixpath.join(root, "themes/"))
    ]
    return next((text for path in paths if (text := repository.text(path)) is not None), None)


def _ways(
    lookup: _Lookup, repository: Repository, root: str, config: Mapping[str, Any], taxonomies: Sequence[str]
) -> tuple[Any, Any]:
    """How links and images are followed: by a render hook where there is one, then as addresses."""
    addresses = (
        page_at_address,
        partial(_other_page, lookup.roots),
        partial(_term, frozenset(taxonomies)),
        outside_base,
    )
    hooks = literals.get(config, "markup", "goldmark", "renderhooks")
    languages = config.get("languages")
    theme = literals.get(config, "theme") or literals.get(config, "module", "imports")
    missing_theme = bool(theme) and not any(
        path.startswith(posixpath.join(root, "themes/")) and "/layouts/" in path for path in repository.files
    )

    def before(kind: str) -> list[Any]:
        text = _layout(repository, root, f"render-{kind}.html")
        setting = literals.text(hooks, kind, "useembedded")
        enabled = setting in {"always", "fallback"} or literals.get(hooks, kind, "enabledefault") is True
        if text is not None:
            # A hook may mean something of its own by a certain destination: {{ if eq $destination "g" }}.
            special = re.findall(r"""\beq\s+[\w.$]+\s+"([^"]*)\"""", text)
            return [partial(_hooked, lookup, frozenset(special))]
        if enabled or (isinstance(languages, dict) and len(languages) > 1 and setting != "never"):
            return [partial(_hooked, lookup, frozenset[str]())]
        return [partial(_unknown_hook, "found by a render hook of the theme?")] if missing_theme else []

    return (itself, *before("link"), *addresses), (*before("image"), _bundled, *addresses)
