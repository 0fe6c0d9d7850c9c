"""What the commands say on standard error, and how they end."""

from __future__ import annotations

import os
import signal
import sys
import time
from collections.abc import Iterator
from contextlib import contextmanager
from typing import TYPE_CHECKING

import click

from docmap.jobs import WorkerLostError
from docmap.terminal import printable

if TYPE_CHECKING:
    from docmap.reading import Document

_PIPE_CLOSED = 128 + signal.SIGPIPE


class Errors:
    """Names on standard error what could not be read, and remembers that there was something."""

    def __init__(self) -> None:
        self.count = 0

    def folder(self, error: OSError) -> None:
        """Name a folder that could not be read."""
        self.say(str(error.filename), error.strerror or str(error))

    def say(self, file: str, reason: str) -> None:
        """Name a file, as it is shown, and why it could not be read."""
        self.count += 1
        note(f"{file}: {reason}")


def note(message: str) -> None:
    """Say something in one line, on standard error."""
    click.echo(f"docmap: {printable(message)}", err=True)


def note_replaced(document: Document) -> None:
    """Say of a document that was not all UTF-8 that it was read all the same."""
    if document.replaced:
        note(f"{document.file.shown}: not all of it is UTF-8; the rest is read as U+FFFD")


def count_of(number: int, noun: str) -> str:
    """A number with its noun: "1 file", "2 files"."""
    return f"{number} {noun}" if number == 1 else f"{number} {noun}s"


def summary(counts: str, started: float) -> None:
    """The last line of a run that began at a time of the monotonic clock."""
    click.echo(f"{counts}, {time.monotonic() - started:.1f} s", err=True)


def relative(path: str) -> str:
    """A path as messages show it: relative to the current folder when it lies below that."""
    try:
        shown = os.path.relpath(path)
    except ValueError:  # on another drive
        return path
    return path if shown.startswith("..") and os.path.isabs(path) else shown


@contextmanager
def ending_cleanly() -> Iterator[None]:
    """Ends quietly when the reader of standard output has had enough, in one line when a process is lost."""
    try:
        yield
        sys.stdout.flush()
    except WorkerLostError:
        note("a process was killed before it was done; memory may be short, and --jobs 1 needs the least")
        raise click.exceptions.Exit(1) from None
    except BrokenPipeError:
        _drop_output()
        raise click.exceptions.Exit(_PIPE_CLOSED) from None


def is_output_lost() -> bool:
    """Whether standard output takes no text, as on a full disk; what it holds is then dropped."""
    try:
        sys.stdout.write("")
        sys.stdout.flush()
    except OSError:
        _drop_output()
        return True
    return False


def _drop_output() -> None:
    # What is still buffered would fail again at exit, with a message that nobody can act on.
    os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
