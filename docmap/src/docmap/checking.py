"""Checks documents: reads what is needed of their repository, finds its sites, has each link judged."""

from __future__ import annotations

import os
from collections.abc import Callable, Generator, Iterator, Sequence
from dataclasses import replace

from docmap.cache import Cache, key_of, packed, readers, unpacked, unpacked_sections
from docmap.config import Config, ConfigError
from docmap.facts import Facts, Section
from docmap.judge import Finding, Judge, Judgement
from docmap.repository import Repository
from docmap.sites import find_sites, kinds
from docmap.sites.site import Site

# Reads documents in several processes: takes the absolute paths, returns what each file holds, in order.
ReadAll = Callable[[Sequence[str]], Generator["bytes | OSError", None, None]]


def read_packed(path: str) -> bytes | OSError:
    """What a file holds, as it is kept and as it passes between processes; errors are returned."""
    from docmap.extraction import read_facts

    try:
        with open(path, "rb") as file:
            data = file.read()
    except OSError as error:
        return error
    return packed(*read_facts(data))


class Checked:
    """A repository, its sites, and those of its documents whose links are to be judged."""

    def __init__(
        self,
        root: str,
        wanted: Sequence[str],
        config: Config,
        cache: Cache,
        *,
        read_all: ReadAll,
        on_error: Callable[[str, str], None],
        with_sections: bool = False,
    ) -> None:
        """`wanted`: files and folders below `root`, relative to it, "" for all. `on_error` gets the path
        (absolute) and the reason of what cannot be read. Raises ConfigError for a site that there is not."""
        self._cache, self._read_all, self._on_error = cache, read_all, on_error
        self._versions = readers()
        self._failed: set[str] = set()
        self._sections: dict[str, list[Section]] | None = {} if with_sections else None
        self.config = config
        self.repository = Repository(root, wanted, self._folder_failed)
        self.repository.read_facts = self._read_one
        self.documents = [path for path in self._asked_for(wanted) if not config.excludes(path)]
        # Every document counts when a setting is said to match nothing.
        self.covers_all = "" in wanted
        self.sites = self._find_sites()
        self.judge = Judge(self.repository, self.sites)
        self._read_needed()

    def _folder_failed(self, error: OSError) -> None:
        self._on_error(os.fspath(error.filename), error.strerror or str(error))

    def _asked_for(self, wanted: Sequence[str]) -> list[str]:
        documents = self.repository.documents
        if "" in wanted:
            return list(documents)
        folders = tuple(f"{path}/" for path in wanted)
        named = {path for path in wanted if path not in self.repository.folders}
        listed = [path for path in documents if path in named or path.startswith(folders)]
        # A file that is named itself is judged whatever its name and wherever it is.
        return [*listed, *(path for path in wanted if path in named and path not in set(listed))]

    def _find_sites(self) -> list[Site]:
        settled = {}
        for folder, setting in self.config.site.items():
            if setting.kind not in kinds():
                raise ConfigError(f'site: there is no kind "{setting.kind}"; there are {", ".join(kinds())}')
            if folder == "" or folder in self.repository.folders:
                self.config.used.add(("site", folder))
                settled[folder] = (setting.kind, setting.root)
        return find_sites(self.repository, settled)

    def _read_needed(self) -> None:
        """Read in bulk what the judgement of these documents may ask for: they, and the pages of their sites."""
        needed = dict.fromkeys(self.documents)
        for site in {self.judge.site_of(path): None for path in self.documents}:
            if site is not self.sites[-1] or self.covers_all:
                needed |= dict.fromkeys(site.pages)
        self._read([path for path in needed if path not in self.repository.known_facts])

    def _read(self, paths: list[str]) -> None:
        keys: dict[str, bytes] = {}
        for path in paths:
            try:
                with open(self._absolute(path), "rb") as file:
                    keys[path] = key_of(file.read(), self._versions)
            except OSError as error:
                self._fail(path, error)
        kept = self._cache.get(list(keys.values()))
        unread = [path for path, key in keys.items() if not self._take(path, kept.get(key))]
        del kept
        fresh: list[tuple[bytes, bytes]] = []
        results = self._read_all([self._absolute(path) for path in unread])
        for path, result in zip(unread, results, strict=True):
            if isinstance(result, OSError):
                self._fail(path, result)
            elif self._take(path, result):
                fresh.append((keys[path], result))
        if fresh:
            self._cache.put(fresh)

    def _take(self, path: str, entry: bytes | None) -> bool:
        """Take over what a file holds; returns whether the entry says it."""
        facts = None if entry is None else unpacked(entry)
        if facts is None or entry is None:
            return False
        self.repository.known_facts[path] = facts
        if self._sections is not None:
            self._sections[path] = unpacked_sections(entry)
        return True

    def _read_one(self, path: str) -> Facts | None:
        self._read([path])
        return self.repository.known_facts.get(path)

    def _fail(self, path: str, error: OSError) -> None:
        self.repository.known_facts[path] = None
        if path not in self._failed:
            self._failed.add(path)
            self._on_error(self._absolute(path), error.strerror or str(error))

    def _absolute(self, path: str) -> str:
        return os.path.join(self.repository.root, path)

    # --- Results ---

    def judged(self, path: str) -> Iterator[Judgement]:
        """What becomes of each link of one document; without findings that a setting or the text ignores."""
        facts = self.judge.site_of(path).facts(path)
        if facts is None:
            return
        ignored = [span for span in facts.spans if span.kind == "ignore"]
        for judgement in self.judge.judged(path):
            finding = judgement.finding
            if finding is not None:
                in_text = any(span.first <= finding.line <= span.last for span in ignored)
                if in_text or self.config.ignores((finding.target,)):
                    judgement = replace(judgement, finding=None)
            yield judgement

    def findings(self, path: str) -> Iterator[Finding]:
        """What is wrong with the links of one document and is not ignored."""
        for judgement in self.judged(path):
            if judgement.finding is not None:
                yield judgement.finding

    def sections(self, path: str) -> list[Section]:
        """The sections of a document that was read; without `with_sections` there are none."""
        return (self._sections or {}).get(path, [])

    def count_links(self) -> int:
        """The links of the documents that are judged."""
        return sum(
            len(facts.links) for path in self.documents if (facts := self.repository.facts(path)) is not None
        )
