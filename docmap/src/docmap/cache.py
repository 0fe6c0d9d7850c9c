"""Keeps what files hold, so that a run over unchanged files need not parse them again.

One SQLite file in the user's cache folder. Facts are found by a hash of a file's bytes, together with the versions of
everything that reads them. Nothing that goes wrong here is a reason to fail: what cannot be kept is read again.
"""

from __future__ import annotations

import hashlib
import json
import os
import sqlite3
import sys
import time
from collections.abc import Iterable
from contextlib import suppress
from typing import TYPE_CHECKING, Any

# A run over unchanged files unpacks no facts.
if TYPE_CHECKING:
    from quarnel.models import Symbol

    from docmap.facts import Facts, Section

# Raised with every change to what is read of a file, or to the form in which it is kept.
_FORMAT = 5
_READERS = ("docmap", "quarnel-markdown", "tree-sitter", "tree-sitter-markdown", "PyYAML")
_DAY = 86400
# Entries that no run has asked for in this time are dropped.
_KEPT_DAYS = 30
# Other runs hold the file for milliseconds; one that hangs must not hold this one up.
_SECONDS_TO_WAIT = 2.0
# A statement of SQLite takes 999 values at least.
_MOST_VALUES = 500
_COMPACT = json.JSONEncoder(separators=(",", ":"))


def cache_folder() -> str:
    """The folder for docmap's cache, as the system's conventions have it."""
    if sys.platform == "win32":
        return os.path.join(os.environ.get("LOCALAPPDATA") or os.path.expanduser("~"), "docmap", "Cache")
    if sys.platform == "darwin":
        return os.path.expanduser("~/Library/Caches/docmap")
    base = os.environ.get("XDG_CACHE_HOME", "")
    # A relative path is to be passed over: it would lead into whatever folder is current.
    return os.path.join(base if os.path.isabs(base) else os.path.expanduser("~/.cache"), "docmap")


def readers() -> str:
    """The versions of all that decides what is read of a file."""
    folder = os.path.dirname(os.path.abspath(__file__))
    # The sources, too: whoever works on them would otherwise be shown what older ones found.
    changed = 0.0
    for place in (folder, os.path.join(folder, "sites")):
        with suppress(OSError), os.scandir(place) as scan:
            changed += sum(entry.stat().st_mtime for entry in scan if entry.name.endswith(".py"))
    return f"{_FORMAT} {changed} " + " ".join(_installed() or map(_version, _READERS))


def _installed() -> list[str]:
    """The names under which the readers are installed, which have their versions; none unless all are found.

    The library for that takes as long to load as a run over unchanged files.
    """
    wanted = {name.replace("-", "_").lower() for name in _READERS}
    found: dict[str, str] = {}
    for place in sys.path:
        with suppress(OSError), os.scandir(place or ".") as scan:
            for entry in scan:
                name = entry.name.partition("-")[0].lower()
                if name in wanted and entry.name.endswith(".dist-info"):
                    found.setdefault(name, entry.name)
    return sorted(found.values()) if len(found) == len(wanted) else []


def _version(name: str) -> str:
    from importlib import metadata

    try:
        return f"{name} {metadata.version(name)}"
    except metadata.PackageNotFoundError:
        return f"{name} -"


def key_of(data: bytes, versions: str) -> bytes:
    """The key of a file's bytes."""
    return hashlib.blake2b(
        data, digest_size=20, key=hashlib.blake2b(versions.encode(), digest_size=32).digest()
    ).digest()


