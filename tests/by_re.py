"""The engine's rules on text, written a second time with the patterns that the module publishes.

These functions are slow and obviously right: every substitution is `re.Pattern.sub`. The tests compare the native
scanners with them.
"""

import itertools
import os
import urllib.parse

from quarnel.engines import markdown

LEFT_OUT = int(os.environ.get("LEAVE_OUT_LENGTHS", "1"))


def every_string(letters, longest, before=()):
    """Every string over `letters` up to the length `longest`, without those that an alphabet of `before` makes too.

    The environment variable LEAVE_OUT_LENGTHS says how many of the longest lengths are left out; by default one is. An
    alphabet has each letter once. It has two letters of one class, such as two white spaces, only where the scanners
    treat their bytes differently.
    """
    assert len(set(letters)) == len(letters)
    for length in range(longest - LEFT_OUT + 1):
        made = [frozenset(other) for other, its_longest in before if length <= its_longest - LEFT_OUT]
        for chosen in itertools.product(letters, repeat=length):
            if not any(other.issuperset(chosen) for other in made):
                yield "".join(chosen)


def unmarked(text):
    for pattern in (markdown._IMAGE, markdown._LINK, markdown._AUTOLINK):
        text = pattern.sub(r"\1", text)
    text = markdown._HTML.sub("", text)
    for pattern in markdown._EMPHASES:
        text = pattern.sub(r"\2", text)
    return markdown._ESCAPE.sub(r"\1", text)


def plain_text(text):
    text = text[: markdown.MAX_INLINE_LENGTH]
    parts, position = [], 0
    for match in markdown._CODE_SPAN.finditer(text):
        parts += [unmarked(text[position : match.start()]), match[2]]
        position = match.end()
    parts.append(unmarked(text[position:]))
    return " ".join("".join(parts).split())


def destination(written):
    target = written.strip()
    if target.startswith("<") and target.endswith(">"):
        target = target[1:-1].strip()
    return None if not target or markdown._EXTERNAL.match(target) else target


def wiki_target(match):
    page, anchor = match[1].strip(), (match[2] or "").strip()
    return f"{page}#{anchor}" if anchor else page or None


def inline_targets(run, first_line):
    text = markdown._CODE_SPAN.sub(lambda match: " " * len(match[0]), run)
    notes = [
        (m.start(), markdown.REF_DOC_LINK, destination(m[1])) for m in markdown._INLINE_LINK.finditer(text)
    ]
    notes += [(m.start(), markdown.REF_WIKI_LINK, wiki_target(m)) for m in markdown._WIKI_LINK.finditer(text)]
    notes.sort(key=lambda note: note[0])
    return [
        (kind, target, first_line + text.count("\n", 0, start)) for start, kind, target in notes if target
    ]


def section_at(sections, line):
    innermost = None
    for section in sections:
        if section.start_line > line:
            break
        if section.end_line >= line:
            innermost = section.fqn
    return innermost


def links(targets, sections):
    """The references as tuples of name, line, kind, qualifier and source."""
    seen, found = set(), []
    for kind, target, line in targets:
        path, _, anchor = target.partition("#")
        name = urllib.parse.unquote(path.partition("?")[0]).strip()
        qualifier = urllib.parse.unquote(anchor).strip() or None
        key = (kind, name, qualifier, line)
        if (name or qualifier) and key not in seen:
            seen.add(key)
            found.append((name, line, kind, qualifier, section_at(sections, line)))
    return found
