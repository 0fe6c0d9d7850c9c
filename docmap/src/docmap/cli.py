"""The command line."""

from __future__ import annotations

import os
import signal
import sys
import time
from collections.abc import Callable, Generator, Mapping, Sequence
from contextlib import closing
from functools import partial
from pathlib import Path
from typing import TYPE_CHECKING, Any
from urllib.parse import quote

import click

from docmap.documents import STANDARD_INPUT, find_files
from docmap.jobs import collecting_rarely, default_jobs, map_in_order, track
from docmap.messages import (
    Errors,
    count_of,
    ending_cleanly,
    is_output_lost,
    note,
    note_replaced,
    relative,
    summary,
)
from docmap.roots import common_folder, root_of

# What only one of the commands needs is imported there, so that none waits for it.
if TYPE_CHECKING:
    from docmap.checking import Checked, Held

_as_json = click.option("--json", "as_json", is_flag=True, help="Print JSON Lines instead of text.")
_jobs = click.option(
    "--jobs", "-j", type=click.IntRange(min=1), help="Number of processes; by default one for few files."
)


def _print_version(context: click.Context, _option: click.Parameter, wanted: bool) -> None:
    if wanted:
        from docmap import __version__

        click.echo(f"docmap {__version__}")
        context.exit()


def _print_completion(context: click.Context, shell: str | None) -> None:
    if shell is not None:
        from click.shell_completion import get_completion_class

        completion = get_completion_class(shell)
        assert completion is not None
        click.echo(completion(app, {}, "docmap", "_DOCMAP_COMPLETE").source())
        context.exit()


@click.group(name="docmap", no_args_is_help=True, context_settings={"help_option_names": ["-h", "--help"]})
@click.option(
    "--version",
    is_flag=True,
    is_eager=True,
    expose_value=False,
    callback=_print_version,
    help="Print the version and exit.",
)
@click.option(
    "--show-completion",
    type=click.Choice(["bash", "zsh", "fish"]),
    is_eager=True,
    expose_value=False,
    callback=lambda context, _option, shell: _print_completion(context, shell),
    help="Print the completion for a shell and exit.",
)
def app() -> None:
    """Map a folder of Markdown: its outline, its links, and the links that lead nowhere."""


@app.command()
@click.argument("paths", metavar="PATH...", nargs=-1, required=True)
@click.option("--links", is_flag=True, help="Print each section's links below it.")
@_as_json
@_jobs
def outline(paths: tuple[str, ...], links: bool, as_json: bool, jobs: int | None) -> None:
    """Print the outline of documents: sections, line ranges, first paragraphs.

    PATH: files or folders; "-" is standard input.
    """
    from docmap.json_lines import document_lines
    from docmap.outline import TreePrinter
    from docmap.reading import Unreadable, read_document

    started = time.monotonic()
    _must_exist(paths)
    errors = Errors()
    printer = TreePrinter()
    files = list(find_files(paths, errors.folder))
    # Standard input belongs to this process; its children have none.
    processes = 1 if STANDARD_INPUT in paths else jobs or default_jobs(len(files))
    read = map_in_order(read_document, files, processes)
    file_count = section_count = link_count = 0
    with ending_cleanly(), closing(track(read, len(files), streaming=True)) as results:
        for document in results:
            if isinstance(document, Unreadable):
                errors.say(document.file.shown, document.reason)
                continue
            note_replaced(document)
            file_count += 1
            section_count += len(document.sections)
            link_count += len(document.links)
            if as_json:
                sys.stdout.writelines(document_lines(document))
            else:
                printer.print_outline(document, with_links=links)
    if not files and not errors.count:
        note("there is no Markdown here")
    counts = count_of(file_count, "file"), count_of(section_count, "section"), count_of(link_count, "link")
    summary(", ".join(counts), started)
    raise click.exceptions.Exit(1 if errors.count else 0)


