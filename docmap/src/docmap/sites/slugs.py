"""How generators make an anchor of a heading's text. Numbers for repeats are not theirs (`rules.numbered`)."""

from __future__ import annotations

import re
import unicodedata
from collections.abc import Callable, Collection
from functools import lru_cache

# Letters, vowel signs, digits and connectors such as "_": what the code hosts count as part of a word.
_WORD = frozenset({"Lu", "Ll", "Lt", "Lm", "Lo", "Mn", "Mc", "Me", "Nd", "Nl", "Pc"})
_LETTER = frozenset({"Lu", "Ll", "Lt", "Lm", "Lo"})
_LETTER_OR_DIGIT = _LETTER | {"Nd"}
_MARK = frozenset({"Mn", "Mc", "Me"})


class _Kept(dict[int, str]):
    """For `str.translate`: "-" for spaces, and nothing for characters that are neither kept nor "-"."""

    def __init__(self, categories: Collection[str], also: str = "", spaces: str = " ") -> None:
        """`categories`: those of Unicode whose characters are kept, as are those in `also`."""
        super().__init__({ord(char): "-" for char in spaces} | {ord(char): char for char in "-" + also})
        self._categories = categories

    def __missing__(self, code: int) -> str:
        char = chr(code)
        self[code] = char if unicodedata.category(char) in self._categories else ""
        return self[code]


_GITHUB = _Kept(_WORD)
_HUGO = _Kept(_LETTER_OR_DIGIT, "_", " \t")
# What counts as a letter there takes most marks, but not viramas; `without_marks` makes the two equal.
_MDBOOK = _Kept(_LETTER | _MARK | {"Nd", "Nl", "No"}, "_", " \t\n\r\u00a0")


def github(text: str) -> str:
    """The code hosts', and all that follow them (Docusaurus, Starlight, MyST, kramdown's GFM)."""
    return text.lower().translate(_GITHUB)


def gitlab(text: str) -> str:
    """Like `github`, with runs of "-" made one, and letters before what is only digits."""
    slug = re.sub("-{2,}", "-", github(text.strip()))
    return f"anchor-{slug}" if slug.isdigit() else slug


def hugo(text: str) -> str:
    """Hugo's `github`: letters, digits and "_"; so vowel signs, which are marks, are lost."""
    return text.strip().translate(_HUGO).lower() or "heading"


def hugo_ascii(text: str) -> str:
    """Hugo's `github-ascii`: accents go, then everything else beyond ASCII."""
    return _ascii(hugo(unicodedata.normalize("NFD", text)))


def blackfriday(text: str) -> str:
    """Hugo's `blackfriday`: runs of anything but letters and digits become one "-"."""
    kept = "".join(char.lower() if unicodedata.category(char)[0] in "LN" else " " for char in text)
    return "-".join(kept.split()) or "heading"


def kramdown(text: str) -> str:
    """kramdown's own: ASCII only, from the first letter on."""
    kept = re.sub(r"^[^a-zA-Z]+", "", text, flags=re.MULTILINE)
    return re.sub(r"[^a-zA-Z0-9 -]", "", kept).replace(" ", "-").lower() or "section"


def python_markdown(text: str, separator: str = "-") -> str:
    """Python-Markdown's toc: accents and other scripts go, runs of spaces and separators become one separator."""
    return _python_markdown(_ascii(text), separator)


def python_markdown_unicode(text: str, separator: str = "-") -> str:
    """Python-Markdown's `slugify_unicode`: letters of all scripts, as `re` counts them."""
    return _python_markdown(unicodedata.normalize("NFKC", text), separator)


def _python_markdown(text: str, separator: str) -> str:
    kept = _NO_WORD.sub("", text).strip().lower()
    return _separators(separator).sub(lambda _: separator, kept)


_NO_WORD = re.compile(r"[^\w\s-]")


@lru_cache
def _separators(separator: str) -> re.Pattern[str]:
    return re.compile(rf"[{re.escape(separator)}\s]+")


def pymdown(case: str = "", separator: str = "-") -> Callable[[str], str]:
    """pymdownx.slugs.slugify with these settings, and its usual NFC."""

    def slug(text: str) -> str:
        # Python-Markdown hands over single spaces.
        inside, last, after = unicodedata.normalize("NFC", text).rpartition(">")
        # Linear: all that begins before the last ">" ends.
        text = " ".join((re.sub(r"<[^>]*>", "", inside + last) + after).split())
        kept = "".join(char for char in text if char in " -" or unicodedata.category(char) in _WORD)
        kept = kept.lower() if case.startswith("lower") else kept.casefold() if case == "fold" else kept
        return kept.replace(" ", separator)

    return slug


_MDIT_SPECIAL = re.compile(r"""[\s~`!@#$%^&*()\-_+=\[\]{}|\\;:"'“”\u2018\u2019<>,.?/]+""")


def mdit(text: str) -> str:
    """VitePress's: compatibility forms, no accents, "-" for runs of punctuation, no digit in front."""
    plain = re.sub("[\u0300-\u036f\0-\x1f]", "", unicodedata.normalize("NFKD", text))
    slug = re.sub("-{2,}", "-", _MDIT_SPECIAL.sub("-", plain)).strip("-")
    return re.sub(r"^(\d)", r"_\1", slug, flags=re.ASCII).lower()


def mdbook(text: str) -> str:
    """mdBook's: letters and digits of all scripts, "_"; every white space becomes one "-"."""
    return text.strip().lower().translate(_MDBOOK) or "section"


def without_marks(text: str) -> str:
    """`text` without combining marks: equal for all ways of treating vowel signs."""
    return text if text.isascii() else "".join(c for c in text if unicodedata.category(c) not in _MARK)


def zola(text: str) -> str:
    """Zola's default: ASCII letters and digits, all else one "-". Other scripts are transliterated first."""
    return re.sub("[^a-z0-9]+", "-", _ascii(text).lower()).strip("-")


def zola_safe(text: str) -> str:
    """Zola's `safe`: spaces become "-", and what an address cannot hold goes."""
    return re.sub(r"[#%<>\[\]()`^{|}]", "", re.sub(r"\s", "-", text.strip()))


def docutils(text: str) -> str:
    """docutils' ids of sections: ASCII letters and digits, from the first letter on."""
    return re.sub("[^a-z0-9]+", "-", _ascii(text.lower())).strip("-").lstrip("-0123456789")


_OBSIDIAN_DROPS = re.compile(r"""[!"#$%&()*+,.:;<=>?@^`{|}~/\[\]\\]""")


def vault(text: str) -> str:
    """How note programs compare headings: punctuation is white space, letter case is nothing."""
    return " ".join(_OBSIDIAN_DROPS.sub(" ", text).split()).casefold()


def _ascii(text: str) -> str:
    return text if text.isascii() else unicodedata.normalize("NFKD", text).encode("ascii", "ignore").decode()
