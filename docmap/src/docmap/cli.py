"""The command line."""

from __future__ import annotations

import os
import signal
import sys
import time
from collections.abc import Iterator
from contextlib import closing, contextmanager
from pathlib import Path
from typing import Annotated, Optional
from urllib.parse import quote

import typer
from rich.console import Console
from rich.text import Text

from docmap import __version__
from docmap.checking import Checker, Finding, Page, read_page
from docmap.documents import STANDARD_INPUT, find_files
from docmap.folder_map import described, folder_map
from docmap.jobs import WorkerLostError, default_jobs, map_in_order, track
from docmap.json_lines import document_lines, finding_line
from docmap.outline import print_outline, printable
from docmap.page import LibraryMissingError, how_to_install, render
from docmap.reading import Document, Unreadable, read_document
from docmap.targets import Folder

PIPE_CLOSED = 128 + signal.SIGPIPE

app = typer.Typer(
    name="docmap",
    no_args_is_help=True,
    pretty_exceptions_enable=False,
    context_settings={"help_option_names": ["-h", "--help"]},
)

Json = Annotated[bool, typer.Option("--json", help="Print JSON Lines instead of text.")]
Jobs = Annotated[
    Optional[int],  # noqa: UP045 (typer reads the annotation at run time)
    typer.Option("--jobs", "-j", min=1, help="Number of processes; by default one for few files."),
]


class _Output(Console):
    """Standard output; a closed pipe goes to the caller instead of ending the process here."""

    def on_broken_pipe(self) -> None:
        raise BrokenPipeError


class _Errors:
    """Names on standard error what could not be read, and remembers that there was something."""

    def __init__(self) -> None:
        self.count = 0

    def folder(self, error: OSError) -> None:
        self.say(str(error.filename), error.strerror or str(error))

    def say(self, file: str, reason: str) -> None:
        self.count += 1
        _note(f"{file}: {reason}")


def _note(message: str) -> None:
    typer.echo(f"docmap: {printable(message)}", err=True)


def _note_replaced(document: Document) -> None:
    if document.replaced:
        _note(f"{document.file.shown}: not all of it is UTF-8; the rest is read as U+FFFD")


def _output() -> _Output:
    console = _Output(highlight=False)
    # Without a terminal there is no width to fold at; rich would take 80 columns.
    return console if console.is_terminal else _Output(highlight=False, width=1 << 20)


def _progress_console(*, streaming: bool) -> Console:
    """Standard error; no terminal when the results themselves run over the terminal and show the progress."""
    shown = sys.stderr.isatty() and not (streaming and sys.stdout.isatty())
    return Console(stderr=True, force_terminal=shown)


def _print_finding(console: Console, finding: Finding) -> None:
    meant = "" if finding.suggestion is None else f'; did you mean "{finding.suggestion}"?'
    place = (f"{finding.file}:{finding.line}: ", "bold")
    console.print(Text.assemble(place, printable(finding.message + meant)), soft_wrap=True)


@contextmanager
def _ending_cleanly() -> Iterator[None]:
    """Ends quietly when the reader of standard output has had enough, in one line when a process is lost."""
    try:
        yield
        sys.stdout.flush()
    except WorkerLostError:
        _note("a process was killed before it was done; memory may be short, and --jobs 1 needs the least")
        raise typer.Exit(1) from None
    except BrokenPipeError:
        # What is still buffered would fail again at exit, with a message that nobody can act on.
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
        raise typer.Exit(PIPE_CLOSED) from None


def _count(number: int, noun: str) -> str:
    return f"{number} {noun}" if number == 1 else f"{number} {noun}s"


def _summary(counts: str, started: float) -> None:
    typer.echo(f"{counts}, {time.monotonic() - started:.1f} s", err=True)


def _print_version(wanted: bool) -> None:
    if wanted:
        typer.echo(f"docmap {__version__}")
        raise typer.Exit


@app.callback()
def _options(
    version: Annotated[
        bool,
        typer.Option("--version", callback=_print_version, is_eager=True, help="Print the version and exit."),
    ] = False,
) -> None:
    """Map a folder of Markdown: its outline, its links, and the links that lead nowhere."""


