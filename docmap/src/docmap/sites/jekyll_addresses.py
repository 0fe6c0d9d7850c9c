"""How a site of Jekyll makes addresses of its files."""

from __future__ import annotations

import posixpath
import re
from collections.abc import Mapping, Sequence
from typing import Any

from pathspec import GitIgnoreSpec

from docmap.facts import Facts
from docmap.sites import literals
from docmap.sites.site import Site

SUFFIXES = (".md", ".markdown", ".mkdown", ".mkdn", ".mkd")
# The patterns that names of styles stand for, as settings give these.
_STYLES = {
    "date": "/:categories/:year/:month/:day/:title:output_ext",
    "pretty": "/:categories/:year/:month/:day/:title/",
    "ordinal": "/:categories/:year/:y_day/:title:output_ext",
    "weekdate": "/:categories/:year/W:week/:short_day/:title:output_ext",
    "none": "/:categories/:title:output_ext",
}
# All fields that an address can follow from.
_FIELDS = ("categories", "category", "date", "permalink", "published", "redirect_from", "slug")
# Year, month, day and name of a post's file.
_POST = re.compile(r"(?:.*/)?_posts/(?:.*/)?(\d{4})-(\d{1,2})-(\d{1,2})-([^/]+)")


class Pages:
    """How one site makes addresses of its files."""

    def __init__(self, config: Mapping[str, Any], root: str, on_host: bool, plugins: frozenset[str]) -> None:
        self.root = root
        style = literals.text(config, "permalink", otherwise="date")
        self.permalink = _STYLES.get(style, style)
        collections = config.get("collections")
        self.collections: dict[str, dict[str, Any]] = {
            str(name): options if isinstance(options, dict) else {}
            for name, options in (
                collections.items()
                if isinstance(collections, dict)
                else ((name, {}) for name in literals.texts(collections))
            )
        }
        self.defaults = [entry for entry in literals.entries(config, "defaults") if isinstance(entry, dict)]
        self.folder = literals.text(config, "collections_dir").strip("/")
        self.without_front_matter = on_host or "jekyll-optional-front-matter" in plugins
        self.readme_index = on_host or "jekyll-readme-index" in plugins
        self.redirects = on_host or "jekyll-redirect-from" in plugins
        left_out = [*literals.texts(config.get("exclude")), "/vendor/", "/node_modules/", "/_site/"]
        self.left_out = GitIgnoreSpec.from_lines("/" + line.lstrip("/") for line in left_out)
        self.included = frozenset(name.strip("/") for name in literals.texts(config.get("include")))

    def addresses(self, site: Site, page: str, facts: Facts) -> Sequence[str]:
        """Those of a page; () for what is left out or not published."""
        place = site.within(page, self.root) or page
        return () if _is_unpublished(place, facts) else self._addresses(place, facts)

    def drafts(self, site: Site, page: str, facts: Facts) -> Sequence[str]:
        """The addresses that a draft would have: as a post of some day, where it has none of its own."""
        place = site.within(page, self.root) or page
        if not _is_unpublished(place, facts):
            return ()
        above, sign, below = place.rpartition("_drafts/")
        folder, name = posixpath.split(below)
        return self._addresses(f"{above}_posts/{folder}/2000-01-01-{name}" if sign else place, facts)

    def _addresses(self, place: str, facts: Facts) -> Sequence[str]:
        """The addresses of a file at this place below the root; () for one that the site does not have."""
        steps = place.split("/")
        hidden = [step for step in steps if step.startswith(("_", ".")) and step not in self.included]
        own = facts.fields_with(*_FIELDS)
        if self.left_out.match_file(place):
            return ()
        if facts.front_matter is None and not (self.without_front_matter or "_posts" in steps):
            # Without front matter a file is copied as it is.
            return (f"/{place}",)
        fields = {**self._default_fields(place), **own}
        post = _POST.fullmatch(posixpath.splitext(place)[0])
        if post is not None:
            return self._forms(self._post(place, post, fields), fields)
        collection = next((name for name in self.collections if self._in_collection(name, place)), None)
        if collection is not None:
            if self.collections[collection].get("output") is not True:
                return ()
            return self._forms(self._document(collection, place, fields), fields)
        if hidden:
            return ()
        return self._forms(self._page(place, fields), fields)

    def _default_fields(self, place: str) -> dict[str, Any]:
        fields: dict[str, Any] = {}
        for entry in self.defaults:
            path = literals.text(entry, "scope", "path").strip("/")
            kind = literals.get(entry, "scope", "type")
            of_kind = kind is None or (
                "_posts" in place.split("/")
                if kind == "posts"
                else place.startswith(f"_{kind}/") or (kind == "pages" and place[0] != "_")
            )
            if of_kind and _is_in_scope(place, path):
                fields.update(literals.table(entry, "values"))
        return fields

    def _in_collection(self, name: str, place: str) -> bool:
        return place.startswith(posixpath.join(self.folder, f"_{name}", ""))

    def _post(self, place: str, post: re.Match[str], fields: Mapping[str, Any]) -> str:
        """The address of a post; `post`: what _POST found in its path."""
        year, month, day, title = post.groups()
        dated = re.match(r"(\d{4})-(\d\d)-(\d\d)", str(fields.get("date") or ""))
        if dated is not None:
            year, month, day = dated.groups()
        categories = fields.get("categories") or fields.get("category") or []
        names = categories.split() if isinstance(categories, str) else literals.texts(categories)
        above = place.partition("_posts/")[0].strip("/")
        names = [*(above.split("/") if above else []), *names]
        slug = fields.get("slug")
        values = {
            "categories": "/".join(name.lower().replace(" ", "-") for name in dict.fromkeys(names)),
            "year": year, "month": month.zfill(2), "day": day.zfill(2), "i_month": month, "i_day": day,
            "title": slug if isinstance(slug, str) else title, "slug": _slug(title), "output_ext": ".html",
            "short_year": year[2:], "name": title, "basename": title, "path": title, "collection": "posts",
        }  # fmt: skip
        own = fields.get("permalink")
        pattern = literals.text(self.collections.get("posts"), "permalink") or self.permalink
        return _filled(own if isinstance(own, str) else pattern, values)

    def _document(self, name: str, place: str, fields: Mapping[str, Any]) -> str:
        """The address of a document in the collection `name`."""
        path = posixpath.splitext(place[len(posixpath.join(self.folder, f"_{name}", "")) :])[0]
        default = "/:collection/:path/" if self.permalink.endswith("/") else "/:collection/:path:output_ext"
        pattern = literals.text(fields, "permalink") or literals.text(self.collections[name], "permalink")
        base = posixpath.basename(path)
        slug = fields.get("slug")
        values = {
            "collection": name, "path": path, "name": base, "basename": base, "output_ext": ".html",
            "title": slug if isinstance(slug, str) else base, "slug": _slug(base), "categories": "",
        }  # fmt: skip
        return _filled(pattern or default, values)

    def _page(self, place: str, fields: Mapping[str, Any]) -> str:
        """The address of a page that is neither post nor document of a collection."""
        own = fields.get("permalink")
        if isinstance(own, str):
            return _filled(
                own, {"basename": posixpath.splitext(posixpath.basename(place))[0], "output_ext": ".html"}
            )
        stem, _ = posixpath.splitext(place)
        folder, name = posixpath.split(stem)
        if name == "index" or (self.readme_index and name.lower() == "readme"):
            return posixpath.join("/", folder, "")
        return f"/{stem}/" if self.permalink.endswith("/") else f"/{stem}.html"

    def _forms(self, address: str, fields: Mapping[str, Any]) -> list[str]:
        """An address and those that are redirected to it, each as hosts serve it."""
        old = literals.texts(fields.get("redirect_from")) if self.redirects else []
        forms: list[str] = []
        for form in (address, *old):
            form = posixpath.join("/", form)
            stem = re.sub(r"(?:(?<=/)index)?\.html$|/$", "", form)
            if form.endswith("/") or form.endswith("/index.html"):
                forms += [f"{stem.rstrip('/')}/", f"{stem.rstrip('/')}/index.html", stem.rstrip("/") or "/"]
            else:
                # Hosts serve page.html under /page as well.
                forms += [form, stem, f"{stem}.html"] if form != stem else [form, f"{form}.html"]
        return list(dict.fromkeys(forms))


