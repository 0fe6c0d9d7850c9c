"""Finds Markdown files and reads them as text that the grammar can parse."""

from __future__ import annotations

import errno
import os
import re
import stat
import sys
import warnings
from collections.abc import Callable, Iterable, Iterator
from dataclasses import dataclass
from functools import cached_property
from pathlib import Path

from pathspec import GitIgnoreSpec

PAGE_SUFFIXES = (".md", ".markdown", ".mdx", ".mkd", ".mkdn", ".mdown")
PICTURE_SUFFIXES = (".png", ".jpg", ".jpeg", ".gif", ".svg", ".webp", ".ico")
STANDARD_INPUT = "-"
_BOM = b"\xef\xbb\xbf"


@dataclass(frozen=True)
class SourceFile:
    """A file to read: where it lies, how messages and output name it, and the FQN prefix of its sections."""

    path: Path
    shown: str
    prefix: str


def is_markdown(name: str) -> bool:
    """Whether a file of this name is taken when a folder is walked."""
    return name.lower().endswith(PAGE_SUFFIXES)


def fqn_prefix(relative: str) -> str:
    """The FQN prefix of a file: its path relative to the root without suffix, "/" replaced by "."."""
    return os.path.splitext(relative)[0].replace(os.sep, ".")


def find_files(paths: Iterable[str], on_error: Callable[[OSError], None]) -> Iterator[SourceFile]:
    """Yield the files that `paths` (files, folders, or "-" for standard input) name, each file once.

    A file is taken whatever its suffix, even one that is not there: reading it then says so. A folder is
    walked as `walk` does it.
    """
    seen: set[str] = set()
    for path in paths:
        if path == STANDARD_INPUT:
            found: Iterable[SourceFile] = [SourceFile(Path(path), path, "stdin")]
        elif os.path.isdir(path):
            found = _files_below(path, on_error)
        else:
            found = [SourceFile(Path(path), path, fqn_prefix(os.path.basename(path)))]
        for file in found:
            identity = path if path == STANDARD_INPUT else os.path.abspath(file.path)
            if identity not in seen:
                seen.add(identity)
                yield file


def _files_below(root: str, on_error: Callable[[OSError], None]) -> Iterator[SourceFile]:
    for relative in walk(root, on_error):
        shown = os.path.normpath(os.path.join(root, relative))
        yield SourceFile(Path(root, relative), shown, fqn_prefix(relative))


def walk(root: str, on_error: Callable[[OSError], None]) -> Iterator[str]:
    """Yield the Markdown files below the folder `root` as relative paths, sorted within each folder.

    Leaves out hidden folders and what .gitignore files name. Links to folders are not followed, as Git does
    not follow them; so a loop of links ends nowhere. `on_error` gets the error of a folder that may not be
    read, and the walk goes on without it.
    """
    # One (folder, rules in force there) per folder still to be read; a stack, so that depth costs no frames.
    folders: list[tuple[str, tuple[_Rules, ...]]] = [("", _rules_above(root))]
    top = os.path.abspath(root)
    while folders:
        folder, rules = folders.pop()
        try:
            with os.scandir(os.path.join(root, folder)) as scan:
                entries = sorted(scan, key=lambda entry: entry.name)
        except OSError as error:
            on_error(error)
            continue
        own = _Rules.read(os.path.abspath(os.path.join(root, folder)))
        if own is not None:
            rules = (own, *rules)
        below = []
        for entry in entries:
            relative = os.path.join(folder, entry.name)
            if entry.is_dir(follow_symlinks=False):
                if not entry.name.startswith(".") and not _ignored(top, relative, rules, is_folder=True):
                    below.append((relative, rules))
            elif is_markdown(entry.name) and _readable(entry) and not _ignored(top, relative, rules):
                yield relative
        folders.extend(reversed(below))


def _readable(entry: os.DirEntry[str]) -> bool:
    """Leaves out pipes and devices, which could block; keeps a link to nowhere, so that it is reported."""
    try:
        return entry.is_file() or (entry.is_symlink() and not os.path.exists(entry.path))
    except OSError:  # a link to itself
        return True


# To compile as many takes longer than the files of most folders.
_MOST_PATTERNS = 1000
_IN_ANY_FOLDER = "^(?:.+/)?"


@dataclass(frozen=True)
class _Rules:
    """The lines of one .gitignore, and the folder that its patterns are relative to (absolute)."""

    folder: str
    patterns: GitIgnoreSpec
    text: str

    @cached_property
    def within(self) -> str:
        """What the paths of files below the folder begin with."""
        return self.folder.rstrip(os.sep) + os.sep

    @cached_property
    def may_match(self) -> Callable[[str], object]:
        """Says of a path relative to the folder whether any of the patterns matches, which few paths do.

        One expression of all patterns answers in a tenth of the time that these take one after the other.
        """
        expressions = [
            pattern.regex.pattern for pattern in self.patterns.patterns if pattern.regex is not None
        ]
        # Names of groups are unique in an expression.
        parts = [re.sub(r"\(\?P<\w+>", "(?:", expression) for expression in expressions]
        if len(parts) > _MOST_PATTERNS or not all(part.startswith("^") for part in parts):
            return lambda path: True
        # Most patterns are of names in any folder.
        names = [part[len(_IN_ANY_FOLDER) :] for part in parts if part.startswith(_IN_ANY_FOLDER)]
        parts = [part for part in parts if not part.startswith(_IN_ANY_FOLDER)]
        if names:
            parts.append(f"{_IN_ANY_FOLDER}(?:{'|'.join(names)})")
        with warnings.catch_warnings():
            warnings.simplefilter("ignore", FutureWarning)
            return re.compile("|".join(parts) or "(?!)").match

    @staticmethod
    def read(folder: str) -> _Rules | None:
        path = Path(folder, ".gitignore")
        try:
            lines = path.read_text("utf-8", "replace").splitlines()
        except OSError:
            return None
        with warnings.catch_warnings():
            # A bracket in a pattern can make `re` warn of its own future; the user can do nothing about it.
            warnings.simplefilter("ignore", FutureWarning)
            return _Rules(folder, GitIgnoreSpec.from_lines(filter(_is_pattern, lines)), "\n".join(lines))


