"""The stand-in host's rules and records."""

import pickle

from quarnel.engines.references import REF_DOC_LINK, ReferenceInfo
from quarnel.engines.rules import MAX_DOCSTRING_LENGTH, FqnNumbering, cap_docstring
from quarnel.models import Symbol


def test_numbered_fqns_are_unique_even_when_a_name_looks_numbered():
    unique_fqn = FqnNumbering()
    given = [unique_fqn(fqn) for fqn in ("X", "X#2", "X", "X", "X#2")]
    assert given == ["X", "X#2", "X#3", "X#4", "X#2#2"]


def test_docstrings_are_capped():
    kept = "a" * MAX_DOCSTRING_LENGTH
    assert cap_docstring(kept) == kept
    assert cap_docstring(kept + "b") == kept[:-3] + "..."


def test_records_travel_between_processes():
    symbol = Symbol(None, 1, "A", "section", "f.A", 1, 2, "A", True, None)
    link = ReferenceInfo("b.md", 1, REF_DOC_LINK, None, "f.A")
    for protocol in range(pickle.HIGHEST_PROTOCOL + 1):
        assert pickle.loads(pickle.dumps((symbol, link), protocol)) == (symbol, link)