@app.command()
def outline(
    paths: Annotated[
        list[str], typer.Argument(metavar="PATH", help='Files or folders; "-" is standard input.')
    ],
    links: Annotated[bool, typer.Option("--links", help="Print each section's links below it.")] = False,
    as_json: Json = False,
    jobs: Jobs = None,
) -> None:
    """Print the outline of documents: sections, line ranges, first paragraphs."""
    started = time.monotonic()
    errors = _Errors()
    console = _output()
    files = list(find_files(paths, errors.folder))
    # Standard input belongs to this process; its children have none.
    processes = 1 if STANDARD_INPUT in paths else jobs or default_jobs(len(files))
    read = map_in_order(read_document, files, processes)
    file_count = section_count = link_count = 0
    with (
        _ending_cleanly(),
        closing(track(read, len(files), _progress_console(streaming=True))) as results,
    ):
        for document in results:
            if isinstance(document, Unreadable):
                errors.say(document.file.shown, document.reason)
                continue
            _note_replaced(document)
            file_count += 1
            section_count += len(document.sections)
            link_count += len(document.links)
            if as_json:
                sys.stdout.writelines(document_lines(document))
            else:
                print_outline(console, document, with_links=links)
    counts = _count(file_count, "file"), _count(section_count, "section"), _count(link_count, "link")
    _summary(", ".join(counts), started)
    raise typer.Exit(1 if errors.count else 0)


@app.command()
def check(
    path: Annotated[
        str,
        typer.Argument(metavar="PATH", help="A folder; or a file, whose links into its folder are checked."),
    ],
    all_files: Annotated[
        bool, typer.Option("--all-files", help="Report missing files that are not Markdown, too.")
    ] = False,
    as_json: Json = False,
    jobs: Jobs = None,
) -> None:
    """Report links to files and headings that do not exist; the exit status is then 1."""
    started = time.monotonic()
    if path == STANDARD_INPUT:
        raise typer.BadParameter("links are checked within a folder; name a file of it", param_hint="PATH")
    if not os.path.exists(path):
        raise typer.BadParameter(f"{path} does not exist", param_hint="PATH")
    folder = path if os.path.isdir(path) else os.path.dirname(path) or "."
    errors = _Errors()
    broken = 0
    console = _output()
    with _ending_cleanly():
        pages, asked_for = _read_pages(folder, path, jobs, errors)
        checker = Checker(Folder(folder), pages, all_files=all_files)
        for page in asked_for:
            for finding in checker.findings(page):
                broken += 1
                if as_json:
                    sys.stdout.write(finding_line(finding))
                else:
                    _print_finding(console, finding)
    links = sum(len(page.document.links) for page in asked_for)
    verdict = f"{broken} broken of {_count(links, 'link')} in {_count(len(asked_for), 'file')}"
    _summary(verdict, started)
    raise typer.Exit(1 if broken or errors.count else 0)