class Cache:
    """Facts by key. Without a folder to keep them in, it is empty and stays so."""

    def __init__(self, folder: str | None) -> None:
        """`folder`: where to keep the file; None to keep nothing."""
        self._connection: sqlite3.Connection | None = None
        if folder is None:
            return
        with suppress(OSError, sqlite3.Error):
            os.makedirs(folder, mode=0o700, exist_ok=True)
            self._connection = self._open(os.path.join(folder, "facts.sqlite"))

    @staticmethod
    def _open(path: str) -> sqlite3.Connection | None:
        for _ in range(2):
            connection = sqlite3.connect(path, timeout=_SECONDS_TO_WAIT, isolation_level=None)
            try:
                # Readers and one writer at a time do not wait for each other.
                connection.execute("PRAGMA journal_mode=WAL")
                connection.execute("PRAGMA synchronous=OFF")
                connection.execute(
                    "CREATE TABLE IF NOT EXISTS facts (key BLOB PRIMARY KEY, day INTEGER, facts BLOB) WITHOUT ROWID"
                )
                return connection
            except sqlite3.OperationalError:  # another run holds it
                connection.close()
                return None
            except sqlite3.DatabaseError:  # not a database: broken off halfway, or something else's
                connection.close()
                os.replace(path, path + ".broken")
        return None

    @property
    def is_open(self) -> bool:
        """Whether anything is kept."""
        return self._connection is not None

    def get(self, keys: list[bytes]) -> dict[bytes, bytes]:
        """The entries that are there, of these keys."""
        found: dict[bytes, bytes] = {}
        if self._connection is None:
            return found
        today = int(time.time()) // _DAY
        stale: list[bytes] = []
        try:
            for begin in range(0, len(keys), _MOST_VALUES):
                some = keys[begin : begin + _MOST_VALUES]
                marks = ",".join("?" * len(some))
                for key, day, facts in self._connection.execute(
                    f"SELECT key, day, facts FROM facts WHERE key IN ({marks})", some
                ):
                    found[key] = facts
                    if day != today:
                        stale.append(key)
            if stale:
                self._write("UPDATE facts SET day = ? WHERE key = ?", [(today, key) for key in stale])
        except sqlite3.Error:
            self.close()
        return found

    def put(self, entries: Iterable[tuple[bytes, bytes]]) -> None:
        """Keep these entries."""
        if self._connection is None:
            return
        today = int(time.time()) // _DAY
        with suppress(sqlite3.Error):
            self._write(
                "INSERT OR REPLACE INTO facts VALUES (?, ?, ?)", [(key, today, kept) for key, kept in entries]
            )
            self._connection.execute("DELETE FROM facts WHERE day < ?", (today - _KEPT_DAYS,))

    def _write(self, statement: str, rows: list[tuple[Any, ...]]) -> None:
        assert self._connection is not None
        self._connection.execute("BEGIN IMMEDIATE")
        try:
            self._connection.executemany(statement, rows)
            self._connection.execute("COMMIT")
        except sqlite3.Error:
            with suppress(sqlite3.Error):
                self._connection.execute("ROLLBACK")
            raise

    def close(self) -> None:
        """Let go of the file."""
        if self._connection is not None:
            with suppress(sqlite3.Error):
                self._connection.close()
            self._connection = None


# --- The form in which facts are kept ----------------------------------------------------------------------


def packed(facts: Facts, symbols: list[Symbol]) -> bytes:
    """Facts and sections as bytes; JSON, since what is read from a file must not be able to run anything.

    Two lines, so that sections, which not every command asks for, need not be read.
    """
    return b"\n".join(_COMPACT.encode(value).encode("ascii") for value in (_plain(facts), as_kept(symbols)))


def as_kept(symbols: list[Symbol]) -> list[Section]:
    """The sections of a document by what the engine reports of it."""
    from docmap.facts import Section

    return [Section.of(symbol) for symbol in symbols]


def _plain(facts: Facts) -> dict[str, Any]:
    kept = {name: value for name, value in vars(facts).items() if value and name not in {"bodies", "fields"}}
    if facts.bodies:
        kept["bodies"] = [[body.first, body.kind, body.name, _plain(body.facts)] for body in facts.bodies]
    return kept


def unpacked(data: bytes) -> Facts | None:
    """The facts that were packed; None for bytes that are something else."""
    try:
        return _facts(json.loads(data[: data.index(b"\n")]))
    except (ValueError, TypeError, KeyError, AttributeError, RecursionError):
        return None


def unpacked_sections(data: bytes) -> list[Section]:
    """The sections that were packed with facts that `unpacked` returned."""
    from docmap.facts import Section

    return [Section(*section) for section in json.loads(data[data.index(b"\n") :])]


def _facts(plain: dict[str, Any]) -> Facts:
    from docmap.facts import ROWS, Body, Facts

    facts = Facts(**{name: value for name, value in plain.items() if name not in ROWS and name != "bodies"})
    for name, kind in ROWS.items():
        rows = plain.get(name)
        if rows:
            setattr(facts, name, list(map(kind._make, rows)))
    for first, kind, name, body in plain.get("bodies", ()):
        facts.bodies.append(Body(first, kind, name, _facts(body)))
    return facts
