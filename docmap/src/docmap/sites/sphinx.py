"""Sphinx with MyST: a folder with conf.py that names the parser; and Jupyter Book: one with _toc.yml."""

from __future__ import annotations

import ast
import posixpath
import re
from collections.abc import Iterable, Iterator, Sequence
from functools import partial
from typing import Any

from pathspec import GitIgnoreSpec

from docmap.facts import (
    DOC,
    DOLLARS,
    ENVIRONMENT,
    FENCE,
    FILE,
    FRONT_MATTER,
    HREF,
    IMAGE,
    LINE_COMMENT,
    REF,
    SCHEME,
    SRC,
    TOC,
    Construct,
    Facts,
    Link,
)
from docmap.repository import Repository
from docmap.sites import literals, slugs
from docmap.sites.resolution import Resolution, doubtful, found
from docmap.sites.rules import Effect, Rules
from docmap.sites.site import Site
from docmap.sites.sphinx_roles import (
    SOURCES,
    Named,
    as_compared,
    doubt_of_files,
    doubt_of_labels,
    generated_folders,
    place_of,
)
from docmap.sites.ways import (
    as_hosted,
    by_web_server,
    file_beside,
    file_from_content,
    itself,
    nothing_because,
    outside_base,
    page_at_address,
)

KIND = "sphinx"

_PARSERS = frozenset(
    {"myst_parser", "myst_nb", "recommonmark", "m2r", "m2r2", "jupyter_book", "sphinx_mdinclude"}
)
# A conf.py of more characters is not read.
_LONGEST = 65536
# A line of rediraffe's file of redirects: "old.md" "new.md".
_REDIRECT = re.compile(r"""^[ \t]*["']?([^\s"'#]+)["']?[ \t]+["']?([^\s"']+)""", re.MULTILINE)
# A target of reStructuredText: .. _name:
_RST_TARGET = re.compile(r"^[ \t]*\.\. _`?([^`\n]+?)`?:\s*$", re.MULTILINE)
# Directives that make no anchors but those of their names and of the Markdown in them.
_KNOWN = literals.words(
    """
    admonition attention bibliography card card-carousel carousel caution centered code code-block
    code-cell codeauthor collapse contents danger deprecated details dropdown epigraph error figure grid
    grid-item grid-item-card highlight highlights hint hlist html iframe image important include index
    interactive-output list-table literalinclude margin math mermaid meta note only parsed-literal plot
    pull-quote raw rubric sectionauthor seealso sidebar subfigure tab-item tab-set tab-set-code table
    tabs tab tableofcontents tip toctree todo todolist togglebutton topic versionadded versionchanged
    versionremoved warning graphviz inheritance-diagram csv-table container compound class default-role
    tags video youtube glossary productionlist option eval-rst-none mystnb button-link button-ref
    article-info design-tabs
    """
)


def _settings(text: str | None) -> dict[str, Any]:
    """What conf.py sets to literals at its top level, UNREAD for what it works out; "..." is among the keys when it
    cannot be read."""
    # CPython 3.10 makes the tree without a limit on depth, and one of some 100,000 levels ends the process.
    if len(text or "") > _LONGEST:
        return {"...": literals.UNREAD}
    try:
        tree = ast.parse(text or "")
    except (SyntaxError, ValueError, RecursionError, MemoryError):
        return {"...": literals.UNREAD}
    settings: dict[str, Any] = {}
    for node in tree.body:
        match node:
            case ast.Assign(targets=targets, value=value):
                settings |= {target.id: _literal(value) for target in targets if isinstance(target, ast.Name)}
            case ast.AugAssign(target=ast.Name(id=name), value=value):
                before, more = settings.get(name), _literal(value)
                known = isinstance(before, list) and isinstance(more, list)
                settings[name] = before + more if known else literals.UNREAD
            case ast.Expr(value=ast.Call(func=ast.Attribute(value=ast.Name(id=name)), args=[argument])):
                # extensions.append(name), extensions.extend([name, ...])
                before, more = settings.get(name), _literal(argument)
                if isinstance(before, list):
                    before.extend(more if isinstance(more, list) else [more])
    return settings


