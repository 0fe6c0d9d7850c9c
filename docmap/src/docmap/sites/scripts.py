"""Reads the literals of a JavaScript or TypeScript file; what the program works out is `UNREAD`."""

from __future__ import annotations

import posixpath
import re
from collections.abc import Callable, Iterator
from typing import Any

from docmap.sites.literals import UNREAD

_TOKEN = re.compile(
    r"""
    (?P<skip>\s+ | //[^\n]* | /\*.*?\*/)
    | (?P<string>"(?:[^"\\\n]|\\.)*" | '(?:[^'\\\n]|\\.)*' | `(?:[^`\\]|\\.)*`)
    | (?P<word>[\w$@]+)
    | (?P<mark>\.\.\.|=>|.)
    """,
    re.VERBOSE | re.DOTALL,
)
_CLOSES = {"{": "}", "[": "]", "(": ")"}
# What ends an expression; "" stands for the end of the file.
_ENDS = frozenset({",", "}", "]", ")", ";", ""})
_CONSTANTS: dict[str, object] = {"true": True, "false": False, "null": None, "undefined": None}
# What comes before the default export, and before what a function returns: `return {`, `=> ({`.
_DEFAULT = re.compile(r"\bexport\s+default\s+|\bmodule\.exports\s*=\s*")
_RETURNED = re.compile(r"\breturn\s*(?=[{(])|=>\s*(?=[({])")
# How much may stand between the words is bounded here and below: else the time would grow with the square of a file.
_IMPORT = re.compile(
    r"""^[ \t]*import\s+(?:type\s+)?([^"';]{1,4000}?)\s+from\s+["']([^"']+)["']""", re.MULTILINE
)
_SCRIPTS = (".ts", ".js", ".mts", ".mjs", "/index.ts", "/index.js")
# `const name = value`, with its type or without; neither `==` nor `=>` gives a value.
_DEFINED = re.compile(r"\b(?:const|let|var)\s+([\w$]+)[^=\n;]{0,400}=(?![=>])")
# No configuration nests as deeply or is spread over as many files; one that does would use up the stack.
_DEEPEST_VALUE = 100
_MOST_FILES = 6


