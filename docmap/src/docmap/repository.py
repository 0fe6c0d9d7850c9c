"""The files of a repository, by path, and the facts of its documents.

Paths are relative to the repository's root, with "/", without "." and "..", and a folder's without a slash at its
end; the root itself is "".
"""

from __future__ import annotations

import hashlib
import os
from collections.abc import Callable, Iterable
from typing import TYPE_CHECKING

from docmap.documents import PAGE_SUFFIXES, GitIgnore, must_be_regular

if TYPE_CHECKING:
    from docmap.facts import Facts

# Packages of other people, and what belongs to Git itself.
_NEVER_READ = frozenset({".git", "node_modules"})

ReadFacts = Callable[[str], "Facts | None"]


def _digest(text: str | None) -> str:
    if text is None:
        return ""
    return hashlib.blake2b(text.encode("utf-8", "surrogatepass"), digest_size=20).hexdigest()


class Repository:
    """What a site may ask of the repository that it lies in.

    `files` and `folders` (and what links to folders lead to) are all that is there but for what Git ignores;
    `documents` are the Markdown files among them, outside hidden folders, sorted by folder.
    """

    def __init__(
        self, root: str, wanted: Iterable[str] = (), on_error: Callable[[OSError], None] | None = None
    ) -> None:
        """`root`: an existing folder. `wanted`: paths below it that are read even where Git ignores them.
        `on_error` gets the error of each folder that cannot be read."""
        self.root = os.path.abspath(root)
        self.files: dict[str, None] = {}
        self.folders: dict[str, None] = {}
        self.documents: list[str] = []
        # Read by the run, in bulk; single files are read when first asked for.
        self.known_facts: dict[str, Facts | None] = {}
        self.read_facts: ReadFacts = lambda path: None
        # Reads many documents that will be asked for, at once.
        self.read_ahead: Callable[[Iterable[str]], None] = lambda paths: None
        self.read_bytes: Callable[[str], bytes | None] = lambda path: None
        # Documents that turned out to be unreadable, in the order in which they did.
        self.unread: dict[str, None] = {}
        self._wanted = tuple(wanted)
        self._on_error = on_error
        # What was asked for as text, by path: a digest of it, "" for a file that could not be read.
        self.texts_read: dict[str, str] = {}
        self.keeps_digests = True
        # Several rules look at one page, one after the other.
        self._last_text: tuple[str, str | None] = "", None
        self._unreadable: set[str] = set()
        self._links: dict[str, str] = {}
        self._by_case: dict[str, str] | None = None
        self._ignore = GitIgnore(self.root)
        self._walk()
        for link, target in self._links.items():
            self._add_linked(link, target)

    def _walk(self) -> None:
        # A stack, so that depth costs no frames.
        folders = [("", False)]
        while folders:
            folder, hidden = folders.pop()
            self.folders[folder] = None
            try:
                with os.scandir(os.path.join(self.root, folder)) as scan:
                    entries = sorted(scan, key=lambda entry: entry.name)
            except OSError as error:
                self._unreadable.add(folder)
                if self._on_error is not None:
                    self._on_error(error)
                continue
            self._ignore.enter(folder, any(entry.name == ".gitignore" for entry in entries))
            below = []
            for entry in entries:
                path = f"{folder}/{entry.name}" if folder else entry.name
                if entry.is_symlink():
                    self._add_link(entry, path)
                elif entry.is_dir(follow_symlinks=False):
                    if entry.name not in _NEVER_READ and not self._leaves_out(path, is_folder=True):
                        below.append((path, hidden or entry.name.startswith(".")))
                elif not self._leaves_out(path, is_folder=False):
                    self.files[path] = None
                    # Pipes and devices are there, but reading them could wait for ever.
                    if not hidden and path.lower().endswith(PAGE_SUFFIXES) and entry.is_file():
                        self.documents.append(path)
            folders.extend(reversed(below))

    def _leaves_out(self, path: str, *, is_folder: bool) -> bool:
        if not self._ignore.ignores(path, is_folder=is_folder):
            return False
        return not any(wanted == path or wanted.startswith(path + "/") for wanted in self._wanted)

    def _add_link(self, entry: os.DirEntry[str], path: str) -> None:
        try:
            real = os.path.realpath(entry.path)
        except OSError:  # links of the system that say nobody where they lead
            self._unreadable.add(path)
            self.folders[path] = None
            return
        target = os.path.relpath(real, os.path.realpath(self.root)).replace(os.sep, "/")
        try:
            is_folder = entry.is_dir()
        except OSError:  # a link to itself
            is_folder = False
        if is_folder:
            self.folders[path] = None
            self._links[path] = target
        elif os.path.exists(entry.path):
            self.files[path] = None
            self._links[path] = target
            if path.lower().endswith(PAGE_SUFFIXES) and os.path.isfile(entry.path):
                self.documents.append(path)
        elif path.lower().endswith(PAGE_SUFFIXES):
            # Reading it says what is wrong with it.
            self.documents.append(path)

    def _add_linked(self, link: str, target: str) -> None:
        """List what is in a folder of the repository below a link to it, too."""
        if (
            link not in self.folders
            or target == "."
            or link.startswith(target + "/")
            or target.startswith("..")
        ):
            return
        for paths in (self.files, self.folders):
            paths.update(
                {link + path[len(target) :]: None for path in paths if path.startswith(target + "/")}
            )

    @property
    def has_mdx(self) -> bool:
        """Whether documents may be read as MDX: there are such, or Docusaurus is used, which reads all of them so."""
        return any(path.endswith(".mdx") or "docusaurus" in path for path in self.files)

    # --- Documents ---

    def facts(self, path: str, *, suffixes: tuple[str, ...] = PAGE_SUFFIXES) -> Facts | None:
        """What a document holds; None for what is no document, is missing or cannot be read.

        A file that a site takes for Markdown whatever its name is asked for with the empty suffix.
        """
        if path not in self.known_facts:
            is_document = path.lower().endswith(suffixes) and path in self.files
            self.known_facts[path] = self.read_facts(path) if is_document else None
        return self.known_facts[path]

    def is_document(self, path: str) -> bool:
        """Whether a file is a document, readable or not; it is not read for that."""
        if path in self.files and path.lower().endswith(PAGE_SUFFIXES):
            return True
        return self.known_facts.get(path) is not None or path in self.unread

    def may_hold(self, path: str, sign: bytes) -> bool:
        """Whether a document need be parsed for what cannot be there without a sign, which it may hold."""
        if path in self.known_facts:
            return True
        data = self.read_bytes(path)
        return data is None or sign in data

    def text(self, path: str) -> str | None:
        """The text of a file, as of a configuration; None when it is missing or cannot be read."""
        if path == self._last_text[0]:
            return self._last_text[1]
        try:
            place = os.path.join(self.root, path)
            must_be_regular(place)
            with open(place, encoding="utf-8", errors="replace") as file:
                text = file.read()
        except (OSError, ValueError):  # a name with a null byte
            text = None
        self.texts_read[path] = _digest(text) if self.keeps_digests else ""
        self._last_text = path, text
        return text

    def digest(self, path: str) -> str:
        """What `texts_read` would say of a file if its text were read now."""
        before = self.texts_read.get(path)
        now = _digest(self.text(path))
        if before is None:
            del self.texts_read[path]
        return now

    def listing(self) -> list[list[str]]:
        """All paths that are there, by what they are."""
        links = [f"{link} {target}" for link, target in self._links.items()]
        return [list(self.files), list(self.folders), links, sorted(self._unreadable), self._ignore.lines()]

    # --- Paths ---

    def in_other_case(self, path: str) -> str | None:
        """The file or folder whose path differs from this in letter case alone, if there is one."""
        if self._by_case is None:
            self._by_case = {known.casefold(): known for known in (*self.folders, *self.files)}
        return self._by_case.get(path.casefold())

    def doubt(self, path: str) -> str | None:
        """Why nothing can be said of a path where no file was found: its folder is unreadable, Git ignores it, it
        lies outside the repository. None when it is surely missing."""
        if path == ".." or path.startswith("../"):
            return "it lies outside the repository"
        # From the root downwards, as far as there are folders: a path may be longer than any that is there.
        place = ""
        for part in path.split("/"):
            if place in self._unreadable:
                return f"the folder {place or '.'} cannot be read"
            target = self._links.get(place, "")
            if target.startswith("../"):
                return f"{place} leads out of the repository"
            if target == "." or (target and place.startswith(target + "/")):
                # What is below such a link has names without end, so they are not listed.
                return f"{place} leads to a folder around itself"
            if place not in self.folders:
                break
            place = f"{place}/{part}" if place else part
        if "node_modules" in path.split("/"):
            return "packages are installed there"
        if self._ignore.ignores_below(path):
            return "Git ignores it, so it may be made by a build"
        return None