@app.command()
@click.argument("paths", metavar="[PATH]...", nargs=-1)
@click.option("--strict", is_flag=True, help="Show doubtful links, too, and count them as broken.")
@click.option(
    "--format",
    "form",
    metavar="text|json|github",
    default="text",
    show_default=True,
    help="How findings are written.",
)
@click.option("--json", "as_json", is_flag=True, help="The same as --format json.")
@click.option(
    "--exclude", metavar="GLOB", multiple=True, help="Do not judge these documents; may be repeated."
)
@click.option("--ignore", metavar="GLOB", multiple=True, help="Do not judge these targets; may be repeated.")
@click.option(
    "--site", metavar="FOLDER=KIND", multiple=True, help="What kind of site a folder is; may be repeated."
)
@click.option(
    "--root", metavar="FOLDER", help="The folder that all links stay in; by default the repository."
)
@click.option("--verbose", "-v", is_flag=True, help="Say which sites were found.")
@click.option("--no-cache", is_flag=True, help="Neither use nor keep what files hold.")
@_jobs
def check(
    paths: Sequence[str],
    strict: bool,
    form: str,
    as_json: bool,
    exclude: tuple[str, ...],
    ignore: tuple[str, ...],
    site: tuple[str, ...],
    root: str | None,
    verbose: bool,
    no_cache: bool,
    jobs: int | None,
) -> None:
    """Report links that lead nowhere; the exit status is then 1.

    PATH: files and folders whose links are judged; the current folder by default.
    """
    from docmap.columns import Columns
    from docmap.reports import FORMATS

    started = time.monotonic()
    form = "json" if as_json else form
    if form not in FORMATS:
        raise click.BadParameter(f"{form} is none of {', '.join(FORMATS)}", param_hint="--format")
    paths = paths or (".",)
    if STANDARD_INPUT in paths:
        raise click.BadParameter(
            "links are checked within a repository; name a file of it", param_hint="PATH"
        )
    _must_exist(paths)
    errors = Errors()
    with ending_cleanly(), collecting_rarely():
        options = {"exclude": exclude, "ignore": ignore, "site": site, "root": root}
        checked = _checked(paths, options, errors, cached=not no_cache, jobs=jobs)
        if verbose:
            _note_sites(checked)
        write = FORMATS[form]
        counts = {"broken": 0, "doubtful": 0}
        columns = Columns(checked.repository.root)
        shown: dict[str, str] = {}
        report = checked.report()
        for finding in report.findings:
            counts[finding.degree] += 1
            if finding.degree == "broken" or strict:
                if finding.file not in shown:
                    shown[finding.file] = _shown(checked, finding.file)
                sys.stdout.write(write(finding, shown[finding.file], columns))
        for words in checked.config.unused(of_ignore=checked.covers_all):
            note(f"{checked.config.origin or 'options'}: {words}")
    if not checked.documents and not errors.count:
        note("there is no Markdown here")
    doubtful = counts["doubtful"]
    verdict = f"{counts['broken']} broken of {count_of(report.links, 'link')}"
    verdict += f" in {count_of(len(checked.documents), 'file')}"
    if doubtful:
        verdict += f", {doubtful} doubtful" + ("" if strict else " (--strict shows them)")
    summary(verdict, started)
    failed = counts["broken"] or errors.count or (strict and doubtful)
    raise click.exceptions.Exit(1 if failed else 0)


@app.command()
@click.argument("path", metavar="[FOLDER]", default=".")
@click.option(
    "--output",
    "-o",
    metavar="FILE",
    default="docmap.html",
    show_default=True,
    help='The page to write; "-" is standard output.',
)
@click.option("--title", help="What the folder is called; by default as its index or README says.")
@click.option(
    "--link",
    metavar="TEMPLATE",
    help="Address of a line of a file: https://host/blob/main/docs/{path}#L{line} or "
    "vscode://file/{path}:{line}; by default the file itself, relative to the page.",
)
@click.option("--open", "open_page", is_flag=True, help="Open the page in a browser.")
@_jobs
def page(
    path: str, output: str, title: str | None, link: str | None, open_page: bool, jobs: int | None
) -> None:
    """Write one HTML page that shows what is in a folder: documents, search, a picture of links, faults.

    FOLDER: by default the current one.
    """
    from docmap.folder_map import described, folder_map
    from docmap.page import LibraryMissingError, how_to_install, render

    started = time.monotonic()
    _must_exist([path])
    if not os.path.isdir(path):
        raise click.BadParameter(f"{path} is not a folder", param_hint="FOLDER")
    if link is not None and ("{path}" not in link or link.lower().startswith(("javascript:", "data:"))):
        raise click.BadParameter("an address with {path} in it, and perhaps {line}", param_hint="--link")
    errors = Errors()
    with ending_cleanly(), collecting_rarely():
        checked = _checked([path], {}, errors, jobs=jobs, with_sections=True)
        root = os.path.abspath(path)
        # Seen from standard output the documents have no address.
        base = None if output == STANDARD_INPUT else _address(root, os.path.dirname(os.path.abspath(output)))
        if base is None and link is None and output != STANDARD_INPUT:
            note(
                "the page lies so far from the folder that it has no links into the files; see --link and -o"
            )
        # The first step keeps a name such as "javascript:x.md" from being read as a scheme.
        template = link if link is not None or base is None else f"./{quote(base)}/{{path}}#L{{line}}"
        below = os.path.relpath(root, checked.repository.root).replace(os.sep, "/")
        documents = described(checked, "" if below == "." else below)
        folder = folder_map(path, documents, title=title, link=template, base=base and quote(base))
        try:
            text = render(folder)
            if output == STANDARD_INPUT:
                sys.stdout.write(text)
            else:
                Path(output).write_text(text, "utf-8", newline="\n")
        except LibraryMissingError:
            note(f"the page needs a drawing library; this installs it: {how_to_install()}")
            raise click.exceptions.Exit(1) from None
        except OSError as error:
            if isinstance(error, BrokenPipeError):
                raise
            errors.say(output, error.strerror or str(error))
            raise click.exceptions.Exit(1) from None
    sections = sum(len(entry["sections"]) for entry in folder["documents"])
    broken = sum(problem.doubt is None for document in documents for problem in document.problems)
    name = "" if output == STANDARD_INPUT else f"{output}: "
    counts = f"{count_of(len(documents), 'file')}, {count_of(sections, 'section')}, {broken} broken"
    summary(f"{name}{counts}; {len(text) / 1e6:.1f} MB", started)
    if open_page and output != STANDARD_INPUT:
        click.launch(Path(output).absolute().as_uri())
    raise click.exceptions.Exit(1 if errors.count else 0)