def _literal(node: ast.expr) -> Any:
    """The value of an expression, a tuple as a list; UNREAD for what is no literal, in lists and mappings as well."""
    if isinstance(node, ast.List | ast.Tuple):
        return [_literal(element) for element in node.elts]
    if isinstance(node, ast.Dict):
        pairs = (
            (_literal(key) if key is not None else "...", value)
            for key, value in zip(node.keys, node.values, strict=True)
        )
        return {key: _literal(value) for key, value in pairs if isinstance(key, str)}
    return node.value if isinstance(node, ast.Constant) else literals.UNREAD


def _addresses(left_out: GitIgnoreSpec, site: Site, page: str, facts: Facts) -> Sequence[str]:
    """The address of a page, which has no other but for an index; () for what `exclude_patterns` leave out."""
    place = site.within(page, site.content) or page
    if left_out.match_file(place):
        return ()
    folder, name = posixpath.split(posixpath.splitext(place)[0])
    address = posixpath.join("/", folder, name + ".html")
    return [address, posixpath.join("/", folder, "")] if name == "index" else [address]


def _document(site: Site, link: Link, source: str) -> Resolution | None:
    """A path to a source file, with its suffix or without."""
    if not link.path:
        return None
    place = place_of(site, link.path, source)
    for name in (place, *(place + suffix for suffix in SOURCES)):
        if name in site.repository.files:
            if site.addresses.get(name) == [] and name not in site.includers:
                return nothing_because(
                    site, link, source, f"exclude_patterns of the configuration leave {name} out"
                )
            if name.endswith((".md", ".rst")) and site.within(name, site.content) is None:
                # Sphinx has no page of it, yet gives the file itself to download.
                return found()
            return found(name) if site.repository.is_document(name) else found()
    return None


def _target(site: Site, link: Link, source: str) -> Resolution | None:
    """A name without a suffix is that of a target, which may stand in any document."""
    if "." in posixpath.basename(link.path) or link.path.startswith((".", "/")):
        return None
    pages = site.once(_targets).get(as_compared(link.path))
    return found(*pages) if pages is not None else None


def _within_project(inventories: str | None, site: Site, link: Link, source: str) -> Resolution | None:
    """#name is a target of this document, else of another, else of another project."""
    if link.path or not link.anchor:
        return None
    anchors = site.anchors(source)
    compare = site.rules.compare
    if compare(link.anchor) in anchors.known:
        return found(source)
    pages = site.once(_targets).get(as_compared(link.anchor))
    if pages is not None:
        return found(*pages)
    if inventories is not None and anchors.unknown_because is None:
        return doubtful(inventories)
    return None


def _project(inventories: str | None, site: Site, link: Link, source: str) -> Resolution | None:
    """project:file.md#target and path:file.txt."""
    scheme, _, path = link.path.partition(":")
    plain = link._replace(path=path)
    if scheme == "path":
        return _document(site, plain, source) or site.nothing_at(path, source)
    if scheme != "project":
        return found()
    for way in (partial(_within_project, inventories), itself, _document, _target):
        resolution = way(site, plain, source)
        if resolution is not None:
            return resolution
    return site.nothing_at(path, source)


def _targets(site: Site) -> dict[str, list[str]]:
    """The documents that each target stands in."""
    targets: dict[str, list[str]] = {}
    for page in site.pages:
        facts = site.facts(page)
        for name in _names(facts) if facts is not None else ():
            targets.setdefault(as_compared(name), []).append(page)
    for path in site.repository.files:
        if path.endswith(".rst") and site.within(path, site.content) is not None:
            text = site.repository.text(path) or ""
            for name in _RST_TARGET.findall(text):
                # No document as far as facts go, so that nothing is asked of its anchors.
                targets.setdefault(as_compared(name), [])
    return targets


def _names(facts: Facts) -> Iterable[str]:
    """The names of the targets in a document, in all forms that there are."""
    yield from (named.name for named in facts.targets)
    yield from (named.name for named in facts.attribute_ids)
    yield from (named.name for named in facts.terms)
    for construct in facts.constructs:
        yield from _named(construct)
    for heading in facts.headings:
        own = re.search(_CUSTOM_ID, heading.raw) if "{" in heading.raw else None
        if own is not None:
            yield own[1]


