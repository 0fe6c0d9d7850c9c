"""Markdown documents as the outline a reader sees, and the links they make."""

import logging
import re as re
import types as _types
from collections.abc import Callable, Iterator, Mapping, MutableSequence, Sequence
from typing import Any, NamedTuple, Protocol, SupportsIndex, TypeVar

import yaml as yaml
from quarnel.engines.references import REF_DOC_LINK as REF_DOC_LINK
from quarnel.engines.references import REF_WIKI_LINK as REF_WIKI_LINK
from quarnel.engines.references import ReferenceInfo as ReferenceInfo
from quarnel.models import Symbol as Symbol
from tree_sitter import Node as Node

class _BlockNode(Protocol):
    """What the engine reads of a block-tree node; a tree_sitter.Node is one."""

    @property
    def type(self) -> str: ...
    @property
    def children(self) -> Sequence[Any]: ...
    @property
    def start_point(self) -> tuple[int, int]: ...
    @property
    def text(self) -> bytes | None: ...

class _Section(Protocol):
    """What extract_links reads of a section; a Symbol is one."""

    @property
    def start_line(self) -> int: ...
    @property
    def end_line(self) -> int: ...
    @property
    def fqn(self) -> str: ...

class _WikiMatch(Protocol):
    """What _wiki_target reads of a match; a match of _WIKI_LINK is one."""

    def group(self, number: int, /) -> Any: ...

_AnyNode = TypeVar("_AnyNode", bound=_BlockNode)

logger: logging.Logger

_LEVEL_MARKERS: _types.MappingProxyType[str, int]
_ATX_HEADING: str
_SETEXT_HEADING: str
_CONTAINERS: frozenset[str]
_YAML_FRONT_MATTER: str
_TOML_FRONT_MATTER: str
_TITLE: str
_DESCRIPTION: str
MAX_FRONT_MATTER_LENGTH: int
PATH_SEPARATOR: str
MAX_PATH_LENGTH: int
ELLIPSIS: str
MAX_INLINE_LENGTH: int

_CLOSING_SEQUENCE: re.Pattern[str]
_CODE_SPAN: re.Pattern[str]
_DESTINATION: str
_IMAGE: re.Pattern[str]
_LINK: re.Pattern[str]
_AUTOLINK: re.Pattern[str]
_HTML: re.Pattern[str]
_EMPHASES: tuple[re.Pattern[str], re.Pattern[str], re.Pattern[str]]
_ESCAPE: re.Pattern[str]
_TOML_FIELD: re.Pattern[str]
_TOML_TABLE: re.Pattern[str]
_INLINE_NODES: frozenset[str]
_LINK_CONTAINERS: frozenset[str]
_REFERENCE_DEFINITION: str
_DESTINATION_NODE: str
_INLINE_LINK: re.Pattern[str]
_WIKI_LINK: re.Pattern[str]
_EXTERNAL: re.Pattern[str]

class _Heading(NamedTuple):
    name: str
    level: int
    first_row: int
    summary: str | None

class _FrontMatter(NamedTuple):
    title: str | None
    description: str | None

def extract_sections(
    root: _BlockNode,
    source: str,
    prefix: str,
    file_id: int,
    *,
    unique_fqn: Callable[[str], str],
    cap_docstring: Callable[[str], str | None],
) -> list[Symbol]: ...
def extract_links(root: _BlockNode, sections: Sequence[_Section]) -> list[ReferenceInfo]: ...
def _blocks(root: _AnyNode) -> Iterator[_AnyNode]: ...
def _block_after(blocks: Sequence[_AnyNode], index: SupportsIndex) -> _AnyNode | None: ...
def _text(node: _BlockNode) -> str: ...
def _heading(node: _BlockNode, following: _BlockNode | None) -> _Heading: ...
def _summary(block: _BlockNode | None) -> str | None: ...
def _section_ends(headings: Sequence[_Heading], lines: Sequence[str]) -> list[int]: ...
def _last_text_row(lines: Sequence[str], floor: SupportsIndex, row: SupportsIndex) -> int: ...
def _heading_path(names: Sequence[str]) -> str: ...
def _front_matter(node: _BlockNode, prefix: str) -> _FrontMatter: ...
def _field(fields: Mapping[str, Any], key: str) -> str | None: ...
def _yaml_fields(body: str, prefix: str) -> dict[str, Any]: ...
def _toml_fields(body: str) -> dict[str, str]: ...
def _toml_string(literal: str) -> str: ...
def _with_front_matter(
    headings: MutableSequence[_Heading], front: _FrontMatter, following: _BlockNode | None
) -> MutableSequence[_Heading]: ...
def _plain_text(markdown: str) -> str: ...
def _unmarked(text: str) -> str: ...
def _link_targets(root: _BlockNode) -> Iterator[tuple[str, str, int]]: ...
def _inline_targets(markdown: str, first_line: SupportsIndex) -> Iterator[tuple[str, str, int]]: ...
def _destination(written: str) -> str | None: ...
def _wiki_target(match: _WikiMatch) -> str | None: ...
def unquote(text: str) -> str: ...
def _section_at(sections: Sequence[_Section], line: SupportsIndex) -> str | None: ...