def _is_pattern(line: str) -> bool:
    """Whether a line of a .gitignore can be read; Git passes over the others, such as a lone "!"."""
    try:
        GitIgnoreSpec.from_lines([line])
    except (ValueError, re.error):
        return False
    return True


def _rules_above(root: str) -> tuple[_Rules, ...]:
    """The rules of the folders above `root` that are of the same Git repository, nearest first."""
    top = Path(os.path.abspath(root))
    above: list[Path] = []
    for folder in (top, *top.parents):
        if (folder / ".git").exists():
            break
        above.append(folder.parent)
    else:
        return ()
    rules = tuple(found for parent in above if (found := _Rules.read(str(parent))) is not None)
    # A folder that the user names is mapped even when the repository ignores it; its parent's rules
    # would then leave nothing of it.
    return () if _ignored(str(top.parent), top.name, rules, is_folder=True) else rules


def _ignored(root: str, relative: str, rules: tuple[_Rules, ...], *, is_folder: bool = False) -> bool:
    """Whether the first of the rules (nearest first) that speaks of the path ignores it; `root` is absolute."""
    if not rules:
        return False
    path = f"{root}{os.sep}{relative}"
    for rule in rules:
        # The general way takes ten times as long, for a file that is almost always below the folder.
        is_below = path.startswith(rule.within)
        below = path[len(rule.within) :] if is_below else os.path.relpath(path, rule.folder)
        # A closing slash is how gitignore patterns tell a folder from a file.
        below += os.sep if is_folder else ""
        if not rule.may_match(below.replace(os.sep, "/")):
            continue
        verdict = rule.patterns.check_file(below).include
        if verdict is not None:
            return verdict
    return False


class GitIgnore:
    """What the .gitignore files of a tree name; folders are entered from the root downwards as they are walked.

    Paths are relative to the root, with "/".
    """

    def __init__(self, root: str) -> None:
        self._root = os.path.abspath(root)
        self._above = _rules_above(root)
        # Rules in force in each folder entered, nearest first.
        self._rules: dict[str, tuple[_Rules, ...]] = {}
        self._has_any = False

    def enter(self, folder: str, has_own: bool) -> None:
        """Take over the rules of a folder whose parent has been entered; `has_own`: it has a .gitignore."""
        rules = self._rules.get(folder.rpartition("/")[0], self._above) if folder else self._above
        if folder and self.ignores(folder, is_folder=True):
            # It was asked for all the same; what ignores it would leave nothing of it.
            rules = ()
        own = _Rules.read(os.path.join(self._root, folder)) if has_own else None
        self._has_any = self._has_any or bool(rules) or own is not None
        self._rules[folder] = rules if own is None else (own, *rules)

    def lines(self) -> list[str]:
        """The rules that were read, in an order that stays the same."""
        return [
            rule.text for rules in ((self._above,), self._rules.values()) for own in rules for rule in own[:1]
        ]

    def ignores(self, path: str, *, is_folder: bool) -> bool:
        """Whether the rules of the folder of a path ignore it; its folder must have been entered."""
        rules = self._rules.get(path.rpartition("/")[0])
        return bool(rules) and _ignored(self._root, path, rules or (), is_folder=is_folder)

    def ignores_below(self, path: str) -> bool:
        """Whether a path that need not exist, or a folder around it, is ignored."""
        if not self._has_any:
            return False
        parts = path.split("/")
        rules = self._above
        for end in range(1, len(parts) + 1):
            place = "/".join(parts[:end])
            # A folder that is not there has the rules of the one around it: "docs/made/*" may be all that names it.
            rules = self._rules.get(place.rpartition("/")[0], rules)
            if rules and (
                _ignored(self._root, place, rules, is_folder=True)
                or (end == len(parts) and _ignored(self._root, place, rules, is_folder=False))
            ):
                return True
        return False


def must_be_regular(path: str) -> None:
    """Raises OSError for what is missing, and for a pipe or a device, whose end may never come."""
    mode = os.stat(path).st_mode
    if not stat.S_ISREG(mode) and not stat.S_ISDIR(mode):
        raise OSError(errno.EINVAL, "not a regular file", path)


def read_text(path: Path) -> tuple[str, bool]:
    """Return a file's text ("-": standard input's) and whether bytes that are not UTF-8 were replaced.

    Drops a byte order mark, turns CRLF into LF and ends the last line. Raises OSError.
    """
    data = sys.stdin.buffer.read() if str(path) == STANDARD_INPUT else path.read_bytes()
    return normalise(data)


def normalise(data: bytes) -> tuple[str, bool]:
    """Return the text of a document's bytes and whether some of them were not UTF-8 and were replaced."""
    data = data.removeprefix(_BOM).replace(b"\r\n", b"\n")
    # Without a final line feed the grammar reads a document that is only a heading line as an ERROR.
    if data and not data.endswith(b"\n"):
        data += b"\n"
    try:
        return data.decode("utf-8"), False
    except UnicodeDecodeError:
        return data.decode("utf-8", "replace"), True