def _is_unpublished(place: str, facts: Facts) -> bool:
    return "_drafts" in place.split("/")[:-1] or facts.fields_with("published").get("published") is False


def _slug(name: str) -> str:
    """What `:slug` stands for."""
    return re.sub(r"[^\w]+", "-", name).strip("-").lower()


def _filled(pattern: str, values: Mapping[str, str]) -> str:
    """The address by a pattern; names in it that `values` does not have stay."""
    # First names that end where something else begins: ":year_:month" names a year. Then the longest of letters.
    path = re.sub(r":(\w+?)(?=:|/|\.|-|$|_?:)", lambda match: values.get(match[1], match[0]), pattern)
    path = re.sub(r":([a-z_]+)", lambda match: values.get(match[1], match[0]), path)
    return re.sub("/{2,}", "/", "/" + path)


def _is_in_scope(place: str, scope: str) -> bool:
    """Whether a file's path begins with that of a scope, which may be a pattern of whole names."""
    if "*" not in scope:
        return place.startswith(scope)
    once = re.sub(r"(?:\*\*/)+", "**/", scope)
    pattern = re.escape(once).replace(r"\*\*/", "(?:.*/)?").replace(r"\*", "[^/]*")
    return re.fullmatch(f"{pattern}(?:/.*)?", place) is not None
