"""Where the roles and directives of Sphinx lead: documents, labels and files that they name."""

from __future__ import annotations

import posixpath
import re
from collections.abc import Callable, Collection
from dataclasses import dataclass

from pathspec import GitIgnoreSpec

from docmap.facts import TOC, Link
from docmap.sites import literals
from docmap.sites.resolution import MISSING, Resolution, doubtful, found, made_perhaps
from docmap.sites.site import Site
from docmap.sites.ways import nothing_because

SOURCES = (".md", ".rst", ".ipynb", ".txt", ".markdown", ".myst", ".myst.md")
# What ends in one of these is a file, and no name of something in a program.
_FILE_SUFFIXES = frozenset(SOURCES) | literals.words(
    """
    .html .htm .png .jpg .jpeg .gif .svg .webp .ico .pdf .zip .gz .tgz .whl .py .pyi .js .ts .css .json .yml .yaml .toml
    .cfg .ini .csv .xml .sh .bat .c .h .cc .cpp .hpp .rs .go .java
    """
)
# Extensions that define no labels but those that documents write down.
_HARMLESS = re.compile(
    r"myst_(?:parser|nb)|sphinx_(?:design|copybutton|tippy|togglebutton|favicon|external_toc|thebe|comments|book_theme"
    r"|rtd_theme|sitemap|inline_tabs|multitoc_numbering|reredirects|last_updated_by_git|pyscript|tabs\.tabs)"
    r"|sphinx_(?:jupyterbook_latex|panels|immaterial|rtd_dark_mode)|sphinxext\.(?:opengraph|rediraffe)|notfound\.extension"
    r"|sphinxcontrib\.(?:mermaid|youtube|video|jquery|spelling)|linkify_issues|furo|jupyter_book"
    r"|sphinx\.ext\.(?:mathjax|imgmath|viewcode|todo|githubpages|extlinks|ifconfig|graphviz|inheritance_diagram|napoleon"
    r"|doctest|coverage|duration|intersphinx|autosectionlabel|linkcode)"
)
# Of the others, those that bring no documents and files, only what stands in the programs that they read.
_READS_PROGRAMS = re.compile(
    r"sphinx\.ext\.autodoc|sphinx_autodoc_typehints|numpydoc|autodocsumm|sphinxcontrib\.(?:bibtex|autodoc_pydantic|programoutput)"
    r"|sphinx_(?:click|argparse|proof|exercise|issues|substitution_extensions)|sphinx_click\.ext|sphinxarg\.ext|enum_tools.*"
)
# Those that bring documents to one folder alone: the setting that names it, and its name without one.
_FOLDERS = {"autodoc2": ("autodoc2_output_dir", "apidocs")}
# And the one that does so where a text asks for it.
_AUTOSUMMARY = "sphinx.ext.autosummary"
_ASKS_FOR_SUMMARIES = re.compile(
    r"\bautomodule(?:::|\})|\bautopackagesummary\b"
    # Linear: each opening is looked after up to the next one.
    r"|\bautosummary(?:::|\})(?:(?:(?!\bautosummary(?:::|\}))[^\n])*\n){1,20}?[ \t]*:toctree:"
)
# What conf.py may do to make files.
_WRITES = re.compile(
    r"""\b(?:subprocess|shutil|apidoc|urlretrieve)\b|\bos\.system\b|\bwrite_(?:text|bytes)\b"""
    r"""|\bopen\([^()\n]*["'][wax]b?\+?["']|\.open\(["'][wax]"""
)
# What a function of conf.py may do to labels; style sheets and scripts do nothing.
_CHANGES_MORE = re.compile(r"\bapp\.(?:connect|add_(?!css|js|html)\w+|setup_extension|registry|env)")
# What adds nothing but to what texts can hold, and so no document and no file.
_ADDS = re.compile(
    r"\bapp\.add_(?:directive|role|lexer|(?:post_)?transform|config_value|object_type|crossref_type)\b"
)
_AUTOMATIC = "sphinx.ext.autosectionlabel"
# Labels that Sphinx has.
_INDEXES = frozenset({"genindex", "modindex", "py-modindex", "search"})
# Definitions in any form, whatever it is that they stand in: (name)=, .. _name:, :name: name, label: name, {#name},
# _`name`, "id": "name", $$ (name). Each begins with a literal, which `re` finds much faster than any of several.
_DEFINITIONS = tuple(
    re.compile(pattern, re.MULTILINE)
    for pattern in (
        r"\n[ \t>]*\(([^()\n]+)\)=",
        r"\.\. _(?:`([^`\n]+)`|((?:(?!\.\. _)[^\n])+?)):[ \t]*$",
        *(
            rf"""{word}(?<!\w{word})["']?[ \t]*[:=][ \t]*["']?([^\s"'>}}]+)"""
            for word in ("name", "label", "id")
        ),
        r"\{[^{}\n]*?#([^\s{}]+)",
        r"_`(?<!\w_`)([^`\n]+)`",
        r"\$\$[ \t]*\(([^()\n]+)\)",
    )
)
_DIRECTIVE = re.compile(r"(?:::|\})[^\n]*")
_WORD = re.compile(r"[\w-]+")


