"""The code host: where a repository's documents are read when no site is made of them."""

from __future__ import annotations

import re
from collections.abc import Iterator

from docmap.facts import DOLLARS, EMBED, FRONT_MATTER, WIKI, Facts, Heading, Link
from docmap.headings import bare_text, spaced_text
from docmap.repository import Repository
from docmap.sites import slugs
from docmap.sites.resolution import Resolution, found
from docmap.sites.rules import Rules
from docmap.sites.site import Site
from docmap.sites.ways import file_beside, file_from_root, itself, site_file

KIND = "code-host"

# What a host shows beside a repository's files: ../../issues leads there from a file of the root folder.
_BESIDE = re.compile(
    r"\.\./\.\./(?:-|actions|archive|blame|blob|branches|commits?|compare|deployments|discussions|edit|fork|forks|graphs"
    r"|issues|labels|merge_requests|milestones?|network|new|packages|pipelines|projects?|pulls?|pulse|raw|releases"
    r"|security|settings|stargazers|subscription|tags|tree|watchers|wiki)(?:/.*)?"
)


def _beside_files(site: Site, link: Link, source: str) -> Resolution | None:
    """A path that leaves the files, for the host's own pages or for another repository."""
    place = "" if link.path.startswith("/") else site.place(link.path, source)
    if not place.startswith(".."):
        return None
    # ../main/LICENSE is a file of a branch: the host has its name between the repository and the file.
    in_branch = re.fullmatch(r"\.\./[^./][^/]*/(.+)", place)
    if in_branch is not None:
        return site_file(site, in_branch[1])
    return found() if _BESIDE.fullmatch(place) or place == "../.." or place.startswith("../../..") else None


def _as_compared(anchor: str) -> str:
    """Ids carry a prefix on the host, which its script adds to what a link asks for."""
    return anchor.removeprefix("user-content-")


def _text(heading: Heading) -> str:
    """GitHub knows neither alternative texts nor comments, and keeps the spaces beside them."""
    return bare_text(heading) or spaced_text(heading)


def _on_other_hosts(site: Site, page: str, facts: Facts) -> Iterator[str]:
    """Other hosts know alternative texts, or drop the spaces at the ends."""
    for heading in facts.headings:
        bare = bare_text(heading)
        if bare:
            yield slugs.github(heading.text)
            yield slugs.github(bare.strip())


RULES = Rules(
    kind=KIND,
    ways={"link": (itself, file_beside, file_from_root, _beside_files), WIKI: (), EMBED: ()},
    needs_suffix=True,
    slug=slugs.github,
    heading_text=_text,
    more_anchors=_on_other_hosts,
    html_headings=True,
    compare=_as_compared,
    literal=frozenset({"comment", FRONT_MATTER, *DOLLARS}),
    case_doubt="GitHub's script finds it in any letter case; other hosts do not",
    # Lines of the source, and what the host itself marks.
    always=r"|top|:~:.*|L\d+(?:C\d+)?(?:-L?\d+(?:C\d+)?)?|readme|readme-ov-file|(?:user-content-)?fn(?:ref)?-.*",
)


def find(repository: Repository) -> Iterator[str]:
    """Nothing defines one: it is what remains."""
    yield from ()


def make(repository: Repository, root: str) -> Site | None:
    """The code host's view of the whole repository."""
    return Site(RULES, repository, root)
