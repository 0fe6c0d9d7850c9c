"""Judges links: asks the site of each file where a link leads, and says what is wrong in the writer's words.

Knows no rules of its own. What the site's rules deny is broken; what something unreadable decides is doubtful.
"""

from __future__ import annotations

import posixpath
import re
from collections.abc import Iterable, Iterator, Mapping
from itertools import chain, islice
from typing import NamedTuple

from docmap.closest_pages import ClosestPages
from docmap.documents import PAGE_SUFFIXES, PICTURE_SUFFIXES
from docmap.facts import (
    DOC,
    EMBED,
    FILE,
    FOOTNOTE,
    IMAGE,
    LABEL,
    REF,
    SCHEME,
    SHORTCUT,
    SRC,
    TEMPLATE,
    TOC,
    WIKI,
    WWW,
    Facts,
    Link,
    lines_of,
)
from docmap.findings import BROKEN, IN_DOUBT, Finding
from docmap.inline import same_label
from docmap.partials import perhaps_included
from docmap.repository import Repository
from docmap.sites.resolution import DOUBTFUL, FOUND
from docmap.sites.site import Site
from docmap.spelling import Names, Spelling, is_slip, is_sure_slip

# Files at the top of a repository that its host shows, whatever site is made of them as well.
_OF_THE_HOST = re.compile(r"(?:readme|changelog|contributing|security|code_of_conduct)\.\w+", re.IGNORECASE)
# "icon@2x.png" is a file.
_MAIL = re.compile(r"[\w.+-]+@(?!\dx\.)(?:[\w-]+\.)+[A-Za-z]{2,}")
_WORD_LABEL = re.compile(r"[\w-]+")
# Names of programs, which often differ in a letter: `cache`, config.cached, is_file.
_OF_PROGRAMS = re.compile(r"[`._:]")
# What programs put between the words of an anchor, or leave out.
_BETWEEN_WORDS = re.compile(r"[-_\s]+")
# How alike a suggestion must be, from 0 to 1 as `Spelling` compares.
_LOWEST_LIKENESS = 0.7
# Pages around a text that are asked for a label.
_MOST_PAGES = 16
_PERHAPS_TEXT = "text in brackets, or a link as most brackets of this document are?"
# Forms that are text wherever no rules are for them.
_OF_SOME_SITES = frozenset({SCHEME, DOC, TOC, REF, FILE})


class Judgement(NamedTuple):
    """Where a link leads: to a page (`page`, `anchor` as the page has it), or to what is wrong with it."""

    link: Link
    page: str | None = None
    finding: Finding | None = None


def _moved(judgement: Judgement, line: int) -> Judgement:
    """The same of a link that stands in another line."""
    link, page, finding = judgement.link, judgement.page, judgement.finding
    if link.line == line:
        return judgement
    return Judgement(link._replace(line=line), page, finding and finding._replace(line=line))


class _AnchorNames(NamedTuple):
    """The anchors of some pages as they are written, and by how they are written without letter case."""

    names: Mapping[str, None]
    in_other_case: Mapping[str, str]
    to_compare: Names