def doubt_of_labels(extensions: list[str] | None, conf: str | None) -> str | None:
    """Why there may be labels that no document shows: an extension (None for a list that cannot be read), or what
    conf.py does."""
    if extensions is None:
        return "made by the extensions, which conf.py works out?"
    unknown = [name for name in extensions if _HARMLESS.fullmatch(name) is None]
    if unknown:
        return f"made by the extension `{unknown[0]}`?"
    return "made by conf.py?" if _CHANGES_MORE.search(conf or "") else None


def doubt_of_files(extensions: list[str] | None, conf: str | None) -> str | None:
    """Why there may be documents and files that are not here: the same for what makes these."""
    others = extensions and [
        name
        for name in extensions
        if _READS_PROGRAMS.fullmatch(name) is None and name not in {*_FOLDERS, _AUTOSUMMARY}
    ]
    doubt = doubt_of_labels(others, _ADDS.sub("", conf or ""))
    return doubt or ("made by conf.py?" if _WRITES.search(conf or "") else None)


def generated_folders(root: str, extensions: Collection[str], settings: dict[str, object]) -> dict[str, str]:
    """The folders that extensions bring documents to, with what doubts them."""
    return {
        posixpath.normpath(posixpath.join(root, literals.text(settings, setting, otherwise=usual))): (
            f"made by the extension `{name}`?"
        )
        for name, (setting, usual) in _FOLDERS.items()
        if name in extensions
    }


@dataclass(frozen=True)
class Named:
    """What the names of roles and directives lead to in one site.

    `inventories`: why a name may be one of another project, and `shared_documents` the same of a document; `projects`:
    how these are called; `label_doubt` and `file_doubt`: why there may be other labels, and other documents and files;
    `generated`: folders -> what brings documents there; `targets` finds the documents of each name, as it compares.
    """

    left_out: GitIgnoreSpec
    inventories: str | None
    shared_documents: str | None
    projects: frozenset[str]
    extensions: frozenset[str]
    label_doubt: str | None
    file_doubt: str | None
    generated: dict[str, str]
    targets: Callable[[Site], dict[str, list[str]]]
    has_setup: bool  # whether conf.py has a function that Sphinx calls

    def _is_of_project(self, name: str) -> bool:
        return name.partition(":")[0] in self.projects and ":" in name

    def document(self, site: Site, link: Link, source: str) -> Resolution | None:
        """{doc}`path`, which has no suffix, and an entry of a toctree, which may have one."""
        place = place_of(site, link.path, source)
        for name in (place + suffix for suffix in (*SOURCES, *([""] if link.form == TOC else []))):
            within = site.within(name, site.content)
            if name not in site.repository.files or within is None:
                continue
            if self.left_out.match_file(within):
                why = f"exclude_patterns of the configuration leave {name} out"
                return nothing_because(site, link, source, why)
            return found(name) if site.repository.is_document(name) else found()
        if self._is_of_project(link.path):
            return found()
        if self.shared_documents is not None and link.form != TOC:
            return doubtful(self.shared_documents)
        if link.form != TOC and place in site.repository.files and place.endswith(SOURCES):
            return nothing_because(site, link, source, "{doc} names a document without its suffix")
        generated = (why for folder, why in self.generated.items() if f"{place}/".startswith(f"{folder}/"))
        doubt = next(generated, self.file_doubt)
        if doubt is None and _AUTOSUMMARY in self.extensions and site.once(_asks_for_summaries):
            doubt = f"made by the extension `{_AUTOSUMMARY}`?"
        return None if doubt is None else made_perhaps(doubt)

    def label(self, site: Site, link: Link, source: str) -> Resolution | None:
        """{ref}`label`: what stands before a heading or block, or is the name of a figure or table."""
        name, targets = as_compared(link.path), site.once(self.targets)
        if name in _INDEXES or self._is_of_project(link.path):
            return found()
        if name in targets:
            return found(*targets[name])
        if name in site.once(_defined_somehow):
            return found()
        if _AUTOMATIC in self.extensions:
            if name in site.once(_headings):
                return found()
            return made_perhaps(f"a heading, by {_AUTOMATIC}?")._replace(names=targets)
        if self.inventories is not None:
            return doubtful(self.inventories)._replace(names=targets)
        if self.label_doubt is not None or site.unread_page is not None:
            why = self.label_doubt or f"{site.unread_page} cannot be read, and may have it"
            return made_perhaps(why)._replace(names=targets)
        return Resolution(MISSING, names=targets)

    def of_any_kind(self, site: Site, link: Link, source: str) -> Resolution | None:
        """[text](name) without a file: a label, or what a program documents, here or in another project."""
        suffix = posixpath.splitext(link.path)[1].lower()
        if "/" in link.path or link.anchor is not None or not link.path or suffix in _FILE_SUFFIXES:
            return None
        resolution = self.label(site, link, source)
        if resolution is None:
            return None
        if resolution.outcome != MISSING:
            # Programs name what they document by rules of their own: no slip for a label is surely one.
            return resolution._replace(is_made=False, names=site.once(self.targets))
        why = "made by conf.py?" if self.has_setup else None
        if why is None and re.split(r"[.:]", link.path.lower().removesuffix("()"))[-1] in site.once(
            _described
        ):
            why = "described by a directive?"
        return None if why is None else doubtful(why)._replace(names=resolution.names)

    def file(self, site: Site, link: Link, source: str) -> Resolution | None:
        """{download}`path`, and what a directive includes or shows."""
        place = place_of(site, link.path, source)
        if place in site.repository.files:
            return found(place) if site.repository.is_document(place) else found()
        # Options of directives that include say from where paths in the text start; so do programs.
        for part in site.once(_included).get(source, ()):
            if site.place(link.path, part) in site.repository.files:
                return doubtful(f"from the folder of {part}, which the page includes?")
        return None if self.file_doubt is None else made_perhaps(self.file_doubt)


