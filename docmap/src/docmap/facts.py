"""What the bytes of one file say, whatever site the file belongs to.

Facts depend on the bytes alone, and on whether these are read as MDX too, so they can be kept and found again by a
hash. Whether a link leads somewhere, and which anchor a heading makes, is for the site to say (`docmap.sites`). Lines
count from 1.
"""

from __future__ import annotations

import re
from collections.abc import Collection, Mapping
from dataclasses import dataclass, field, replace
from functools import cached_property, lru_cache
from typing import TYPE_CHECKING, Any, Final, NamedTuple

from docmap.front_matter import read_fields
from docmap.ranges import Ranges

if TYPE_CHECKING:
    from quarnel.models import Symbol

# --- Forms of links ----------------------------------------------------------------------------------------

LINK: Final = "link"  # [text](path#anchor), and the destination of a reference definition
WIKI: Final = "wiki"  # [[path#anchor|text]]
IMAGE: Final = "image"  # ![text](path)
EMBED: Final = "embed"  # ![[path#anchor]]
HREF: Final = "href"  # <a href="path#anchor">
SRC: Final = "src"  # <img src="path">, and of other elements
TEMPLATE: Final = "template"  # [text]({{< ref "x" >}}): a destination that a template or program fills in
WWW: Final = "www"  # [text](www.example.org): a web address without its scheme
SCHEME: Final = "scheme"  # [text](project:path#anchor), <path:file>: schemes of a generator; `path` has it
DOC: Final = "doc"  # {doc}`path`
TOC: Final = "toc"  # an entry of a toctree
REF: Final = "ref"  # {ref}`label`, {numref}`label`
FILE: Final = "file"  # {download}`path`, and the files that directives name
NAV: Final = "nav"  # a page that a configuration lists
LABEL: Final = "label"  # [text][label] or [label][] without a definition of the label
SHORTCUT: Final = "shortcut"  # [label] without a definition, where most of these have one
FOOTNOTE: Final = "footnote"  # [^label] without a definition


class Link(NamedTuple):
    """A link as a reader would follow it.

    `path` and `anchor` are percent-decoded and without escapes, character references and query; `path` is ""
    for a link within the document; `anchor` is None without "#". A template's `path` is its whole destination,
    a label's or footnote's `path` is the label. `written` is the target as the document has it. `inside`:
    NOTE_COMMENT, FRONT_MATTER or a kind of mathematics for a link that stands nowhere on its line but in this.
    """

    line: int
    form: str
    path: str
    anchor: str | None
    written: str
    inside: str | None = None


class Heading(NamedTuple):
    """A heading of the page: `text` as a reader sees it, `raw` as inline Markdown (or HTML, for `html`).

    `nested`: in a block quote or list item, so no section of the outline. `html`: an <h1> to <h6> element;
    `own_id` is its id attribute, or None.
    """

    line: int
    level: int
    text: str
    raw: str
    nested: bool = False
    html: bool = False
    own_id: str | None = None


class Named(NamedTuple):
    """A name that something on this line has: an id, a target, a term."""

    line: int
    name: str


# Forms of constructs.
SHORTCODE: Final = "shortcode"  # {{< name arguments >}} and {{% name arguments %}}
LIQUID: Final = "liquid"  # {% name arguments %}
EXPRESSION: Final = "expression"  # {{ name arguments }}
HASH: Final = "hash"  # {{#name arguments}}
FENCE: Final = "fence"  # ```{name} arguments, :::{name} arguments, ::: name arguments
SNIPPET: Final = "snippet"  # --8<-- "arguments"
INCLUDE: Final = "include"  # <!--@include: arguments-->, @include, [!INCLUDE [title](arguments)]
IMPORT: Final = "import"  # import name from 'arguments'
COMPONENT: Final = "component"  # <Name arguments>: what no HTML element is called


class Construct(NamedTuple):
    """A place where something other than Markdown makes text: its form, its name, the rest as written."""

    line: int
    form: str
    name: str
    arguments: str


# Comments that only some programs know. Spans are only those that fill their lines.
MDX_COMMENT: Final = "{/*"  # to */}
NOTE_COMMENT: Final = "%%"  # to the next %%
LINE_COMMENT: Final = "%"  # at the begin of a line, to its end
# Comments of kramdown and what it shows as HTML: {::comment} to {:/comment}, {::nomarkdown} to {:/}. And between tags
# of Liquid, whether they fill their lines or not: a comment, and program text.
KRAMDOWN_COMMENT: Final = "{::"
LIQUID_COMMENT: Final = "{%comment"
LIQUID_CODE: Final = "{%highlight"
# What programs take for formulas.
MATHEMATICS: Final = "$"  # $x$
DISPLAYED: Final = "$$"  # $$x$$
BRACKETED: Final = "\\("  # \(x\) and \[x\]
DOUBLY_BRACKETED: Final = "\\\\("  # \\(x\\) and \\[x\\]
ENVIRONMENT: Final = "\\begin"  # \begin{x} to \end{x}
DOLLARS: Final = frozenset({MATHEMATICS, DISPLAYED})
# Fields of front matter, which some note programs follow.
FRONT_MATTER: Final = "---"


