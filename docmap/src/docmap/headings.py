"""Reads the texts of headings with all their spaces, as those programs see them that make "-" of each space."""

from __future__ import annotations

import html
import re
from collections.abc import Mapping

from docmap.inline import TAG
from docmap.reading import parse, sections_of

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


def holds_image(raw: str) -> bool:
    """Whether something in the source of a heading shows no text: an image, a tag, a comment."""
    return ("![" in raw or "<" in raw) and len(raw) <= _LONGEST and without_images(raw) != with_spaces(raw)


def with_spaces(raw: str) -> str:
    """The source of a heading, where spaces after others are marked."""
    return _MORE_SPACES.sub(_SPACE, raw)


def without_images(raw: str) -> str:
    """The source of a heading without what shows no text, where spaces after others and beside these are marked."""
    text = _SHOWS_NO_TEXT.sub(lambda match: match["code"] or _NOTHING, raw)
    return _SPACE_AT_MARK.sub(_SPACE, with_spaces(text))


def texts_of_headings(sources: Mapping[int, str]) -> dict[int, str]:
    """The texts of headings by number, of their sources, with what is marked in these."""
    if not sources:
        return {}
    numbers = list(sources)
    document = "".join(f"# {' '.join(sources[number].split())}\n" for number in numbers)
    names = {section.start_line: section.name for section in sections_of(parse(document), document, "")}
    return {
        number: html.unescape(names[line]).replace(_SPACE, " ").replace(_NOTHING, "")
        for line, number in enumerate(numbers, 1)
        if line in names
    }
