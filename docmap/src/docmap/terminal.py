"""What reaches a terminal: no control characters of a document, and colours only where they are wanted."""

from __future__ import annotations

import os
import sys

# Control characters of a document must not reach the terminal, where they would be obeyed. Nor may the characters that
# reverse the text after them: a line of output would show another path than it has.
_VISIBLE = dict.fromkeys(
    (*range(32), *range(127, 160), 0x2028, 0x2029, *range(0x202A, 0x202F), *range(0x2066, 0x206A)), 65533
)

# Styles, as terminals number them.
CYAN, GREEN, DIM = 36, 32, 2


def printable(text: str) -> str:
    """Return `text` with each control character, line separator and change of direction replaced by U+FFFD."""
    return text if text.isascii() and text.isprintable() else text.translate(_VISIBLE)


def is_styled() -> bool:
    """Whether standard output is a terminal that shows bold and dim text."""
    return sys.stdout.isatty() and os.environ.get("TERM") != "dumb"


def bold(text: str) -> str:
    """The text, in bold on a terminal."""
    return f"\x1b[1m{text}\x1b[22m" if is_styled() else text


def styled(text: str, style: int) -> str:
    """The text in one of the styles above, for a terminal that `is_styled`; NO_COLOR takes the colours away."""
    return text if style != DIM and os.environ.get("NO_COLOR") else f"\x1b[{style}m{text}\x1b[0m"