def _named(construct: Construct) -> Iterable[str]:
    """The name that an option of a directive gives it."""
    return re.findall(r"^\s*:?(?:name|label):\s*(\S+)", construct.arguments, re.MULTILINE)


def _more_anchors(site: Site, page: str, facts: Facts) -> Iterable[str]:
    """The ids that docutils gives to sections, targets and terms.

    A section has its id of docutils beside the one that MyST makes down to the level `myst_heading_anchors`. The two are
    mostly the same, so that setting is not read.
    """
    for heading in facts.headings:
        yield slugs.docutils(re.sub(_CUSTOM_ID, "", heading.text) if "{" in heading.text else heading.text)
    for named in (*facts.targets, *facts.terms):
        yield slugs.docutils(named.name)
    yield from (f"term-{named.name.replace(' ', '-')}" for named in facts.terms)


def _included(site: Site, construct: Construct, page: str) -> str | None:
    return place_of(site, construct.arguments.strip().split("\n")[0].strip(), page)


def _directive(site: Site, construct: Construct, page: str) -> str | None:
    name = construct.name.strip("{}")
    if name in _KNOWN or not construct.name:
        return None
    return f"made by the directive `{name}` in line {construct.line}?"


_CUSTOM_ID = r"\{(?:[^{}`#]|#(?![^\s{}]))*#([^\s{}]+)(?![^\s{}])[^{}]*\}\s*$"
_IMAGES = (file_beside, file_from_content, page_at_address)

RULES = Rules(
    kind=KIND,
    ways={},
    page_suffixes=(".md", ".markdown", ".myst"),
    not_copied=None,
    made={
        r"/(?:genindex|search|py-modindex|modindex|404)(?:\.html|/)": None,
        r"/(?:_sources|_downloads|_images|_modules)/.*": None,
    },
    slug=slugs.github,
    compare=as_compared,
    named=("targets", "attribute_ids", "terms"),
    more_anchors=_more_anchors,
    # After those of every page: what docutils numbers, footnotes of MyST, and what indexes and equations are called.
    always=r"|top|:~:.*|id\d+|f?n?-?footnote-.*|module-.*|index-\d+|equation-.*",
    bodies=("fence",),
    literal=frozenset({"comment", FRONT_MATTER, LINE_COMMENT}),
    effects={
        f"{FENCE}:include": Effect(includes=_included, anchors="included in line {line}?"),
        FENCE: Effect(makes=_named, unknown=_directive),
    },
)


def find(repository: Repository) -> Iterator[str]:
    """The folders of all conf.py that name a parser of Markdown, and of all _toc.yml."""
    for path in repository.files:
        folder, _, name = path.rpartition("/")
        if name == "conf.py":
            text = repository.text(path) or ""
            if any(parser in text for parser in _PARSERS):
                yield folder
        elif name == "_toc.yml" and posixpath.join(folder, "_config.yml") in repository.files:
            yield folder


