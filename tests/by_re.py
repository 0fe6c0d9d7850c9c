"""The engine's rules on text, once more, by the pattern objects that the module publishes.

Slow and obviously right: every substitution is `re.Pattern.sub`. The tests hold the native scanners against this.
"""

import bisect
import urllib.parse

from quarnel.engines import markdown


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