def place_of(site: Site, path: str, source: str) -> str:
    """The path that one in a document stands for: from its folder, or, after a slash, from that of all documents."""
    if path.startswith("/"):
        return posixpath.normpath(posixpath.join(site.content, path.lstrip("/")))
    return site.place(path, source)


def as_compared(name: str) -> str:
    """A name as names compare: in one case, with single spaces."""
    return " ".join(name.lower().split())


def _sources(site: Site) -> list[str]:
    """The files of the site that hold text, those that are only included among them."""
    below = (path for path in site.repository.files if site.within(path, site.content) is not None)
    return [path for path in below if path.endswith((*SOURCES, ".inc", ".rest"))]


def _defined_somehow(site: Site) -> frozenset[str]:
    """All names that any text of the site seems to define; read only where a label is not found otherwise."""
    # A page may include what lies elsewhere, such as a README.
    paths = dict.fromkeys([*_sources(site), *site.includers])
    texts = [f"\n{site.repository.text(path) or ''}" for path in paths]
    matches = (match for text in texts for pattern in _DEFINITIONS for match in pattern.finditer(text))
    return frozenset(map(as_compared, {match[match.lastindex or 0] for match in matches}))


def _asks_for_summaries(site: Site) -> bool:
    """Whether a text of the site has documents made of programs."""
    texts = (site.repository.text(path) or "" for path in _sources(site))
    return any(_ASKS_FOR_SUMMARIES.search(text) for text in texts)


def _described(site: Site) -> frozenset[str]:
    """The words after the names of directives in all texts of the site: {py:class} a.Name, .. option:: name"""
    texts = (site.repository.text(path) or "" for path in _sources(site))
    lines = (line for text in texts for line in _DIRECTIVE.findall(text))
    return frozenset(word.lower() for line in lines for word in _WORD.findall(line))


def _headings(site: Site) -> frozenset[str]:
    """The labels that headings get of themselves, with and without the name of their document."""
    names: set[str] = set()
    for page in site.pages:
        facts = site.facts(page)
        document = posixpath.splitext(site.within(page, site.content) or page)[0]
        for heading in facts.headings if facts is not None else ():
            names |= {as_compared(heading.text), as_compared(f"{document}:{heading.text}")}
    return frozenset(names)


def _included(site: Site) -> dict[str, list[str]]:
    """The files that each page includes."""
    included: dict[str, list[str]] = {}
    for path, pages in site.includers.items():
        for page in pages:
            included.setdefault(page, []).append(path)
    return included