def _address(folder: str, origin: str) -> str | None:
    """The address of a folder seen from another; None where that would have to name the way from the root."""
    try:
        if os.path.commonpath([folder, origin]) == os.path.abspath(os.sep) != folder:
            return None
        return os.path.relpath(folder, origin).replace(os.sep, "/")
    except ValueError:  # on another drive
        return None


def _checked(
    paths: Sequence[str],
    options: Mapping[str, Any],
    errors: Errors,
    *,
    cached: bool = True,
    jobs: int | None = None,
    with_sections: bool = False,
) -> Checked:
    """Read what is needed to judge the documents that `paths` name."""
    from docmap.cache import Cache, cache_folder
    from docmap.checking import Checked, read_held, read_packed
    from docmap.config import ConfigError, find_config, read_config

    def read_all(files: Sequence[str], mdx: bool) -> Generator[Held, None, None]:
        processes = jobs or default_jobs(len(files))
        # Only what comes from another process, or is kept, need be packed.
        work: Callable[[str], Held] = partial(read_held if processes == 1 else read_packed, mdx=mdx)
        read = map_in_order(work, files, processes)
        return track(read, len(files), streaming=False) if len(files) > 1 else read

    try:
        shared = common_folder(paths)
    except ValueError:
        raise click.BadParameter("the paths lie on several drives", param_hint="PATH") from None
    cache = Cache(cache_folder() if cached else None)
    try:
        config = read_config(find_config(shared), options)
        root = os.path.abspath(config.root) if config.root else root_of(shared)
        wanted = [os.path.relpath(os.path.abspath(path), root).replace(os.sep, "/") for path in paths]
        outside = [path for path, place in zip(paths, wanted, strict=True) if place.startswith("..")]
        if outside:
            raise click.BadParameter(f"{outside[0]} lies outside of the root {root}", param_hint="PATH")
        wanted = ["" if place == "." else place for place in wanted]
        return Checked(
            root,
            wanted,
            config,
            cache,
            read_all=read_all,
            on_error=lambda path, reason: errors.say(relative(path), reason),
            with_sections=with_sections,
        )
    except ConfigError as error:
        raise click.BadParameter(str(error), param_hint="settings") from None


def _must_exist(paths: Sequence[str]) -> None:
    try:
        os.getcwd()
    except OSError as error:
        note(f"the current folder: {error.strerror}")
        raise click.exceptions.Exit(1) from None
    for path in paths:
        if path != STANDARD_INPUT and not os.path.lexists(path):
            raise click.BadParameter(f"{path} does not exist", param_hint="PATH")


def _shown(checked: Checked, path: str) -> str:
    return relative(os.path.join(checked.repository.root, path))


def _note_sites(checked: Checked) -> None:
    for site in checked.sites:
        if site.pages:
            where = _shown(checked, site.content)
            by = f" ({_shown(checked, site.defined_by)})" if site.defined_by else ""
            note(f"{where}: {site.rules.kind}{by}, {count_of(len(site.pages), 'file')}")


def main() -> None:
    """Run the command and exit with its status."""
    if sys.stdout is None:
        # Closed by the caller. What takes its place refuses all text, and keeps its number from any other file.
        sys.stdout = open(os.devnull)  # noqa: SIM115
    for stream in (sys.stdout, sys.stderr):
        # A file name or an old terminal's encoding must not end the run halfway.
        if hasattr(stream, "reconfigure"):
            stream.reconfigure(errors="replace")
    signal.signal(signal.SIGTERM, _terminate)
    # Run as a module, it would else name itself, and its completion, after the interpreter.
    try:
        status = app.main(prog_name="docmap", standalone_mode=False)
    except click.Abort:
        click.echo("Aborted.", err=True)
        status = 128 + signal.SIGINT
    except click.ClickException as error:
        error.show()
        status = error.exit_code
    except OSError as error:
        if not is_output_lost():
            raise
        note(f"standard output: {error.strerror or error}")
        status = 2
    except ModuleNotFoundError as error:
        if error.name is None or error.name.partition(".")[0] != "quarnel":
            raise
        note(
            f"{error.name} is missing: install quarnel-markdown beside a host, or docmap[stand-in] without one"
        )
        status = 1
    sys.exit(status)


def _terminate(number: int, _frame: object) -> None:
    # As an exception it takes down the progress bar and the processes on its way.
    sys.exit(128 + number)