@app.command()
def page(
    path: Annotated[str, typer.Argument(metavar="FOLDER", help="A folder; by default the current one.")] = ".",
    output: Annotated[
        str, typer.Option("--output", "-o", metavar="FILE", help='The page to write; "-" is standard output.')
    ] = "docmap.html",
    title: Annotated[
        Optional[str],  # noqa: UP045 (typer reads the annotation at run time)
        typer.Option("--title", help="What the folder is called; by default as its index or README says."),
    ] = None,
    link: Annotated[
        Optional[str],  # noqa: UP045
        typer.Option(
            "--link",
            metavar="TEMPLATE",
            help="Address of a line of a file: https://host/blob/main/docs/{path}#L{line} or "
            "vscode://file/{path}:{line}; by default the file itself, relative to the page.",
        ),
    ] = None,
    open_page: Annotated[bool, typer.Option("--open", help="Open the page in a browser.")] = False,
    jobs: Jobs = None,
) -> None:
    """Write one HTML page that shows what is in a folder: documents, search, picture of links, broken links."""
    started = time.monotonic()
    if not os.path.isdir(path):
        raise typer.BadParameter(f"{path} is not a folder", param_hint="FOLDER")
    if link is not None and ("{path}" not in link or link.lower().startswith(("javascript:", "data:"))):
        raise typer.BadParameter("an address with {path} in it, and perhaps {line}", param_hint="--link")
    errors = _Errors()
    with _ending_cleanly():
        pages, _ = _read_pages(path, path, jobs, errors)
        root = os.path.abspath(path)
        # Seen from standard output the documents have no address.
        base = None if output == STANDARD_INPUT else _address(root, os.path.dirname(os.path.abspath(output)))
        if base is None and link is None and output != STANDARD_INPUT:
            _note("the page lies so far from the folder that it has no links into the files; see --link and -o")
        checker = Checker(Folder(path), pages, all_files=False)
        # The first step keeps a name such as "javascript:x.md" from being read as a scheme.
        template = link if link is not None or base is None else f"./{quote(base)}/{{path}}#L{{line}}"
        folder = folder_map(path, described(pages, checker), title=title, link=template, base=base and quote(base))
        try:
            text = render(folder)
            if output == STANDARD_INPUT:
                sys.stdout.write(text)
            else:
                Path(output).write_text(text, "utf-8", newline="\n")
        except LibraryMissingError:
            _note(f"the page needs a drawing library; this installs it: {how_to_install()}")
            raise typer.Exit(1) from None
        except OSError as error:
            if isinstance(error, BrokenPipeError):
                raise
            errors.say(output, error.strerror or str(error))
            raise typer.Exit(1) from None
    sections = sum(len(entry["sections"]) for entry in folder["documents"])
    broken = sum(len(entry["broken"]) for entry in folder["documents"])
    name = "" if output == STANDARD_INPUT else f"{output}: "
    counts = f"{_count(len(pages), 'file')}, {_count(sections, 'section')}, {broken} broken"
    _summary(f"{name}{counts}; {len(text) / 1e6:.1f} MB", started)
    if open_page and output != STANDARD_INPUT:
        typer.launch(Path(output).absolute().as_uri())
    raise typer.Exit(1 if errors.count else 0)


def _address(folder: str, origin: str) -> str | None:
    """The address of a folder seen from another; None where that would have to name the way from the root."""
    try:
        if os.path.commonpath([folder, origin]) == os.path.abspath(os.sep) != folder:
            return None
        return os.path.relpath(folder, origin).replace(os.sep, "/")
    except ValueError:  # on another drive
        return None


def _read_pages(folder: str, path: str, jobs: int | None, errors: _Errors) -> tuple[list[Page], list[Page]]:
    """Read the pages of a folder; also return those of them that `path` (it or a file in it) asks for."""
    files = list(find_files([folder] if folder == path else [folder, path], errors.folder))
    read = map_in_order(read_page, files, jobs or default_jobs(len(files)))
    pages: list[Page] = []
    asked_for: list[Page] = []
    with closing(track(read, len(files), _progress_console(streaming=False))) as results:
        for file, page in zip(files, results, strict=True):
            is_asked_for = folder == path or os.path.abspath(file.path) == os.path.abspath(path)
            if isinstance(page, Unreadable):
                if is_asked_for:
                    errors.say(file.shown, page.reason)
                continue
            pages.append(page)
            if is_asked_for:
                _note_replaced(page.document)
                asked_for.append(page)
    return pages, asked_for


def main() -> None:
    """Run the command and exit with its status."""
    for stream in (sys.stdout, sys.stderr):
        # A file name or an old terminal's encoding must not end the run halfway.
        if hasattr(stream, "reconfigure"):
            stream.reconfigure(errors="replace")
    signal.signal(signal.SIGTERM, _terminate)
    # Run as a module, it would else name itself, and its completion, after the interpreter.
    app(prog_name="docmap")


def _terminate(number: int, _frame: object) -> None:
    # As an exception it takes down the progress bar and the processes on its way.
    sys.exit(128 + number)
