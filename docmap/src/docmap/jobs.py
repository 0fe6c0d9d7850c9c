"""Does one piece of work for many items: in several processes when that pays, with a progress bar."""

from __future__ import annotations

import gc
import os
import signal
import sys
import time
from collections.abc import Callable, Generator, Iterator, Sequence
from contextlib import closing, contextmanager
from typing import TYPE_CHECKING, TypeVar

if TYPE_CHECKING:
    from rich.progress import Progress

Item = TypeVar("Item")
Result = TypeVar("Result")

# Below this many files starting processes takes longer than the files do.
FEW_FILES = 400
# So many files are handed to a process at once.
_CHUNK = 16
# So many new objects, some megabytes, are made between two searches for garbage; Python's own number is 700.
_NEW_OBJECTS = 50_000
# A bar that comes and goes within a second only flickers.
_SECONDS_BEFORE_BAR = 1.0


class WorkerLostError(Exception):
    """A process that did part of the work was ended from outside, as the system does when memory runs out."""


def default_jobs(count: int) -> int:
    """How many processes to use for `count` files when the user does not say."""
    if count < FEW_FILES:
        return 1
    # Not every system can say which processors this process may use.
    return len(os.sched_getaffinity(0)) if hasattr(os, "sched_getaffinity") else os.cpu_count() or 1


def map_in_order(
    work: Callable[[Item], Result], items: Sequence[Item], jobs: int
) -> Generator[Result, None, None]:
    """Yield work(item) for each item in the order of the items, from `jobs` processes.

    Raises WorkerLostError when one of these does not live to return its results.
    """
    if jobs <= 1 or len(items) <= 1:
        yield from map(work, items)
        return
    from concurrent.futures import ProcessPoolExecutor
    from concurrent.futures.process import BrokenProcessPool

    pool = ProcessPoolExecutor(min(jobs, len(items)), initializer=_leave_signals_to_parent)
    try:
        with _interrupts_held():  # all processes are started here
            results = pool.map(work, items, chunksize=_CHUNK)
        yield from results
    except BrokenProcessPool:
        raise WorkerLostError from None
    finally:
        # Reached early when the caller stops: an interrupt, a closed pipe. What has not begun is dropped.
        pool.shutdown(cancel_futures=True)


@contextmanager
def collecting_rarely() -> Iterator[None]:
    """Has Python look for garbage in cycles less often.

    What files hold is in no cycle, and to look through all of it again and again took up to 4 % of a check.
    """
    before = gc.get_threshold()
    gc.set_threshold(_NEW_OBJECTS, *before[1:])
    try:
        yield
    finally:
        gc.set_threshold(*before)


@contextmanager
def _interrupts_held() -> Iterator[None]:
    """Holds an interrupt back until the end, so that none meets a process before it leaves these to its parent."""
    if not hasattr(signal, "pthread_sigmask"):
        yield
        return
    before = signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGINT})
    try:
        yield
    finally:
        signal.pthread_sigmask(signal.SIG_SETMASK, before)


def _leave_signals_to_parent() -> None:
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    # The handler that ends the command would run here as well, inherited by the fork.
    signal.signal(signal.SIGTERM, signal.SIG_DFL)


def track(
    results: Generator[Result, None, None], total: int, *, streaming: bool
) -> Generator[Result, None, None]:
    """Yield the results, with a bar on standard error when that is a terminal and the work takes long.

    `streaming`: the results are printed as they come, so that on a terminal they show the progress themselves.
    """
    started = time.monotonic()
    shown = sys.stderr.isatty() and not (streaming and sys.stdout.isatty())
    bar: Progress | None = None
    with closing(results):
        try:
            for done, result in enumerate(results, 1):
                yield result
                if bar is not None:
                    bar.update(bar.task_ids[0], completed=done)
                elif shown and time.monotonic() - started > _SECONDS_BEFORE_BAR:
                    bar = _bar(total, done)
        finally:
            if bar is not None:
                bar.stop()


def _bar(total: int, done: int) -> Progress:
    from rich.console import Console
    from rich.progress import BarColumn, MofNCompleteColumn, Progress, TextColumn, TimeRemainingColumn

    columns = TextColumn("reading"), BarColumn(), MofNCompleteColumn(), TimeRemainingColumn()
    bar = Progress(*columns, console=Console(stderr=True, force_terminal=True), transient=True)
    bar.add_task("", total=total, completed=done)
    bar.start()
    return bar
