"""Note vaults: a folder with .obsidian, or one whose wiki links find pages by name."""

from __future__ import annotations

import posixpath
import re
from collections.abc import Iterable, Iterator

from docmap.facts import DOLLARS, EMBED, FRONT_MATTER, IMAGE, NOTE_COMMENT, SRC, WIKI, Facts, Link
from docmap.headings import spaced_text
from docmap.repository import Repository
from docmap.sites import literals, slugs
from docmap.sites.resolution import FOUND, Resolution, doubtful, found, made_perhaps
from docmap.sites.rules import Rules
from docmap.sites.site import Site
from docmap.sites.ways import file_beside, itself, site_file

KIND = "vault"

# Folders of note programs, which make a vault of the folder that they lie in.
_MARKS = (".obsidian", ".foam", ".logseq")

# Codes of languages, as folders are named; such folders hold one vault each when there are several.
_LANGUAGE = re.compile(
    r"(?:ar|bn|cs|da|de|el|en|es|fa|fi|fr|he|hi|hu|id|it|ja|km|ko|lv|ms|nl|no|pl|pt|ro|ru|sk|sv|th|tr|uk|vi|zh)"
    r"(?:-[A-Za-z]{2,4})?"
)


def _by_name(site: Site, link: Link, source: str) -> Resolution | None:
    """A note by its name, or by the end of its path; letter case is nothing."""
    name = link.path.strip().rstrip("\\").strip("/")
    if not name or name.startswith("."):
        return None
    steps = _steps(name)
    notes = [page for page in site.once(_notes).get(steps[-1], ()) if _ends(page, steps)]
    if notes:
        return found(*sorted(notes, key=lambda page: _distance(page, source)))
    # Other files are named with their suffix, and shared by all languages.
    files = [
        path for path in site.files_by_name.get(posixpath.basename(name).partition(".")[0], ()) if "." in name
    ]
    same = [path for path in files if f"/{path.casefold()}".endswith(f"/{name.casefold()}")]
    if any(site.repository.facts(path) is None for path in same):
        return found()
    return None


def _alias(site: Site, link: Link, source: str) -> Resolution | None:
    """Another name that front matter gives a note, which some programs follow."""
    pages = site.once(_aliases).get(link.path.strip().casefold())
    if pages:
        return doubtful(f"an alias of {pages[0]}, which not every program follows")
    return (
        made_perhaps(f"an alias of {site.unread_page}, which cannot be read?") if site.unread_page else None
    )


def _aliases(site: Site) -> dict[str, list[str]]:
    """The notes by their aliases, in one letter case."""
    aliases: dict[str, list[str]] = {}
    pages = [page for page in site.pages if site.repository.may_hold(page, b"alias")]
    site.repository.read_ahead(pages)
    for page in pages:
        facts = site.facts(page)
        fields = facts.fields_with("alias", "aliases") if facts is not None else {}
        for name in (*literals.texts(fields.get("aliases")), *literals.texts(fields.get("alias"))):
            aliases.setdefault(name.casefold(), []).append(page)
    return aliases


def _folder_note(site: Site, link: Link, source: str) -> Resolution | None:
    """A folder, as some note programs open it."""
    name = link.path.strip().strip("/").casefold()
    if not name:
        return None
    alike = site.once(_folders).get(posixpath.basename(name), ())
    return found() if any(folder.endswith(f"/{name}") for folder in alike) else None


def _folders(site: Site) -> dict[str, list[str]]:
    """The folders of the notes, with a slash before each and in one letter case, by the last step of their paths."""
    folders: dict[str, list[str]] = {}
    for folder in site.repository.folders:
        if site.within(folder, site.content) is not None:
            path = f"/{folder.casefold()}"
            folders.setdefault(posixpath.basename(path), []).append(path)
    return folders


