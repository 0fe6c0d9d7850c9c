"""The texts of headings with all their spaces, as those programs see them that make "-" of each space."""

from __future__ import annotations

import html
import re
from functools import lru_cache

from docmap.facts import Heading
from docmap.inline import TAG
from docmap.reading import parse, unnumbered_sections_of

# The outline has single spaces. What must stay is marked by characters that no font and no program gives a meaning.
_SPACE, _NOTHING = "\ue000", "\ue001"
_MORE_SPACES = re.compile(r"(?<=[ \t])[ \t]")
_SPACE_AT_MARK = re.compile(rf"[ \t](?={_NOTHING})|(?<={_NOTHING})[ \t]")
# Code spans and escapes come first, since what looks like a tag in these is text.
_SHOWS_NO_TEXT = re.compile(
    r"(?P<code>(?<!`)(`+)(?!`).*?(?<!`)\2(?!`)|\\.)"
    r"|!\[[^\[\]]*\](?:\([^()]*\)|\[[^\[\]]*\])|<!--.*?-->|" + TAG.pattern.decode()
)
# Longer ones are read as the outline has them, since a run of backticks may be looked for from each of them.
_LONGEST = 1000


@lru_cache(1024)
def spaced_text(heading: Heading) -> str:
    """The text of a heading with all spaces between its words."""
    text = _text_of(_with_spaces(heading.raw)) if "  " in heading.raw else None
    # Where a mark has broken a link, the outline's name stands.
    return text if text is not None and text.split() == heading.text.split() else heading.text


@lru_cache(1024)
def bare_text(heading: Heading) -> str | None:
    """The same with nothing for images, tags and comments, so that spaces beside these stay; None without these."""
    raw = heading.raw
    if ("![" not in raw and "<" not in raw) or len(raw) > _LONGEST:
        return None
    bare = _without_images(raw)
    return None if bare == _with_spaces(raw) else _text_of(bare)


def _with_spaces(raw: str) -> str:
    """The source of a heading, where spaces after others are marked."""
    return _MORE_SPACES.sub(_SPACE, raw)


def _without_images(raw: str) -> str:
    """The source of a heading without what shows no text, where spaces after others and beside these are marked."""
    text = _SHOWS_NO_TEXT.sub(lambda match: match["code"] or _NOTHING, raw)
    return _SPACE_AT_MARK.sub(_SPACE, _with_spaces(text))


def _text_of(source: str) -> str | None:
    """The text of a heading, of its source with what is marked in that; None for what is no heading."""
    document = f"# {' '.join(source.split())}\n"
    sections = unnumbered_sections_of(parse(document), document)
    return html.unescape(sections[0].name).replace(_SPACE, " ").replace(_NOTHING, "") if sections else None
