"""Reads what a configuration says in so many words: YAML, TOML, and the literals of a JavaScript file.

What a program would work out stays unread. A reader never fails: what is not to be read is `UNREAD`.
"""

from __future__ import annotations

import posixpath
import re
import sys
from collections.abc import Callable, Iterator
from importlib import import_module
from typing import Any


class _Unread:
    """Stands for a value that only running a program would tell."""

    def __repr__(self) -> str:
        return "UNREAD"

    def __bool__(self) -> bool:
        return False


UNREAD = _Unread()


def toml(text: str | None) -> dict[str, Any]:
    """The tables of a TOML file, {} for one that is missing or not well formed."""
    # The standard library has it from Python 3.11 on.
    reader = import_module("tomllib" if sys.version_info >= (3, 11) else "tomli")
    try:
        tables: dict[str, Any] = reader.loads(text or "")
    except (ValueError, RecursionError):
        return {}
    return tables


def yaml(text: str | None) -> dict[str, Any]:
    """The mapping of a YAML file, {} for one that is missing or none.

    A value with a tag keeps it: `!ENV NAME` is "!ENV NAME", and a mapping has it under the key "!".
    """
    import yaml as pyyaml

    class Loader(pyyaml.SafeLoader):
        pass

    def tagged(loader: pyyaml.SafeLoader, suffix: str, node: pyyaml.Node) -> object:
        if isinstance(node, pyyaml.ScalarNode):
            return f"!{suffix} {node.value}".strip()
        if isinstance(node, pyyaml.MappingNode):
            return {"!": suffix, **loader.construct_mapping(node, deep=True)}
        return UNREAD

    Loader.add_multi_constructor("!", tagged)
    Loader.add_multi_constructor("tag:yaml.org,2002:python/", tagged)
    try:
        loaded = pyyaml.load(text or "", Loader)
    except Exception:  # PyYAML raises more than YAMLError on odd values
        return {}
    return loaded if isinstance(loaded, dict) else {}


def words(text: str) -> frozenset[str]:
    """The words of a text, as a set of names."""
    return frozenset(text.split())


def get(value: object, *keys: str | int) -> Any:
    """The value below `keys`; None when a step is missing, UNREAD when one cannot be read."""
    for key in keys:
        if value is UNREAD:
            return UNREAD
        if isinstance(value, dict):
            value = value.get(key, UNREAD if "..." in value else None)
        elif isinstance(value, list) and isinstance(key, int) and key < len(value):
            value = value[key]
        else:
            return None
    return value


def texts(value: object) -> list[str]:
    """The strings of a list, or of a single value."""
    return [text for text in (value if isinstance(value, list) else [value]) if isinstance(text, str)]


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
_CONSTANTS: dict[str, object] = {"true": True, "false": False, "null": None, "undefined": None}
_DEFAULT = re.compile(r"\bexport\s+default\s+|\bmodule\.exports\s*=\s*")
_RETURNED = re.compile(r"\breturn\s*(?=[{(])|=>\s*(?=[({])")
_IMPORT = re.compile(r"""^\s*import\s+(?:type\s+)?([^"';]+?)\s+from\s+["']([^"']+)["']""", re.MULTILINE)
_SCRIPTS = (".ts", ".js", ".mts", ".mjs", "/index.ts", "/index.js")
_DEFINED = re.compile(r"\b(?:const|let|var)\s+([\w$]+)[^=\n;]*=(?![=>])")


class Script:
    """The top-level values of a JavaScript or TypeScript file, as far as they are literals.

    `read` returns the text of the file at a path, None where there is none; with it, values come from other files
    of the same site as well.
    """

    def __init__(self, path: str, read: Callable[[str], str | None]) -> None:
        self.path, self._read = path, read
        self.text = read(path) or ""
        self._positions = {match[1]: match.end() for match in _DEFINED.finditer(self.text)}
        self._depth = 0

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
        if name in self._positions:
            return self._value_at(self._positions[name])
        module = self.imports.get(name, "")
        if not module.startswith(".") or self._depth > 5:
            return UNREAD
        place = posixpath.normpath(posixpath.join(posixpath.dirname(self.path), module))
        stem = re.sub(r"\.[cm]?js$", "", place)
        for path in (place, *(stem + suffix for suffix in _SCRIPTS)):
            if self._read(path) is not None:
                other = Script(path, self._read)
                other._depth = self._depth + 1
                return other.named(name) if name in other._positions else other.exported
        return UNREAD

    def arguments(self, function: str) -> Any:
        """The first argument of the first call of `function`; None where it is never called."""
        match = re.search(rf"(?<![\w.$]){re.escape(function)}\s*\(", self.text)
        return self._value_at(match.end()) if match else None

    def _value_at(self, position: int) -> Any:
        self._depth += 1
        try:
            return self._value(_Tokens(self.text, position)) if self._depth < 50 else UNREAD
        finally:
            self._depth -= 1

    def _value(self, tokens: _Tokens) -> Any:
        """The value of an expression; reads up to the comma or bracket that ends it."""
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
        elif text in {",", "}", "]", ")", ";", ""}:
            tokens.back()
        # `as const` and `satisfies Type` change no value; anything else that follows works one out.
        _, following = tokens.next()
        tokens.back()
        if following not in {",", "}", "]", ")", ";", "", "as", "satisfies"} and not tokens.on_new_line:
            value = UNREAD
        tokens.skip_expression()
        return value

    def _word(self, text: str, tokens: _Tokens) -> Any:
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
        while True:
            kind, text = tokens.next()
            if text in {"}", ""}:
                return found
            if text == ",":
                continue
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

    def _array(self, tokens: _Tokens) -> list[Any]:
        found: list[Any] = []
        while True:
            _, text = tokens.next()
            if text in {"]", ""}:
                return found
            if text == ",":
                continue
            if text == "...":
                spread = self._value(tokens)
                found.extend(spread if isinstance(spread, list) else [UNREAD])
                continue
            tokens.back()
            found.append(self._value(tokens))


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
        while (text := self.next()[1]) not in {close, ""}:
            if text in _CLOSES:
                self.skip_to(_CLOSES[text])

    def skip_expression(self) -> None:
        """Pass over what is left of an expression, up to the comma or bracket that ends it."""
        while (text := self.next()[1]) not in {",", "}", "]", ")", ";", ""}:
            if text in _CLOSES:
                self.skip_to(_CLOSES[text])
        self.back()


def _string(text: str) -> Any:
    if text[0] == "`" and "${" in text:
        return UNREAD
    return re.sub(r"\\(.)", lambda match: {"n": "\n", "t": "\t"}.get(match[1], match[1]), text[1:-1])
