"""The rules of a kind of site, as one table.

What a site does as most do is left at its default, and what it does in its own way is a function or a pattern of its
module. A link is resolved by the first of its ways that has an answer; `ways` has those that several kinds share.
"""

from __future__ import annotations

from collections.abc import Callable, Iterable, Mapping, Sequence
from copy import copy
from dataclasses import dataclass, field
from typing import TYPE_CHECKING, Final

from docmap.facts import FRONT_MATTER, Construct, Facts, Heading, Link

if TYPE_CHECKING:
    from docmap.sites.resolution import Resolution
    from docmap.sites.site import Site

# Says where a link of a source file leads, or None when this way says nothing about such a link.
Way = Callable[["Site", Link, str], "Resolution | None"]


# For `custom_id`: what many generators take for the id of a heading: `{#id}`, `{.class #id key=value}`, `{: #id}`.
# Linear: only the first "#" with a name behind it is one, and that name is taken whole.
ID_IN_BRACES: Final = r"\{(?:[^{}#]|#(?![^\s{}]))*#([^\s{}]+)(?![^\s{}])[^{}]*\}\s*$"


@dataclass(frozen=True)
class Effect:
    """What a construct can do to the page it stands in.

    `includes`: the file that its arguments name becomes part of the page; a function that takes the site, the
    construct and the page and returns the file's path, or None for what cannot be told.
    `makes`: ids that it makes, from its arguments. `anchors`: why the page may have anchors that no text shows
    (`{form}`, `{name}` and `{line}` are filled in). `unknown`: the same, where the site or the construct decides.
    """

    includes: Callable[[Site, Construct, str], str | None] | None = None
    makes: Callable[[Construct], Iterable[str]] | None = None
    anchors: str | None = None
    unknown: Callable[[Site, Construct, str], str | None] | None = None


NO_EFFECT: Final = Effect()


def numbered(first: int = 1, join: str = "-") -> Callable[[str, dict[str, int]], str]:
    """How repeats are told apart: the second `x` becomes x-1 (or x-2, x_1, ...), as long as that is free."""

    def unique(anchor: str, given: dict[str, int]) -> str:
        # `given` counts, for each anchor given so far, how often it came; a caller starts with an empty one.
        if anchor not in given:
            given[anchor] = 0
            return anchor
        while True:
            given[anchor] += 1
            candidate = f"{anchor}{join}{given[anchor] + first - 1}"
            if candidate not in given:
                given[candidate] = 0
                return candidate

    return unique


def as_it_is(text: str) -> str:
    """The text itself."""
    return text


def last_of_path(anchor: str) -> str:
    """The heading that an anchor of a wiki link names last: B of "A#B"."""
    return anchor.rpartition("#")[2]


