"""Reads one document many times, and appends what was found, as a line of JSON, to the file that the argument names."""

import json
import sys
from types import SimpleNamespace

try:
    import tree_sitter
except ImportError:
    # The binding may load in one interpreter only. The module needs nothing of it but its node type.
    tree_sitter = sys.modules["tree_sitter"] = type(sys)("tree_sitter")
    tree_sitter.Node = type("Node", (), {})
from quarnel.engines import markdown


def node(type, *children, text=b""):
    return SimpleNamespace(type=type, children=list(children), start_point=(0, 0), text=text)


root = node(
    "document", node("minus_metadata", text=b"---\ntitle: !!str T\n---"), node("inline", text=b"[a](b%20c)")
)
for _ in range(50):
    symbols = markdown.extract_sections(root, "x", "P", 1, unique_fqn=str, cap_docstring=str)
    links = markdown.extract_links(root, symbols)
with open(sys.argv[1], "a") as out:
    print(json.dumps([symbols[0].fqn, links[0].name, links[0].source_fqn]), file=out)
