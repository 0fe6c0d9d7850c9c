"""Checks documents: reads what is needed of their repository, finds its sites, has each link judged."""

from __future__ import annotations

import json
import os
from collections.abc import Callable, Generator, Iterable, Iterator, Sequence
from dataclasses import dataclass
from functools import cached_property
from typing import TYPE_CHECKING, TypeAlias

from docmap.cache import Cache, as_kept, key_of, packed, readers, unpacked, unpacked_sections
from docmap.config import Config, ConfigError
from docmap.documents import must_be_regular, normalise
from docmap.findings import Finding
from docmap.repository import Repository

# A run over unchanged files judges nothing, and does not wait for what judges.
if TYPE_CHECKING:
    from quarnel.models import Symbol

    from docmap.facts import Facts, Section
    from docmap.judge import Judge, Judgement
    from docmap.sites.site import Site

# What a file holds: bytes where it is kept or comes from another process.
Held: TypeAlias = "bytes | tuple[Facts, list[Symbol]] | OSError"
# Reads documents, perhaps in several processes: takes the absolute paths and whether to read them as MDX, too, and
# returns what each file holds, in order.
ReadAll = Callable[[Sequence[str], bool], "Generator[Held, None, None]"]


def read_held(path: str, *, mdx: bool = True) -> tuple[Facts, list[Symbol]] | OSError:
    """What a file holds, as MDX too if `mdx`; errors are returned."""
    from docmap.extraction import read_facts

    try:
        # The bytes are let go of before the text is read: each copy of a long document counts.
        return read_facts(*normalise(_bytes_of(path)), mdx=mdx)
    except OSError as error:
        return error


def read_packed(path: str, *, mdx: bool = True) -> bytes | OSError:
    """The same as it is kept and as it passes between processes."""
    held = read_held(path, mdx=mdx)
    return held if isinstance(held, OSError) else packed(*held)


def _bytes_of(path: str) -> bytes:
    must_be_regular(path)
    with open(path, "rb", buffering=0) as file:
        return file.readall()


