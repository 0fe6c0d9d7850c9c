"""The same outline and links in plain Python over markdown-it-py's tokens: what a user would otherwise write.

It follows the engine's rules as far as the tokens allow. Some answers differ: names are rendered text here, and
links are resolved by the rules of CommonMark. The benchmark's table says how often answers are the same.
"""

from __future__ import annotations

import re
from typing import Any
from urllib.parse import unquote

import yaml
from markdown_it import MarkdownIt
from markdown_it.token import Token
from quarnel.engines.references import REF_DOC_LINK, REF_WIKI_LINK, ReferenceInfo
from quarnel.engines.rules import FqnNumbering, cap_docstring
from quarnel.models import Symbol

_PARSER = MarkdownIt("commonmark").enable(["table", "strikethrough"])
_FRONT_MATTER = re.compile(r"---[ \t]*\n(.*?)^---[ \t]*\n", re.DOTALL | re.MULTILINE)
_WIKI_LINK = re.compile(r"(?<!!)\[\[([^\[\]|#\n]*)(?:#([^\[\]|\n]*))?(?:\|[^\[\]\n]*)?\]\]")
_EXTERNAL = re.compile(r"[A-Za-z][A-Za-z0-9+.-]*:|//")
_MAX_PATH_LENGTH = 200


def read(text: str, prefix: str) -> tuple[list[Symbol], list[ReferenceInfo]]:
    """Return the sections and the links of a document."""
    front, first_line, body = _split_front_matter(text)
    env: dict[str, Any] = {}
    tokens = _PARSER.parse(body, env)
    sections = _sections(_headings(tokens, front, first_line), text, prefix)
    return sections, _links(tokens, env, first_line, sections)


def _split_front_matter(text: str) -> tuple[dict[str, str], int, str]:
    match = _FRONT_MATTER.match(text)
    if not match:
        return {}, 1, text
    try:
        fields = yaml.safe_load(match[1])
    except (yaml.YAMLError, ValueError):
        fields = None
    found = {}
    for key in ("title", "description"):
        value = fields.get(key) if isinstance(fields, dict) else None
        if isinstance(value, (str, int, float)) and not isinstance(value, bool):
            found[key] = _inline_text(_PARSER.parseInline(str(value))[0])
    return found, 1 + text.count("\n", 0, match.end()), text[match.end() :]


def _inline_text(token: Token) -> str:
    parts = []
    for child in token.children or ():
        if child.type in ("text", "code_inline", "text_special"):
            parts.append(child.content)
        elif child.type == "image":
            parts.append(_inline_text(child))
        elif child.type in ("softbreak", "hardbreak"):
            parts.append(" ")
    return " ".join("".join(parts).split())


def _headings(tokens: list[Token], front: dict[str, str], first_line: int) -> list[list[Any]]:
    """A list of name, level, line and summary for each heading of the outline."""
    found = []
    for index, token in enumerate(tokens):
        if token.type == "heading_open" and token.level == 0:
            name = _inline_text(tokens[index + 1])
            found.append([name, int(token.tag[1]), first_line + token.map[0], _summary(tokens, index + 3)])
    top = next((heading for heading in found if heading[1] == 1), None)
    if front.get("title") and top is None:
        found.insert(0, [front["title"], 1, 1, front.get("description") or _summary(tokens, 0)])
    elif front.get("description") and top is not None:
        top[3] = front["description"]
    return found


def _summary(tokens: list[Token], index: int) -> str | None:
    if index < len(tokens) and tokens[index].type == "paragraph_open":
        return _inline_text(tokens[index + 1]) or None
    return None


def _sections(headings: list[list[Any]], text: str, prefix: str) -> list[Symbol]:
    unique_fqn = FqnNumbering()
    lines = text.split("\n")
    open_sections: list[tuple[int, str, tuple[str, ...]]] = []
    sections = []
    for index, (name, level, line, summary) in enumerate(headings):
        while open_sections and open_sections[-1][0] >= level:
            open_sections.pop()
        if not name:
            continue
        following = (after[2] for after in headings[index + 1 :] if after[1] <= level)
        end = next(following, len(lines) + 1) - 1
        while end > line and not lines[end - 1].strip():
            end -= 1
        _, parent, path = open_sections[-1] if open_sections else (0, prefix, ())
        fqn = unique_fqn(f"{parent}.{name}")
        path = (*path, name)
        open_sections.append((level, fqn, path))
        signature = " > ".join(path)
        if len(signature) > _MAX_PATH_LENGTH:
            signature = signature[: _MAX_PATH_LENGTH - 3] + "..."
        docstring = cap_docstring(summary) if summary else None
        sections.append(
            Symbol(
                id=None,
                file_id=0,
                name=name,
                kind="section",
                fqn=fqn,
                start_line=line,
                end_line=end,
                signature=signature,
                is_export=True,
                docstring=docstring,
            )
        )
    return sections


def _links(
    tokens: list[Token], env: dict[str, Any], first_line: int, sections: list[Symbol]
) -> list[ReferenceInfo]:
    targets = []
    for token in tokens:
        if token.type == "inline":
            targets += _inline_targets(token, first_line + token.map[0])
    for definition in env.get("references", {}).values():
        targets.append((REF_DOC_LINK, definition["href"], first_line + definition["map"][0]))
    targets.sort(key=lambda target: target[2])
    seen = set()
    found = []
    for kind, target, line in targets:
        if kind == REF_DOC_LINK and _EXTERNAL.match(target):
            continue
        path, _, anchor = target.partition("#")
        name = unquote(path.partition("?")[0]).strip()
        qualifier = unquote(anchor).strip() or None
        key = (kind, name, qualifier, line)
        if (name or qualifier) and key not in seen:
            seen.add(key)
            source = _section_at(sections, line)
            found.append(
                ReferenceInfo(name=name, line=line, kind=kind, qualifier=qualifier, source_fqn=source)
            )
    return found


def _inline_targets(token: Token, line: int) -> list[tuple[str, str, int]]:
    found = []
    for child in token.children or ():
        if child.type in ("softbreak", "hardbreak"):
            line += 1
        elif child.type == "link_open" and child.markup != "autolink":
            # A reference link is reported where it is defined. Its tokens look like those of an inline link; only an
            # inline link has its destination in the text.
            target = str(child.attrs["href"])
            if "](" in token.content:
                found.append((REF_DOC_LINK, target, line))
        elif child.type == "text":
            for match in _WIKI_LINK.finditer(child.content):
                page, anchor = match[1].strip(), (match[2] or "").strip()
                if page or anchor:
                    found.append((REF_WIKI_LINK, f"{page}#{anchor}" if anchor else page, line))
    return found


def _section_at(sections: list[Symbol], line: int) -> str | None:
    innermost = None
    for section in sections:
        if section.start_line > line:
            break
        if section.end_line >= line:
            innermost = section.fqn
    return innermost