class Judge:
    """Judges the links of the documents of one repository."""

    def __init__(self, repository: Repository, sites: Iterable[Site]) -> None:
        """`sites`: all of them, the code host last."""
        self._repository = repository
        self.sites = list(sites)
        self._host = self.sites[-1]
        self._owners = {page: site for site in self.sites for page in site.pages}
        # The sites that each file is perhaps a part of, and those that have not been asked for these yet.
        self._parts: dict[str, list[Site]] = {}
        self._unasked = [site for site in self.sites[:-1] if site.pages and site.may_include]
        self._spelling = Spelling()
        self._anchors: dict[tuple[Site, tuple[str, ...]], _AnchorNames] = {}
        self._closest_pages = ClosestPages(repository, self._spelling)

    def site_of(self, path: str) -> Site:
        """The site that a document belongs to."""
        return self._owners.get(path, self._host)

    def judged(self, path: str) -> Iterator[Judgement]:
        """What becomes of each link of a document, in document order."""
        shown = self._shown_in(path) or list(self._shown_elsewhere(path))
        if not shown:
            return
        site = shown[0][0]
        facts = site.facts(path)
        if facts is None:
            return
        hidden = lines_of(facts.spans, site.rules.literal - {"comment"})
        # A link that is written as one before it leads where that led.
        known: dict[object, Judgement] = {}
        for link in site.links_of(facts):
            if link.line in hidden:
                continue
            reader = site.notes if link.form in {WIKI, EMBED} else site
            if (
                reader is None
                or link.inside in reader.rules.literal
                or (link.form in _OF_SOME_SITES and link.form not in site.rules.ways)
            ):
                continue
            alike = link[1:]
            if alike not in known:
                known[alike] = self._judge(shown, link, path, facts)
            yield _moved(known[alike], link.line)

    def _shown_in(self, path: str) -> list[tuple[Site, str]]:
        """Where a reader meets the text of a document: its own site and the pages there, and the code host."""
        own = self.site_of(path)
        shown = [(own, source) for source in own.sources_of(path)] if own is not self._host else []
        # What its site shows nowhere is still read where the repository is, and so is what no site owns.
        shown = shown or ([] if own.is_part(path) else [(self._host, path)])
        if own is not self._host and _OF_THE_HOST.fullmatch(path):
            shown.append((self._host, path))
        return shown

    def _shown_elsewhere(self, path: str) -> Iterator[tuple[Site, str]]:
        """The pages of other sites that a document is part of."""
        own = self.site_of(path)
        for site in [site for site in self._unasked if site is not own]:
            self._unasked.remove(site)
            for part in site.once(perhaps_included):
                self._parts.setdefault(part, []).append(site)
        for site in self._parts.get(path, ()):
            if site is not own:
                yield from ((site, page) for page in site.includers.get(path, ()))

    def findings(self, path: str) -> Iterator[Finding]:
        """What is wrong with the links of a document, in document order."""
        for judgement in self.judged(path):
            if judgement.finding is not None:
                yield judgement.finding

    def listed(self) -> Iterator[Finding]:
        """What is wrong with the links of the files that define sites."""
        for site in self.sites:
            for link in site.rules.listed:
                source = posixpath.join(site.content, "index.md")
                finding = self._judge_from(site, link, site.defined_by, source).finding
                if finding is not None:
                    yield finding

    def _judge(self, shown: list[tuple[Site, str]], link: Link, path: str, facts: Facts) -> Judgement:
        """The judgement on a link of a document; a text that several pages show is wrong where it is so in all."""
        worst: Judgement | None = None
        # The pages of other sites are read only for a link that is wrong where it stands.
        for site, source in chain(shown, self._shown_elsewhere(path)):
            judgement = self._judge_in(site, link, path, source, facts)
            if judgement.finding is None:
                return judgement
            if worst is None or (
                judgement.finding.degree == IN_DOUBT
                and worst.finding is not None
                and worst.finding.degree == BROKEN
            ):
                worst = judgement
        assert worst is not None
        return worst

    def _judge_in(self, site: Site, link: Link, path: str, source: str, facts: Facts) -> Judgement:
        """The judgement on a link that stands in the document `path`, as the page `source` of a site shows it."""
        if link.form in {WIKI, EMBED}:
            site = site.notes or site
        if link.form in {LABEL, SHORTCUT, FOOTNOTE}:
            return Judgement(link, None, self._judge_label(site, link, path, source, facts))
        for pattern, why in site.rules.filled_in.items():
            if re.search(pattern, link.written):
                return Judgement(
                    link, None, _finding(link, path, f'"{link.written}" is filled in', None, why)
                )
        return self._judge_from(site, link, path, source)

    def _judge_from(self, site: Site, link: Link, path: str, source: str) -> Judgement:
        """The same of a link that leads somewhere: all but labels, footnotes and what the site fills in."""
        if link.form == TEMPLATE and TEMPLATE not in site.rules.ways:
            why = "a template fills it in"
            return Judgement(link, None, _finding(link, path, f'"{link.written}" is not known', None, why))
        resolution = site.resolve(link, source)
        if resolution.outcome == FOUND:
            if resolution.anchor is not None:
                link = link._replace(anchor=resolution.anchor)
            return self._judge_anchor(site, link, path, source, resolution.pages)
        if link.form == WWW:
            message = f'no scheme for "{link.path}", so it is read as a file'
            suggestion = f"https://{link.written}"
        elif _MAIL.fullmatch(link.path) and link.form not in {WIKI, EMBED, IMAGE, SRC}:
            message = f'no scheme for "{link.path}", so it is read as a file'
            suggestion = f"mailto:{link.written}"
        elif not link.path:
            message, suggestion = f'no heading "#{link.anchor}"', None
        elif link.form == REF or resolution.names:
            close = self._spelling.closest(link.path, Names(resolution.names), _LOWEST_LIKENESS)
            # Terms of a glossary may be roles, which no link names.
            message, suggestion = (
                f'no target "{link.path}"',
                close if close is None or "`" not in close else None,
            )
        elif link.form in {WIKI, EMBED}:
            message, suggestion = f'no page "{link.path}"', self._closest_pages.of(site, link, source)
        else:
            message, suggestion = f'no file "{link.path}"', self._closest_pages.of(site, link, source)
        if resolution.outcome == DOUBTFUL:
            slips = suggestion is not None and _is_slip(link, suggestion, is_made=resolution.is_made)
            doubt = None if slips else resolution.why
            return Judgement(link, None, _finding(link, path, message, suggestion, doubt, site))
        if resolution.why is not None:
            message = f"{message}: {resolution.why}"
        return Judgement(link, None, _finding(link, path, message, suggestion, None, site))

    def _judge_anchor(
        self, site: Site, link: Link, path: str, source: str, pages: tuple[str, ...]
    ) -> Judgement:
        """The same of a link that leads to one of these pages (none: to what is no page): whether its anchor is there."""
        target = pages[0] if pages else None
        if not link.anchor or target is None or link.form in {IMAGE, SRC}:
            return Judgement(link, target)
        rules = site.rules
        wanted = rules.wiki_anchor(link.anchor) if link.form in {WIKI, EMBED} else link.anchor
        if not wanted or re.fullmatch(rules.always, wanted):
            return Judgement(link, target)
        doubt: str | None = None
        for page in pages:
            anchors = site.anchors(page)
            name = anchors.known.get(rules.compare(wanted))
            if name is not None and (rules.case_doubt is None or not _differ_in_case(name, wanted)):
                return Judgement(link, page)
            doubt = doubt or anchors.unknown_because
        others = self._anchors_of(site, pages)
        same = others.in_other_case.get(wanted.casefold())
        where = "" if target == source else f" in {target}"
        closest = same or self._closest_anchor(link, wanted, others, of=(site, pages))
        if same is not None:
            doubt = doubt or rules.case_doubt
        elif (
            rules.slips
            and closest is not None
            and is_slip(wanted, closest)
            and not _same_words(wanted, closest)
        ):
            # Whatever else makes anchors here, it makes none that is one slip away from another.
            doubt = None
        suggestion = None if closest is None else self._with_anchor(link, closest)
        kind = "block" if wanted.startswith("^") else "heading"
        message = f'no {kind} "#{wanted}"{where}'
        return Judgement(link, target, _finding(link, path, message, suggestion, doubt, site))

    def _judge_label(self, site: Site, link: Link, path: str, source: str, facts: Facts) -> Finding | None:
        """What is wrong with a label or footnote that its document does not define; None where nothing is."""
        if link.form in {LABEL, SHORTCUT}:
            # One character or a number in brackets is an index, in prose about programs.
            if not site.rules.labels or len(link.path) < 2 or link.path.isdigit():
                return None
            if same_label(link.path) in site.rules.more_labels:
                return None
            if site.rules.names_label is not None and site.rules.names_label(site, link.path):
                return None
            missing: str | None = None
            if site.may_include:
                # What is included is text of the page before its labels are looked for.
                labels, missing = site.labels_around(path, source)
                # A part that is also a page of its own is written for the pages around it.
                around = islice(site.includers.get(path, ()), _MOST_PAGES)
                if same_label(link.path) in labels or any(
                    same_label(link.path) in site.labels_around(page, page)[0] for page in around
                ):
                    return None
            close = self._spelling.closest(link.path.casefold(), Names(facts.labels), _LOWEST_LIKENESS)
            message = f'no definition of the label "{link.path}"'
            doubt = site.rules.any_label or (_PERHAPS_TEXT if link.form == SHORTCUT else None)
            doubt = doubt or (None if missing is None else f"defined in {missing}, which is included?")
            if (
                site.rules.slips
                and close is not None
                and is_slip(link.path, close)
                and not _OF_PROGRAMS.search(link.path)
                and not _same_words(link.path, close)
            ):
                doubt = None
            return _finding(link, path, message, close, doubt, site)
        # Brackets with a circumflex are character classes as well; who defines footnotes means them.
        if not facts.footnotes or not _WORD_LABEL.fullmatch(link.path):
            return None
        return _finding(link, path, f'no footnote "{link.path}"', None, site.rules.any_footnote, site)

    # --- Suggestions ---

    def _anchors_of(self, site: Site, pages: tuple[str, ...]) -> _AnchorNames:
        """The anchors of all these pages; put together once, since thousands of links can miss them."""
        if (site, pages) not in self._anchors:
            names = dict.fromkeys(name for page in pages for name in site.anchors(page).known.values())
            # Of several that are equal but for letter case, the first.
            folded = {name.casefold(): name for name in reversed(names)}
            self._anchors[site, pages] = _AnchorNames(names, folded, Names(names))
        return self._anchors[site, pages]

    def _closest_anchor(self, link: Link, wanted: str, others: _AnchorNames, *, of: object) -> str | None:
        # Wiki links name headings as they are written.
        dashed = wanted if link.form in {WIKI, EMBED} else "-".join(wanted.casefold().split())
        if dashed in others.names:
            return dashed
        return self._spelling.closest(dashed, others.to_compare, _LOWEST_LIKENESS, of=of)

    @staticmethod
    def _with_anchor(link: Link, anchor: str) -> str:
        if link.form in {WIKI, EMBED}:
            return f"{link.written.partition('#')[0]}#{anchor}"
        return f"#{anchor}"