def _from_folder(site: Site, link: Link, source: str) -> Resolution | None:
    """A path from the source's folder or the vault's, with or without the suffix of notes."""
    path = link.path.strip().rstrip("\\")
    places = [posixpath.join(site.content, path.lstrip("/")), posixpath.join(site.root, path.lstrip("/"))]
    if not path.startswith("/"):
        places.insert(0, posixpath.join(posixpath.dirname(source), path))
    for place in map(posixpath.normpath, places):
        for name in (place, f"{place}.md"):
            if name in site.repository.files:
                return site_file(site, name)
    return None


def _steps(name: str) -> list[str]:
    """The folders and the name that a path is made of, in one letter case and without the suffix of notes."""
    return re.sub(r"\.(?:md|markdown)$", "", name).casefold().split("/")


def _ends(page: str, steps: list[str]) -> bool:
    """Whether the path of a page ends with these steps."""
    return _steps(page)[-len(steps) :] == steps


def _notes(site: Site) -> dict[str, list[str]]:
    """The notes by the last step of their paths."""
    notes: dict[str, list[str]] = {}
    for page in site.pages:
        notes.setdefault(_steps(page)[-1], []).append(page)
    return notes


def _distance(page: str, source: str) -> tuple[int, str]:
    """How many folders lie between two files; the path itself settles a tie."""
    return posixpath.relpath(page, posixpath.dirname(source) or ".").count("/"), page


def _slugs(site: Site, page: str, facts: Facts) -> Iterable[str]:
    """Markdown links to headings are also written as code hosts do."""
    for heading in facts.headings:
        yield slugs.github(spaced_text(heading))
        # Note programs keep the source of a heading: "See [x](y)" is "See x y".
        yield heading.raw


# How wiki links find notes; also where another kind of site makes pages of the notes. What an alias finds is doubtful.
_SURE = (itself, _by_name, _from_folder, _folder_note)
NAMES = (*_SURE, _alias)


def finds(site: Site, link: Link, source: str) -> bool:
    """Whether a wiki link surely finds something, for which no aliases are read."""
    resolutions = (way(site, link, source) for way in _SURE)
    first = next((resolution for resolution in resolutions if resolution is not None), None)
    return first is not None and first.outcome == FOUND


RULES = Rules(
    kind=KIND,
    ways={
        "link": (itself, file_beside, _from_folder, _by_name),
        IMAGE: (file_beside, _from_folder, _by_name),
        SRC: (file_beside, _from_folder, _by_name),
        WIKI: NAMES,
        EMBED: NAMES,
    },
    wiki_links=True,
    # Brackets of a destination are no part of it: `<% x %>` is one, too.
    filled_in={r"<%|\{\{|\A%.*%\Z": "filled in by a template"},
    repeats=lambda anchor, given: anchor,
    compare=slugs.vault,
    named=("block_ids",),
    more_anchors=_slugs,
    literal=frozenset({"comment", NOTE_COMMENT, *DOLLARS, FRONT_MATTER}),
)


def find(repository: Repository) -> Iterator[str]:
    """The folders that .obsidian, .foam or .logseq lies in, and those of their languages."""
    roots = {
        posixpath.dirname(folder) for folder in repository.folders if posixpath.basename(folder) in _MARKS
    }
    for root in sorted(roots):
        below = [
            folder for folder in repository.folders if posixpath.dirname(folder) == root and folder != root
        ]
        languages = [folder for folder in below if _LANGUAGE.fullmatch(posixpath.basename(folder))]
        yield root
        if len(languages) > 1:
            yield from languages


def make(repository: Repository, root: str) -> Site | None:
    """The vault in a folder, or the part of one in the folder of a language."""
    above = posixpath.dirname(root)
    language = _LANGUAGE.fullmatch(posixpath.basename(root)) is not None
    whole = above if language and posixpath.join(root, ".obsidian") not in repository.folders else root
    rules = RULES
    if posixpath.join(whole, ".obsidian") in repository.folders:
        rules = rules.changed(literal=rules.literal - {FRONT_MATTER})
    marks = [posixpath.join(whole, mark) for mark in _MARKS]
    return Site(rules, repository, whole, root, next((m for m in marks if m in repository.folders), ""))
