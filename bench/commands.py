"""What docmap's commands cost beside the bare parse of the same files: one process, processor time, in turns.

python bench/commands.py FOLDER...    prints one row per folder; limits are those of docs/docmap.md
"""

from __future__ import annotations

import contextlib
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
from collections.abc import Callable, Iterator
from pathlib import Path

import click
from docmap.cli import app
from docmap.documents import read_text, walk
from docmap.reading import parse

# The first round also imports, which the row about the start counts.
ROUNDS = 5
COMMANDS = {
    "outline --json": ["outline", "--json", "-j1"],
    "outline": ["outline", "-j1"],
    "check": ["check", "-j1", "--no-cache"],
}
LIMITS = {"outline --json": 1.4, "outline": 1.7, "check": 2.0}
LIMIT_AGAIN = 0.1
LIMIT_START = 0.2


def seconds(work: Callable[[], object]) -> float:
    """Processor time of one call."""
    started = time.process_time()
    work()
    return time.process_time() - started


def parse_all(folder: str) -> None:
    """What any command must do: find the files, read them, parse them."""
    for relative in walk(folder, lambda error: None):
        parse(read_text(Path(folder, relative))[0])


def command(arguments: list[str]) -> None:
    """Run a command in this process, its output thrown away."""
    with (
        open(os.devnull, "w", encoding="utf-8") as nowhere,
        contextlib.redirect_stdout(nowhere),
        contextlib.redirect_stderr(nowhere),
        contextlib.suppress(click.exceptions.Exit, SystemExit),
    ):
        app(arguments, standalone_mode=False)


def row(folder: str) -> dict[str, float]:
    """Median ratios to the parse; "again": a second check over unchanged files, to the first."""
    ratios: dict[str, list[float]] = {name: [] for name in (*COMMANDS, "again")}
    for _ in range(ROUNDS):
        floor = seconds(lambda: parse_all(folder))
        for name, arguments in COMMANDS.items():
            ratios[name].append(seconds(lambda a=arguments: command([*a, folder])) / floor)
        with tempfile.TemporaryDirectory() as cache:
            os.environ["XDG_CACHE_HOME"] = cache
            first, again = (seconds(lambda: command(["check", "-j1", folder])) for _ in range(2))
        ratios["again"].append(again / first)
    return {name: statistics.median(values) for name, values in ratios.items()}


@contextlib.contextmanager
def alone(folder: str) -> Iterator[str]:
    """A copy of a folder that is a repository of its own: a check also walks all of the repository around it."""
    with tempfile.TemporaryDirectory() as place:
        copy = os.path.join(place, os.path.basename(os.path.abspath(folder)))
        shutil.copytree(folder, copy, symlinks=True, ignore=shutil.ignore_patterns(".git"))
        os.mkdir(os.path.join(copy, ".git"))
        yield copy


def start_up() -> float:
    """Seconds from start to end of the smallest run; the best of ten, since other work only adds to it."""

    def run() -> float:
        started = time.perf_counter()
        subprocess.run([sys.executable, "-m", "docmap", "--version"], check=True, stdout=subprocess.DEVNULL)
        return time.perf_counter() - started

    return min(run() for _ in range(10))


def main(folders: list[str]) -> None:
    print("ratio to the parse of  " + "".join(f"{name:>16}" for name in COMMANDS) + "  check again/first")
    for folder in folders:
        with alone(folder) as copy:
            ratios = row(copy)
        cells = "".join(f"{ratios[name]:>16.2f}" for name in COMMANDS)
        print(f"{os.path.basename(os.path.normpath(folder)):23}{cells}  {ratios['again']:>17.3f}", flush=True)
    limits = "".join(f"{limit:>16.2f}" for limit in LIMITS.values())
    print(f"{'at most':23}{limits}  {LIMIT_AGAIN:>17.3f}")
    print(f"start-up {start_up():.2f} s, at most {LIMIT_START} s")


if __name__ == "__main__":
    main(sys.argv[1:])
