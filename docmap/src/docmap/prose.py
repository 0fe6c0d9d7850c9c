"""Texts of documents as a reader sees them: titles without markup, first paragraphs without badges."""

from __future__ import annotations

import re
from collections.abc import Collection, Sequence

from quarnel.models import Symbol

from docmap.reading import parse, sections_of

# What the engine leaves in a paragraph: links whose text holds code, images by reference, references.
_IMAGE = re.compile(r"!\[[^\[\]]*\](?:\([^()]*\)|\[[^\[\]]*\])")
_LINK = re.compile(r"\[([^\[\]]*)\](?:\([^()\s]*\)|\[[^\[\]]*\])")
_LABEL = re.compile(r"\[([^\[\]]+)\]")
# Directives of site generators are paragraphs to the grammar.
_DIRECTIVE = re.compile(r":::|!!!|\{[%{<]|\{\w+\}|(?:import|export)\s.*['\"{]")
# Outside ASCII other signs end a sentence.
_SENTENCE_END = re.compile(r"[.!?:\u0080-\U0010ffff]['\")\]]*$")
_MARKUP = re.compile(r"[\\`*_\[\]<&~{]")
# The first paragraph of a document is looked for in so many characters: most documents have it in the fewest.
_FAR_ENOUGH = 300, 1000, 4000
# Of that text, so many paragraphs are tried; one of more characters than these needs no end of a sentence.
_TRIES = 6
_LONG = 25


def is_sentence(text: str) -> bool:
    """Whether a paragraph ends as a sentence does; what does not may be badges or a caption."""
    return _SENTENCE_END.search(text) is not None


def plain_title(title: str) -> str:
    """A title of front matter, which may hold markup."""
    if _MARKUP.search(title) is None:
        return title
    sections = _outlined(f"# {' '.join(title.split())}\n")
    return sections[0].name if sections else title


def prose(text: str, labels: Collection[str]) -> str:
    """A paragraph without the brackets of links that the engine leaves in it; `labels`: those that the document
    defines, in one case."""
    if _DIRECTIVE.match(text):
        return ""
    if "[" in text:
        text = _LINK.sub(r"\1", _IMAGE.sub("", text))
        text = _LABEL.sub(lambda link: link[1] if link[1].casefold() in labels else link[0], text)
    return text.strip()


def first_sentence_in(text: str, labels: Collection[str]) -> str:
    """The first paragraph of Markdown that is a sentence or long, wherever it stands; "" for none near the top."""
    for far in _FAR_ENOUGH:
        # The last paragraph may be cut, so it counts only where no more text will be looked at.
        paragraphs = _paragraphs(text[:far])
        whole = paragraphs if len(text) <= far or far == _FAR_ENOUGH[-1] else paragraphs[:-1]
        for paragraph in whole[:_TRIES]:
            raw = _IMAGE.sub("", "\n".join(line.lstrip("> \t") for line in paragraph.split("\n")))
            # The engine gives the paragraph below a heading, so it gets a heading above.
            sections = _outlined(f"# Title\n\n{raw}\n")
            found = prose(sections[0].docstring or "", labels) if len(sections) == 1 else ""
            if len(found) > _LONG or is_sentence(found):
                return found
        if len(text) <= far or len(whole) >= _TRIES:
            break
    return ""


def _paragraphs(text: str) -> Sequence[str]:
    """The source of the paragraphs, in lists and quotes too, but not of HTML."""
    found = []
    nodes = [parse(f"{text}\n")]
    while nodes:
        node = nodes.pop()
        if node.type == "paragraph":
            found.append((node.text or b"").decode("utf-8", "replace"))
        elif node.type != "html_block":
            nodes.extend(reversed(node.children))
    return found


def _outlined(text: str) -> list[Symbol]:
    return sections_of(parse(text), text, "")
