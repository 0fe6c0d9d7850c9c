"""Ways of resolving a link, and readings of configurations, that several kinds of sites share."""

from __future__ import annotations

import posixpath
import re
from collections.abc import Iterator

from docmap.facts import Link
from docmap.repository import Repository
from docmap.sites import literals
from docmap.sites.resolution import MISSING, Resolution, doubtful, found, missing
from docmap.sites.rules import Rules
from docmap.sites.site import Site

# A longer chain of redirects goes round in a circle.
_MOST_REDIRECTS = 5
_SCHEME = re.compile(r"[a-zA-Z][a-zA-Z0-9+.-]*:|//")


def is_elsewhere(target: str) -> bool:
    """Whether a target of a configuration leads out of the site: "https://example.org", "//example.org"."""
    return _SCHEME.match(target) is not None


def base_of(address: str) -> str:
    """The path of a site's own address: "/docs/" of "https://example.org/docs/", "/" where it has none."""
    return re.sub(r"^(?:[a-zA-Z][a-zA-Z0-9+.-]*:)?//[^/?#]*", "", address).partition("?")[0] or "/"


def folders_of(repository: Repository, *names: str) -> Iterator[str]:
    """The folders that hold a file of one of these names."""
    for path in repository.files:
        folder, _, name = path.rpartition("/")
        if name in names:
            yield folder


def configured(repository: Repository, name: str, suffixes: str) -> dict[str, str]:
    """The folders with the first file in each that configures a site: how its path ends, suffixes as a pattern."""
    found: dict[str, str] = {}
    # Looking for a text first takes a fifth of the time.
    for path in (path for path in repository.files if name in path):
        match = re.fullmatch(rf"(?:(.*)/)?{re.escape(name)}{suffixes}", path)
        if match is not None:
            found.setdefault(match[1] or "", path)
    return found


def itself(site: Site, link: Link, source: str) -> Resolution | None:
    """A link without a path leads to the file that it stands in."""
    return None if link.path else found(source)


def file_beside(site: Site, link: Link, source: str) -> Resolution | None:
    """A path relative to the folder of its source, as it lies in the repository."""
    return None if link.path.startswith("/") else site_file(site, site.place(link.path, source))


def file_from_root(site: Site, link: Link, source: str) -> Resolution | None:
    """A path that begins with a slash, from the repository's root."""
    return site_file(site, site.normalised_path(link.path).lstrip("/")) if link.path.startswith("/") else None


def file_from_content(site: Site, link: Link, source: str) -> Resolution | None:
    """A path that begins with a slash, from the site's content root."""
    if not link.path.startswith("/"):
        return None
    return site_file(site, site.normalised_path(posixpath.join(site.content, link.path.lstrip("/"))))


def site_file(site: Site, place: str) -> Resolution | None:
    """The file at this path of the repository, or a folder that is there; None when nothing is."""
    place = "" if place == "." else place
    if place in site.repository.files:
        return found(place) if site.repository.is_document(place) else found()
    return found() if place in site.repository.folders else None


def page_at_address(site: Site, link: Link, source: str) -> Resolution | None:
    """The address that a browser makes of the path, among the pages and static files of the site."""
    if _leaves_base(site, link, source):
        return None
    return at_address(site, site.address_of(link.path, source))


def _leaves_base(site: Site, link: Link, source: str) -> bool:
    """Whether a path leads above the site's own address, which at the root of a host no path can."""
    return ".." in link.path and bool(site.rules.base.strip("/")) and site.climbs_out(link.path, source)


def at_address(site: Site, address: str, hops: int = 0) -> Resolution | None:
    """What the site serves at an address: a page, a file, a redirect's end. None when nothing is there."""
    pages = site.pages_by_address.get(address)
    if pages:
        return found(*pages)
    target = site.rules.redirects.get(address)
    if target is not None:
        path = target.partition("#")[0]
        # A chain of redirects ends somewhere; where it goes out of the site nobody follows.
        if hops > _MOST_REDIRECTS or not path.startswith("/"):
            return found()
        return at_address(site, site.normalised_address(path), hops + 1) or found()
    if address in site.rules.other_pages:
        return found()
    path = address.strip("/")
    for folder in site.rules.static:
        if posixpath.join(folder, path) in site.repository.files:
            return found()
    copies = site.rules.not_copied is not None and not path.lower().endswith(site.rules.not_copied)
    return found() if copies and posixpath.join(site.content, path) in site.repository.files else None