def _is_slip(link: Link, meant: str, *, is_made: bool) -> bool:
    """Whether a doubtful target is another one misspelt; `is_made`: nobody would make what is one slip away from it."""
    if link.form != REF:
        return is_made and _is_slip_in_path(link.path, meant)
    if is_made:
        return is_slip(link.path, meant) and not _same_words(link.path, meant)
    return is_sure_slip(link.path, meant)


def _is_slip_in_path(written: str, meant: str) -> bool:
    """Whether one part of a path is misspelt, and the others are as they should be."""
    ours, theirs = (posixpath.normpath(path).strip("/").split("/") for path in (written, meant))
    if len(ours) != len(theirs):
        return False
    wrong = [pair for pair in zip(ours, theirs, strict=True) if pair[0] != pair[1]]
    # Programs make addresses and anchors of words, and no names of files.
    if written.lower().endswith((*PAGE_SUFFIXES, *PICTURE_SUFFIXES)):
        return len(wrong) == 1 and is_slip(*wrong[0])
    return len(wrong) == 1 and is_slip(*wrong[0]) and not _same_words(*wrong[0])


def _same_words(name: str, other: str) -> bool:
    """Whether two names differ only by how programs make anchors and addresses of the same words."""
    return _BETWEEN_WORDS.sub("", name).casefold() == _BETWEEN_WORDS.sub("", other).casefold()


def _differ_in_case(name: str, other: str) -> bool:
    return name != other and name.casefold() == other.casefold()


def _finding(
    link: Link, path: str, message: str, suggestion: str | None, doubt: str | None, site: Site | None = None
) -> Finding:
    """`doubt`: what decides, None for a broken link; `site`: whose rules say that it is broken."""
    decided_by = doubt if doubt is not None else site.rules.kind if site is not None else ""
    return Finding(
        path, link.line, link.written, message, suggestion, BROKEN if doubt is None else IN_DOUBT, decided_by
    )