@dataclass(frozen=True)
class Report:
    """All findings, in the order of documents and lines, and how many links were judged."""

    findings: list[Finding]
    links: int


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
        (absolute) and the reason of what is wanted and cannot be read. Raises ConfigError for a site that there
        is not."""
        self._cache, self._read_all, self._on_error = cache, read_all, on_error
        self._wanted, self._root = list(wanted), os.path.abspath(root)
        self._sections: dict[str, list[Section]] | None = {} if with_sections else None
        self.config = config
        self._check_kinds()
        self.repository = Repository(root, wanted, self._folder_failed)
        # Settings may say of any folder that a site reads it as MDX.
        self._mdx = self.repository.has_mdx or bool(config.site)
        # What is kept is found by it.
        self._versions = f"{readers()} mdx={self._mdx}" if cache.is_open else ""
        self.repository.keeps_digests = cache.is_open
        self.repository.read_facts = self._read_one
        self.repository.read_ahead = self._read_missing
        self.repository.read_bytes = self._read_bytes
        self.documents = [path for path in self._asked_for(wanted) if not config.excludes(path)]
        # Every document counts when a setting is said to match nothing.
        self.covers_all = "" in wanted
        self._judged = frozenset(self.documents)
        # The keys of all files that were read, None for one that could not be.
        self._keys: dict[str, bytes | None] = {}

    @cached_property
    def sites(self) -> list[Site]:
        """All sites of the repository, the code host last."""
        from docmap.sites import find_sites

        settled = {}
        for folder, setting in self.config.site.items():
            if folder == "" or folder in self.repository.folders:
                self.config.used.add(("site", folder))
                settled[folder] = (setting.kind, setting.root)
        return find_sites(self.repository, settled)

    @cached_property
    def judge(self) -> Judge:
        """The judge of the repository, after all has been read that it will ask for."""
        from docmap.judge import Judge

        judge = Judge(self.repository, self.sites)
        self._read_missing(self.documents)
        return judge

    def _check_kinds(self) -> None:
        if not self.config.site:
            return
        from docmap.sites import kinds

        for setting in self.config.site.values():
            if setting.kind not in kinds():
                raise ConfigError(f'site: there is no kind "{setting.kind}"; there are {", ".join(kinds())}')

    def _folder_failed(self, error: OSError) -> None:
        place = os.fspath(error.filename)
        path = os.path.relpath(place, self._root).replace(os.sep, "/")
        if any(wanted in {"", path} or path.startswith(f"{wanted}/") for wanted in self._wanted):
            self._on_error(place, error.strerror or str(error))

    def _asked_for(self, wanted: Sequence[str]) -> list[str]:
        documents = self.repository.documents
        if "" in wanted:
            return list(documents)
        folders = tuple(f"{path}/" for path in wanted)
        named = {path for path in wanted if path not in self.repository.folders}
        listed = [path for path in documents if path in named or path.startswith(folders)]
        # A file that is named itself is judged whatever its name and wherever it is.
        known = frozenset(listed)
        return [*listed, *(path for path in wanted if path in named and path not in known)]

    def _key_of(self, path: str) -> bytes | None:
        """The key of what a file holds now."""
        if path not in self._keys:
            if self._cache.is_open:
                self._read_bytes(path)
            else:
                # Nothing is looked up by it; whether the file can be read is seen when it is.
                self._keys[path] = b""
        return self._keys[path]

    def _read_bytes(self, path: str) -> bytes | None:
        """The bytes of a file; None when it cannot be read."""
        try:
            data = _bytes_of(self._absolute(path))
        except OSError as error:
            if self._keys.get(path, b"") is not None:
                self._keys[path] = None
                self._fail(path, error)
            return None
        if path not in self._keys:
            self._keys[path] = key_of(data, self._versions) if self._cache.is_open else b""
        return data

    def _read(self, paths: list[str]) -> None:
        keys = {path: key for path in paths if (key := self._key_of(path)) is not None}
        kept = self._cache.get(list(keys.values()))
        unread = [path for path, key in keys.items() if not self._take(path, kept.get(key))]
        del kept
        fresh: list[tuple[bytes, bytes]] = []
        results = self._read_all([self._absolute(path) for path in unread], self._mdx)
        for path, result in zip(unread, results, strict=True):
            if isinstance(result, OSError):
                self._keys[path] = None
                self._fail(path, result)
            elif self._take(path, result) and self._cache.is_open:
                fresh.append((keys[path], result if isinstance(result, bytes) else packed(*result)))
        if fresh:
            self._cache.put(fresh)

    def _take(self, path: str, entry: bytes | tuple[Facts, list[Symbol]] | None) -> bool:
        """Take over what a file holds; returns whether the entry says it."""
        if entry is None:
            return False
        facts = unpacked(entry) if isinstance(entry, bytes) else entry[0]
        if facts is None:
            return False
        self.repository.known_facts[path] = facts
        if self._sections is not None:
            self._sections[path] = unpacked_sections(entry) if isinstance(entry, bytes) else as_kept(entry[1])
        return True

    def _read_missing(self, paths: Iterable[str]) -> None:
        """Read those of these files that have not been read."""
        missing = [path for path in paths if path not in self.repository.known_facts]
        if missing:
            self._read(missing)

    def _read_one(self, path: str) -> Facts | None:
        self._read([path])
        return self.repository.known_facts.get(path)

    def _fail(self, path: str, error: OSError) -> None:
        self.repository.known_facts[path] = None
        self.repository.unread[path] = None
        # Another file makes doubtful what depends on it.
        if path in self._judged:
            self._on_error(self._absolute(path), error.strerror or str(error))

    def _absolute(self, path: str) -> str:
        return os.path.join(self.repository.root, path)

    # --- Results ---

    def report(self) -> Report:
        """What is wrong with the links of all documents; kept, so that a run over an unchanged repository only
        compares what is there with what was."""
        if not self._cache.is_open:
            return self._judged_anew()
        key = self._state()
        entry = self._cache.get([key]).get(key)
        report = None if entry is None else self._kept(entry)
        if report is None:
            report = self._judged_anew()
            self._keep(key, report)
        return report

    def _judged_anew(self) -> Report:
        findings = [finding for path in self.documents for finding in self.findings(path)]
        if self.covers_all:
            listed = self.judge.listed()
            findings += [finding for finding in listed if not self.config.ignores((finding.target,))]
        return Report(findings, self.count_links())

    def _state(self) -> bytes:
        """A key of what the results follow from, but for what the files hold that are read while they are made."""
        config = self.config
        state = [
            self._wanted,
            [config.exclude, config.ignore, sorted((k, v.kind, v.root) for k, v in config.site.items())],
            self.repository.listing(),
        ]
        return key_of(json.dumps(state).encode("ascii"), self._versions + " report")

    def _keep(self, key: bytes, report: Report) -> None:
        if not self._cache.is_open:
            return
        entry = {
            "texts": self.repository.texts_read,
            "files": {path: key and key.hex() for path, key in self._keys.items()},
            "used": sorted(self.config.used),
            "links": report.links,
            "findings": report.findings,
        }
        self._cache.put([(key, json.dumps(entry, separators=(",", ":")).encode("ascii"))])

    def _kept(self, entry: bytes) -> Report | None:
        """The report that was kept; None when a file that it depends on has changed."""
        try:
            kept = json.loads(entry)
            if any(self.repository.digest(path) != digest for path, digest in kept["texts"].items()):
                return None
            for path, key in kept["files"].items():
                now = self._key_of(path)
                if (now and now.hex()) != key:
                    return None
            self.config.used |= {(name, value) for name, value in kept["used"]}
            return Report([Finding(*finding) for finding in kept["findings"]], kept["links"])
        except (ValueError, TypeError, KeyError, AttributeError, RecursionError):
            return None

    def judged(self, path: str) -> Iterator[Judgement]:
        """What becomes of each link of one document; without findings that a setting or the text ignores."""
        from docmap.facts import lines_of

        facts = self.judge.site_of(path).facts(path)
        if facts is None:
            return
        ignored = lines_of(facts.spans, {"ignore"})
        for judgement in self.judge.judged(path):
            finding = judgement.finding
            if finding is not None and (finding.line in ignored or self.config.ignores((finding.target,))):
                judgement = judgement._replace(finding=None)
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
        """The links of the documents that are judged, as their sites read these."""
        read = ((site, site.facts(path)) for path in self.documents for site in (self.judge.site_of(path),))
        return sum(len(site.links_of(facts)) for site, facts in read if facts is not None)