class Span(NamedTuple):
    """Lines (both ends belong to it) that are special.

    `kind` is "comment", one of the kinds of comments above, "ignore", or the tag of a shortcode such as "raw", after
    "{%" where it is a tag of Liquid.
    """

    first: int
    last: int
    kind: str


_NO_LINES = Ranges(())


def lines_of(spans: Collection[Span], kinds: Collection[str]) -> Ranges:
    """The lines of the spans of these kinds."""
    # Most documents have none.
    return Ranges((span.first, span.last + 1) for span in spans if span.kind in kinds) if spans else _NO_LINES


class Section(NamedTuple):
    """A section of the outline."""

    name: str
    start_line: int
    end_line: int
    signature: str
    docstring: str | None

    @classmethod
    def of(cls, symbol: Symbol) -> Section:
        """The section that the engine reports."""
        return cls(symbol.name, symbol.start_line, symbol.end_line, symbol.signature, symbol.docstring)


class Body(NamedTuple):
    """Text that is a document of its own to some sites and code to others.

    `kind` "fence": the body of ```{name}; "admonition": what is indented below `!!!`, `???` or `===`; "definition" and
    "footnote": what is indented below `: text` and `[^label]:`; "element": what is in <div markdown="1">; "jsx": a
    block of HTML or of indented code, where MDX is read. Line n of `facts` is line `first` + n - 1 of the document.
    """

    first: int
    kind: str
    name: str
    facts: Facts


@lru_cache
def _key_among(names: tuple[str, ...]) -> re.Pattern[str]:
    """Finds what may be one of these names as a key of YAML or TOML."""
    return re.compile(rf"""(?<!\w)(?:{"|".join(names)})["']?\s*[:=\]]""", re.IGNORECASE)


@dataclass
class Facts:
    """All that is known of one file, each list in document order."""

    links: list[Link] = field(default_factory=list)
    headings: list[Heading] = field(default_factory=list)
    # id and name attributes of HTML elements, those of headings apart.
    ids: list[Named] = field(default_factory=list)
    # Ids in braces that are not at the end of a heading's line: `{#id}`, `{: #id}`.
    attribute_ids: list[Named] = field(default_factory=list)
    # `^id` at the end of a block.
    block_ids: list[Named] = field(default_factory=list)
    # `(name)=` above a block.
    targets: list[Named] = field(default_factory=list)
    # Terms of definition lists.
    terms: list[Named] = field(default_factory=list)
    # Labels of footnotes that are defined.
    footnotes: list[Named] = field(default_factory=list)
    # Labels of link reference definitions, as they compare (one case, single spaces).
    labels: list[str] = field(default_factory=list)
    constructs: list[Construct] = field(default_factory=list)
    spans: list[Span] = field(default_factory=list)
    bodies: list[Body] = field(default_factory=list)
    # The text of front matter, and whether that is TOML.
    front_matter: str | None = None
    toml: bool = False
    # Whether bytes were not UTF-8 and read as U+FFFD.
    replaced: bool = False

    @cached_property
    def fields(self) -> dict[str, Any]:
        """The fields of front matter that is readable YAML or TOML; values are what JSON can hold.

        Reading them costs more than any other part of a short document, and many sites ask for none.
        """
        return read_fields(self.front_matter, toml=self.toml) if self.front_matter else {}

    def fields_with(self, *names: str) -> dict[str, Any]:
        """The fields, where one of these names (in any letter case) may be among them; else nothing is read."""
        text = self.front_matter or ""
        # A name can also be written by codes, which begin with a backslash.
        return self.fields if "\\" in text or _key_among(names).search(text) else {}

    def with_bodies(self, kinds: Collection[str]) -> Facts:
        """These facts and those of the bodies of these kinds, as one document: "admonition", "fence" for all
        directives, "fence:name" for one."""
        merged = replace(self, bodies=[], labels=list(self.labels))
        # Each row once, in the order in which it came.
        rows = {name: dict.fromkeys(getattr(self, name)) for name in ROWS}
        for body in self.bodies:
            if body.kind not in kinds and f"{body.kind}:{body.name}" not in kinds:
                continue
            inner = body.facts.with_bodies(kinds)
            for name, known in rows.items():
                for row in getattr(inner, name):
                    moved = (
                        row._replace(first=row.first + body.first - 1, last=row.last + body.first - 1)
                        if name == "spans"
                        else row._replace(line=row.line + body.first - 1)
                    )
                    known.setdefault(moved)
            merged.labels += inner.labels
        for name, known in rows.items():
            setattr(merged, name, list(known))
        merged.links.sort(key=lambda link: link.line)
        return merged

    @property
    def title(self) -> str | None:
        """The title that front matter gives, else the only heading of level 1, else None."""
        title = self.fields_with("title").get("title")
        if isinstance(title, str) and title.strip():
            return title.strip()
        first = [heading for heading in self.headings if heading.level == 1 and not heading.nested]
        return first[0].text if len(first) == 1 else None


# The lists of facts that have a line each, or lines, and what their rows are.
ROWS: Final[Mapping[str, Any]] = {
    "links": Link,
    "headings": Heading,
    "ids": Named,
    "attribute_ids": Named,
    "block_ids": Named,
    "targets": Named,
    "terms": Named,
    "footnotes": Named,
    "constructs": Construct,
    "spans": Span,
}