@dataclass(frozen=True)
class Rules:
    """What holds for all sites of one kind, or, by `changed`, for one site whose configuration says otherwise."""

    kind: str  # as messages and settings name it: "mdbook"
    ways: Mapping[str, Sequence[Way]]  # by form of link; a form that is missing has the ways of "link"

    # Pages and their addresses.
    page_suffixes: tuple[str, ...] = (".md", ".markdown")
    # Whether the site makes a page of a document below its content root; what it does not take is the code host's.
    takes: Callable[[Site, str], bool] | None = None
    index_names: tuple[str, ...] = ("index",)  # stems served as their folder, the first that is there
    # "slash": /a/b/ for a/b.md, "html": /a/b.html, "bare": /a/b. Other spellings that also lead there: `served_as`.
    url_style: str = "html"
    served_as: tuple[str, ...] = ()
    # Addresses of a page instead of those that follow from its path (a slug, a permalink); the first is the one
    # from which relative links start; () for a file that makes no page; None: those that follow from the path.
    addresses: Callable[[Site, str, Facts], Sequence[str] | None] | None = None
    # Addresses that a page without one would have once it is published, () for what is none: it is judged as a page.
    drafts: Callable[[Site, str, Facts], Sequence[str]] | None = None
    needs_suffix: bool = False  # whether a page is only found with its suffix
    base: str = "/"  # the address of the site itself, which absolute links begin with
    static: tuple[str, ...] = ()  # folders whose files are served from "/", relative to the repository
    # Files of the content root are served beside the pages: all but these suffixes; None: no file is.
    not_copied: tuple[str, ...] | None = ()
    redirects: Mapping[str, str] = field(default_factory=dict)  # old address -> new one, anchor and all
    # Addresses of pages that are no documents: scripts, HTML.
    other_pages: frozenset[str] = frozenset()
    # Addresses that the site makes itself: pattern of the whole address -> None, or why that is doubtful.
    made: Mapping[str, str | None] = field(default_factory=dict)
    # Why any address may be made without a file (a preprocessor, a plugin), if so.
    any_target: str | None = None
    # The same for links to source files: only what makes those before links are followed can do so.
    any_source: str | None = None
    # Why a link may lead elsewhere than it says (a program that makes other links of links), if so.
    rewritten: str | None = None
    # Links of the file that defines the site: its navigation. They start from the content root.
    listed: tuple[Link, ...] = ()
    # Wiki links: whether these are links here; else they are text.
    wiki_links: bool = False
    # Undefined labels: whether they are told; or why an undefined one may be defined after all.
    labels: bool = True
    any_label: str | None = None
    # Labels that every page has, since the site adds their definitions; in the form of `Facts.labels`.
    more_labels: frozenset[str] = frozenset()
    # Whether a label is the name of something else (a heading of any page), so that it needs no definition.
    names_label: Callable[[Site, str], bool] | None = None
    any_footnote: str | None = None  # why an undefined footnote may be defined after all, if so
    # The fields of a page's front matter that lead somewhere, by their names from the outermost ("*" for each entry of a
    # list), and the forms of their links.
    fields: Callable[[Facts], Mapping[tuple[str, ...], str]] | None = None
    # Whether the links of a file that is part of a page start from that file (as modules do), too.
    partials_keep_paths: bool = False
    # Template parts, as a pattern of paths below the content root: what no page is known to include is not judged.
    parts: str | None = None
    # Targets, as written, of which nothing can be said: pattern found in them -> why.
    filled_in: Mapping[str, str] = field(default_factory=dict)

    # Anchors.
    slug: Callable[[str], str] = as_it_is  # the anchor of a heading's text
    # What `slug` gets, when it is not the heading's text.
    heading_text: Callable[[Heading], str] | None = None
    repeats: Callable[[str, dict[str, int]], str] = field(default_factory=numbered)
    # Found at the end of a heading's text, in braces: group 1 is its id, and all of the match no text of the heading.
    custom_id: str | None = None
    compare: Callable[[str], str] = as_it_is  # anchors are equal when these are
    case_doubt: str | None = None  # why an anchor that is equal, but for letter case, is doubtful, if so
    heading_levels: range = range(1, 7)
    html_headings: bool = False  # <h2>Text</h2> gets an anchor of its text
    nested_headings: bool = True  # headings in quotes and list items get anchors
    ids: bool = True  # ids of HTML elements are anchors
    # Lists of `Facts` whose names are anchors, too: "attribute_ids", "block_ids", "targets", "terms".
    named: tuple[str, ...] = ()
    terms: bool = False  # terms of definition lists get anchors as headings do, numbered together with these
    more_anchors: Callable[[Site, str, Facts], Iterable[str]] | None = None
    # Why a page may have anchors that cannot be worked out from its text, if so.
    unread_anchors: Callable[[Site, str, Facts], str | None] | None = None
    # Pattern of whole anchors that every page has: at least none at all ("page#"), the top, and text to look for.
    always: str = r"|top|:~:.*"
    # Effects of constructs: "form:name", else "form" -> effect. A form that is missing has no effect.
    effects: Mapping[str, Effect] = field(default_factory=dict)
    appended: tuple[str, ...] = ()  # files that are included at the end of every page
    # Whether an anchor that is one slip away from one that is there is broken, whatever else makes anchors.
    slips: bool = True
    any_anchor: str | None = None  # why every page may have anchors that no text shows (a plugin), if so
    # What the grammar calls code and the site Markdown: kinds of `Body`, "fence:name" for one directive.
    bodies: tuple[str, ...] = ()
    # More of them, in files of some suffixes.
    bodies_by_suffix: Mapping[str, tuple[str, ...]] = field(default_factory=dict)
    # The part of a wiki link's anchor that names the heading or block: the last of "A#B" unless said otherwise.
    wiki_anchor: Callable[[str], str] = last_of_path
    # Kinds of spans in which links are none and headings no headings.
    literal: frozenset[str] = frozenset({"comment", FRONT_MATTER})

    def changed(self, **fields: object) -> Rules:
        """These rules with some of them changed."""
        # A repository can hold hundreds of sites, and `replace` asks for every field.
        changed = copy(self)
        changed.__dict__.update(fields)
        return changed