class Script:
    """The top-level values of a JavaScript or TypeScript file, as far as they are literals.

    `read` returns the text of the file at a path, None where there is none; with it, values come from other files
    of the same site as well.
    """

    def __init__(self, path: str, read: Callable[[str], str | None]) -> None:
        self.path, self._read = path, read
        self.text = read(path) or ""
        self._positions = {match[1]: match.end() for match in _DEFINED.finditer(self.text)}
        # How many values the one that is read lies in, and how many files; those of other variables count.
        self._levels = self._files = 0
        self._named: dict[str, Any] = {}

    @property
    def exported(self) -> Any:
        """The default export: a dict for an object, even as the argument of a call such as `defineConfig`, or as
        what a function returns."""
        match = _DEFAULT.search(self.text)
        if match is None:
            return UNREAD
        value = self._value_at(match.end())
        returned = _RETURNED.search(self.text, match.end()) if value is UNREAD else None
        return value if returned is None else self._value_at(returned.end())

    @property
    def imports(self) -> dict[str, str]:
        """What the script imports: name -> module, for each name."""
        names = {}
        for clause, module in _IMPORT.findall(self.text):
            for part in re.split(r"[{},]", clause):
                if part.strip():
                    names[part.split()[-1]] = module
        return names

    def named(self, name: str) -> Any:
        """The value of a top-level variable, also of one that comes from another file."""
        # Remembered, since variables that name each other twice could make much of little; one that names itself
        # is unread.
        if name not in self._named:
            self._named[name] = UNREAD
            if name in self._positions:
                self._named[name] = self._value_at(self._positions[name])
            else:
                self._named[name] = self._imported(name)
        return self._named[name]

    def _imported(self, name: str) -> Any:
        """The value that another file of the site exports under this name; else what it exports by default."""
        module = self.imports.get(name, "")
        if not module.startswith(".") or self._files >= _MOST_FILES:
            return UNREAD
        place = posixpath.normpath(posixpath.join(posixpath.dirname(self.path), module))
        stem = re.sub(r"\.[cm]?js$", "", place)
        for path in (place, *(stem + suffix for suffix in _SCRIPTS)):
            if self._read(path) is not None:
                other = Script(path, self._read)
                other._levels, other._files = self._levels, self._files + 1
                return other.named(name) if name in other._positions else other.exported
        return UNREAD

    def arguments(self, function: str) -> Any:
        """The first argument of the first call of `function`; None where it is never called."""
        match = re.search(rf"(?<![\w.$]){re.escape(function)}\s*\(", self.text)
        return self._value_at(match.end()) if match else None

    def _value_at(self, position: int) -> Any:
        return self._value(_Tokens(self.text, position))

    def _value(self, tokens: _Tokens) -> Any:
        """The value of an expression; reads up to the comma or bracket that ends it."""
        if self._levels >= _DEEPEST_VALUE:
            tokens.skip_expression()
            return UNREAD
        self._levels += 1
        value = self._first_value(tokens)
        self._levels -= 1
        # `as const` and `satisfies Type` change no value; anything else that follows works one out.
        _, following = tokens.next()
        tokens.back()
        if following not in {*_ENDS, "as", "satisfies"} and not tokens.on_new_line:
            value = UNREAD
        tokens.skip_expression()
        return value

    def _first_value(self, tokens: _Tokens) -> Any:
        """The value that an expression begins with."""
        kind, text = tokens.next()
        value: Any = UNREAD
        if text == "{":
            value = self._object(tokens)
        elif text == "[":
            value = self._array(tokens)
        elif text == "(":
            value = self._value(tokens)
            tokens.skip_to(")")
        elif kind == "string":
            value = _string(text)
        elif kind == "word":
            value = self._word(text, tokens)
        elif text in _ENDS:
            tokens.back()
        return value

    def _word(self, text: str, tokens: _Tokens) -> Any:
        """The value that a word begins: a constant, number or variable, or what a helper (`defineConfig`) gets."""
        if text in _CONSTANTS:
            return _CONSTANTS[text]
        if text.isdecimal():
            return int(text)
        _, following = tokens.next()
        if following == "(" and re.fullmatch(r"define\w*|extend\w*|with\w*", text):
            # defineConfig(value), withMermaid(value): the helpers of generators give back what they get.
            value = self._value(tokens)
            tokens.skip_to(")")
            return value
        tokens.back()
        return UNREAD if following in {"(", ".", "=>", "["} else self.named(text)

    def _object(self, tokens: _Tokens) -> dict[str, Any]:
        found: dict[str, Any] = {}
        for kind, text in self._entries(tokens):
            if text == "...":
                spread = self._value(tokens)
                found.update(spread if isinstance(spread, dict) else {"...": UNREAD})
                continue
            key = _string(text) if kind == "string" else text
            if text == "[":
                tokens.skip_to("]")
                key = "..."
            _, following = tokens.next()
            if following == ":":
                found[str(key)] = self._value(tokens)
            elif following in {",", "}"}:
                tokens.back()
                found[str(key)] = self.named(text)
            else:
                # A method, a getter.
                tokens.back()
                tokens.skip_expression()
                found[str(key) if following == "(" else following] = UNREAD
        return found

    def _array(self, tokens: _Tokens) -> list[Any]:
        found: list[Any] = []
        for _, text in self._entries(tokens):
            if text == "...":
                spread = self._value(tokens)
                found.extend(spread if isinstance(spread, list) else [UNREAD])
                continue
            tokens.back()
            found.append(self._value(tokens))
        return found

    @staticmethod
    def _entries(tokens: _Tokens) -> Iterator[tuple[str, str]]:
        """The first token of each entry of an object or array, up to the bracket that closes it."""
        # Any bracket ends it, since no entry can begin with one that closes.
        while (token := tokens.next())[1] not in _ENDS - {","}:
            if token[1] != ",":
                yield token


class _Tokens:
    """The tokens of a script from a position on, with one step back."""

    def __init__(self, text: str, position: int) -> None:
        self._matches = self._read(text, position)
        self._last: tuple[str, str, bool] = ("", "", False)
        self._again = False
        self.on_new_line = False

    @staticmethod
    def _read(text: str, position: int) -> Iterator[tuple[str, str, bool]]:
        new_line = False
        while match := _TOKEN.match(text, position):
            position = match.end()
            if match.lastgroup == "skip":
                new_line = new_line or "\n" in match[0]
                continue
            yield match.lastgroup or "", match[0], new_line
            new_line = False

    def next(self) -> tuple[str, str]:
        """The next token, ("", "") at the end."""
        if not self._again:
            self._last = next(self._matches, ("", "", True))
        self._again = False
        self.on_new_line = self._last[2]
        return self._last[:2]

    def back(self) -> None:
        """Have `next` give the last token once more."""
        self._again = True

    def skip_to(self, close: str) -> None:
        """Pass over everything up to the bracket that closes, and over it."""
        waiting = [close]
        while waiting and (text := self.next()[1]):
            if text == waiting[-1]:
                waiting.pop()
            elif text in _CLOSES:
                waiting.append(_CLOSES[text])

    def skip_expression(self) -> None:
        """Pass over what is left of an expression, up to the comma or bracket that ends it."""
        while (text := self.next()[1]) not in _ENDS:
            if text in _CLOSES:
                self.skip_to(_CLOSES[text])
        self.back()


def _string(text: str) -> Any:
    if text[0] == "`" and "${" in text:
        return UNREAD
    return re.sub(r"\\(.)", lambda match: {"n": "\n", "t": "\t"}.get(match[1], match[1]), text[1:-1])