def outside_base(site: Site, link: Link, source: str) -> Resolution | None:
    """A path that begins with a slash, on the site's host but not below the site's own address."""
    base = site.rules.base.rstrip("/")
    if base and link.path.startswith("/") and not (link.path + "/").startswith(base + "/"):
        return doubtful(f"served by the site's host outside {base}/?")
    return None


def outside_content(site: Site, link: Link, source: str) -> Resolution | None:
    """A file of the repository outside of the site's content, which the site does not have."""
    place = site.place(link.path, source)
    outside = site.within(place, site.content) is None
    if not link.path.startswith("/") and outside and place in site.repository.files:
        return nothing_because(
            site, link, source, f"{place} lies outside {site.content}/, so the site does not have it"
        )
    return None


def by_web_server(site: Site, link: Link, source: str) -> Resolution | None:
    """What web servers add to an address: a slash to that of a folder, ".html" to that of a page."""
    address = site.address_of(link.path, source)
    if address.endswith("/") or _leaves_base(site, link, source):
        return None
    in_folder = at_address(site, address + "/")
    if in_folder is not None:
        return in_folder
    if at_address(site, address + ".html") is not None:
        return doubtful(f'does the web server find {address}.html under "{address}"?')
    return None


def as_host_serves(site: Site, link: Link, source: str) -> Resolution | None:
    """`by_web_server`, where the program itself answers for the page without its suffix."""
    resolution = by_web_server(site, link, source)
    return at_address(site, site.address_of(link.path, source) + ".html") if resolution is not None else None


def must_exist(site: Site, link: Link, source: str) -> Resolution | None:
    """The last way of images that a build takes in: one relative to the source is a file, or the build fails."""
    if link.path.startswith("/"):
        return None
    why = site.repository.doubt(site.place(link.path, source))
    return missing() if why is None else doubtful(why)


def nothing_because(site: Site, link: Link, source: str, why: str) -> Resolution:
    """The answer when nothing is there, and why; the site may still make such an address."""
    resolution = site.nothing_at(link.path, source)
    return missing(why) if resolution.outcome == MISSING else resolution


def as_hosted(rules: Rules, repository: Repository, root: str) -> Rules:
    """The rules with the redirects of hosts: _redirects and netlify.toml."""
    pairs: list[tuple[str, str]] = []
    for folder in dict.fromkeys((*rules.static, root, "")):
        lines = (repository.text(posixpath.join(folder, "_redirects")) or "").splitlines()
        pairs += [(words[0], words[1]) for line in lines if len(words := line.split()) > 1]
    for folder in dict.fromkeys((root, "")):
        settings = literals.toml(repository.text(posixpath.join(folder, "netlify.toml")))
        entries = literals.entries(settings, "redirects")
        pairs += [(literals.text(entry, "from"), literals.text(entry, "to")) for entry in entries]
    if not pairs:
        return rules
    redirects, made = dict(rules.redirects), dict(rules.made)
    for old, new in pairs:
        # One of all addresses ("/*") would make every link right.
        if not old.startswith("/") or old == "/*":
            continue
        # "/a/*" is for "/a" as well, and "/a/:name" for one step below it.
        if "*" in old or "/:" in old:
            pattern = re.escape(old).replace(r"/\*", "(?:/.*)?").replace(r"\*", ".*")
            made[re.sub(r"/:\w+", "/[^/]+", pattern)] = None
        else:
            redirects |= {old.rstrip("/"): new, old.rstrip("/") + "/": new}
    return rules.changed(redirects=redirects, made=made)


def redirects_of(pairs: object) -> dict[str, str]:
    """Old address -> new one, from a mapping of addresses; both begin with "/" unless they lead elsewhere."""
    redirects = {}
    for old, new in pairs.items() if isinstance(pairs, dict) else ():
        if isinstance(old, str) and isinstance(new, str):
            old = "/" + old.lstrip("/")
            new = (
                new if is_elsewhere(new) else posixpath.normpath(posixpath.join(posixpath.dirname(old), new))
            )
            redirects[old] = new
    return redirects