def make(repository: Repository, root: str) -> Site | None:
    """The documentation in a folder."""
    path = posixpath.join(root, "conf.py")
    text = repository.text(path)
    settings = _settings(text)
    if path not in repository.files:
        path = posixpath.join(root, "_config.yml")
        book = literals.yaml(repository.text(path))
        settings = {
            "extensions": ["myst_nb"],
            **literals.table(book, "sphinx", "config"),
        }
        settings["exclude_patterns"] = [*literals.texts(book.get("exclude_patterns")), "_build"]
        settings["extensions"] += literals.texts(literals.get(book, "sphinx", "extra_extensions"))
    listed = settings.get("extensions")
    extensions = literals.texts(literals.entries(listed))
    is_read = isinstance(listed, list) and len(extensions) == len(listed)
    patterns = [
        f"/{pattern.lstrip('/')}"
        for pattern in literals.texts(literals.entries(settings, "exclude_patterns"))
    ]
    inventories = None
    if "sphinx.ext.intersphinx" in extensions or settings.get("intersphinx_mapping"):
        inventories = "a target of another project (intersphinx)?"
    generated = [
        name
        for name in extensions
        if re.search(r"autodoc2|autoapi|apidoc|gallery|autosummary|breathe|exhale", name)
    ]
    project = partial(_within_project, inventories)
    left_out = GitIgnoreSpec.from_lines(patterns)
    named = Named(
        left_out,
        inventories,
        inventories if _shares_documents(settings) else None,
        frozenset(literals.table(settings, "intersphinx_mapping")),
        frozenset(extensions),
        doubt_of_labels(extensions if is_read else None, text),
        doubt_of_files(extensions if is_read else None, text),
        generated_folders(root, extensions, settings),
        _targets,
        re.search(r"^def setup\b", text or "", re.MULTILINE) is not None,
    )
    static = settings.get("html_static_path")
    extra = settings.get("html_extra_path")
    rules = RULES.changed(
        ways={
            "link": (
                project,
                itself,
                _document,
                _target,
                page_at_address,
                by_web_server,
                outside_base,
                named.of_any_kind,
            ),
            SCHEME: (partial(_project, inventories),),
            DOC: (named.document,),
            TOC: (named.document,),
            REF: (named.label,),
            FILE: (named.file,),
            IMAGE: _IMAGES,
            SRC: (file_beside, page_at_address),
            HREF: (itself, page_at_address, by_web_server, outside_base),
        },
        addresses=partial(_addresses, left_out),
        static=tuple(
            posixpath.normpath(posixpath.join(root, folder))
            for value in (extra, static)
            for folder in literals.texts(value if isinstance(value, list) else [])
        ),
        redirects=_redirects(settings, repository, root),
    )
    enabled = settings.get("myst_enable_extensions")
    names = literals.texts(literals.entries(enabled))
    usual = enabled is None and bool({"myst_nb", "jupyter_book"} & {*extensions})
    if usual or not isinstance(enabled, list | type(None)) or "dollarmath" in names:
        rules = rules.changed(literal=rules.literal | DOLLARS)
    if not isinstance(enabled, list | type(None)) or "amsmath" in names:
        rules = rules.changed(literal=rules.literal | {ENVIRONMENT})
    if not isinstance(enabled, list) or {"attrs_block", "attrs_inline"} & {*names}:
        rules = rules.changed(custom_id=_CUSTOM_ID)
    slug = settings.get("myst_heading_slug_func")
    if slug is not None:
        functions = {"github": slugs.github, "gitlab": slugs.gitlab, "docutils": slugs.docutils}
        known = functions.get(slug if isinstance(slug, str) else "")
        rules = rules.changed(slug=known or slugs.github)
        if known is None:
            rules = rules.changed(any_anchor=f"made by myst_heading_slug_func of {path}?")
    if generated:
        folders = "api|apidocs|autoapi|_?autosummary|generated|auto_examples|reference"
        made = {rf"/(?:.*/)?(?:{folders})/.*": f"made by `{generated[0]}`?"}
        rules = rules.changed(made={**rules.made, **made})
    if "..." in settings:
        why = f"{path} cannot be read, and decides"
        rules = rules.changed(any_target=why, any_source=why, any_anchor=why, any_label=why)
    return Site(as_hosted(rules, repository, root), repository, root, root, path)


def _shares_documents(settings: dict[str, Any]) -> bool:
    """Whether {doc} without the name of a project may lead to a document of another; since Sphinx 5 only where a setting
    says so."""
    disabled = settings.get("intersphinx_disabled_reftypes", ["std:doc"])
    return not isinstance(disabled, list) or not {"std:doc", "std:*", "*"} & set(literals.texts(disabled))


def _redirects(settings: dict[str, Any], repository: Repository, root: str) -> dict[str, str]:
    """Old address -> new one, as rediraffe and sphinx_reredirects are told."""
    redirects: dict[str, str] = {}
    # rediraffe reads a mapping, or a file of it.
    listed = repository.text(posixpath.join(root, literals.text(settings, "rediraffe_redirects"))) or ""
    in_file = dict(_REDIRECT.findall(listed))
    for table in (
        in_file,
        *(literals.table(settings, name) for name in ("rediraffe_redirects", "redirects")),
    ):
        for old, new in table.items():
            if isinstance(new, str):
                stem = re.sub(r"\.(?:md|rst|html)$", "", old)
                redirects[f"/{stem}.html"] = f"/{re.sub(r'[.](?:md|rst|html)$', '', new)}.html"
    return redirects
