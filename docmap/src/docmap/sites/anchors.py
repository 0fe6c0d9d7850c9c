"""The anchors of a page: those of its text, and why there may be others."""

from __future__ import annotations

import re
from collections.abc import Mapping
from dataclasses import dataclass
from typing import TYPE_CHECKING

from docmap.facts import INCLUDE, Construct, Heading, Named, lines_of
from docmap.headings import spaced_text
from docmap.sites.rules import Rules

if TYPE_CHECKING:
    from docmap.sites.site import Site


@dataclass(frozen=True)
class Anchors:
    """The anchors of a page: as they compare -> as they are written. Others exist perhaps, if `unknown_because`."""

    known: Mapping[str, str]
    unknown_because: str | None = None


# A chain of more files that include the next would use up the stack.
DEEPEST_INCLUDE = 100


def read(site: Site, page: str) -> Anchors:
    """The anchors of a document of this site."""
    rules = site.rules
    names: list[str] = []
    why = _collect(site, page, names, {}, {page}, 0)
    return Anchors({rules.compare(name): name for name in reversed(names)}, why or rules.any_anchor)


def _collect(
    site: Site, page: str, names: list[str], given: dict[str, int], seen: set[str], depth: int
) -> str | None:
    """Add the anchors of a document and of those it includes to `names`; returns why there may be others.

    `given`: how often each anchor was given so far, as `Rules.repeats` counts; `seen`: the documents that are part of the
    page already; `depth`: how many documents this one is included through.
    """
    rules, facts = site.rules, site.facts(page)
    if facts is None:
        return f"{page} cannot be read"
    why = None
    hidden = lines_of(facts.spans, rules.literal)
    # In document order, since repeats are numbered in it, across what is included.
    events: list[tuple[int, Heading | Construct | Named]] = [
        *((heading.line, heading) for heading in facts.headings),
        *((construct.line, construct) for construct in facts.constructs),
        *((term.line, term) for term in (facts.terms if rules.terms else ())),
    ]
    events.sort(key=lambda event: event[0])
    for line, event in events:
        # <!--@include: path--> is a comment itself.
        is_include = isinstance(event, Construct) and event.form == INCLUDE
        # A heading that has a comment in its text is not inside of one.
        holds_comment = isinstance(event, Heading) and "<!--" in event.raw
        if not (is_include or holds_comment) and line in hidden:
            continue
        if isinstance(event, Heading):
            anchor = _anchor_of(rules, event, given)
            if anchor:
                names.append(anchor)
            continue
        if isinstance(event, Named):
            names.append(rules.repeats(rules.slug(event.name), given))
            continue
        # Each is asked, since what it includes has anchors whether or not others are in doubt already.
        doubt = _of_construct(site, event, page, names, given, seen, depth)
        why = why or doubt
    if rules.ids:
        names.extend(named.name for named in facts.ids)
    for kind in rules.named:
        # A link names a block with the sign that marks it, so that no heading is taken for one.
        sign = "^" if kind == "block_ids" else ""
        names.extend(sign + named.name for named in getattr(facts, kind))
    if rules.more_anchors is not None:
        names.extend(rules.more_anchors(site, page, facts))
    if rules.unread_anchors is not None:
        why = why or rules.unread_anchors(site, page, facts)
    return why


def _of_construct(
    site: Site,
    construct: Construct,
    page: str,
    names: list[str],
    given: dict[str, int],
    seen: set[str],
    depth: int,
) -> str | None:
    """Add the anchors that a construct makes or includes; returns why there may be others."""
    effect = site.effect_of(construct)
    if effect.makes is not None:
        names.extend(effect.makes(construct))
    why = None if effect.anchors is None else effect.anchors.format(**construct._asdict())
    if effect.includes is not None:
        included = effect.includes(site, construct, page)
        is_document = included is not None and site.repository.facts(included) is not None
        if included in seen:
            why = None
        elif included is not None and is_document and depth < DEEPEST_INCLUDE:
            seen.add(included)
            why = _collect(site, included, names, given, seen, depth + 1)
        elif included in site.repository.files and not is_document:
            # Program text and data have no anchors.
            why = None
    if why is None and effect.unknown is not None:
        why = effect.unknown(site, construct, page)
    return why


def _anchor_of(rules: Rules, heading: Heading, given: dict[str, int]) -> str | None:
    """The anchor of a heading, where those of the headings before it are in `given`."""
    if heading.own_id is not None:
        return heading.own_id
    if (heading.html and not rules.html_headings) or (heading.nested and not rules.nested_headings):
        return None
    if heading.level not in rules.heading_levels:
        return None
    text = spaced_text(heading) if rules.heading_text is None else rules.heading_text(heading)
    if rules.custom_id is not None:
        # All of these stand in braces.
        own = re.search(rules.custom_id, heading.raw) if "{" in heading.raw else None
        if own is not None and own[1]:
            given.setdefault(own[1], 0)
            return own[1]
        text = re.sub(rules.custom_id, "", text) if "{" in text else text
    return rules.repeats(rules.slug(text), given)
