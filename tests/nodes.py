"""Block-tree nodes for tests: parsed ones, and stand-ins that can misbehave."""

import importlib.util

import pytest
import quarnel.engines.references
import quarnel.models
import tree_sitter
import tree_sitter_markdown
from quarnel.engines import markdown
from quarnel.engines.rules import FqnNumbering, cap_docstring

PARSER = tree_sitter.Parser(tree_sitter.Language(tree_sitter_markdown.language()))


def parse(source):
    return PARSER.parse(source.encode()).root_node


class Node:
    """A stand-in node: `Node("paragraph", text=b"...")`. Its children are further arguments."""

    def __init__(self, type, *children, row=0, text=b""):
        self.type, self.children, self.start_point, self.text = type, list(children), (row, 0), text


def inline(text, row=0):
    return Node("inline", row=row, text=text.encode("utf-8", "surrogatepass"))


def heading(level, text, row=0):
    return Node("atx_heading", Node(f"atx_h{level}_marker"), inline(text, row), row=row)


def paragraph(text, row=0):
    return Node("paragraph", inline(text, row), row=row, text=text.encode())


def document(*children):
    return Node("document", *children)


def sections(source, prefix="P", root=None, **host):
    """The symbols of a source text. The host has the usual rules unless `host` gives others."""
    host = {"unique_fqn": FqnNumbering(), "cap_docstring": cap_docstring} | host
    return markdown.extract_sections(root or parse(source), source, prefix, 7, **host)


def load_module(Symbol=quarnel.models.Symbol, ReferenceInfo=quarnel.engines.references.ReferenceInfo):
    """A new module object that makes records of the given types."""
    origin = importlib.util.find_spec("quarnel.engines.markdown")
    module = importlib.util.module_from_spec(origin)
    with pytest.MonkeyPatch.context() as patch:
        patch.setattr(quarnel.models, "Symbol", Symbol)
        patch.setattr(quarnel.engines.references, "ReferenceInfo", ReferenceInfo)
        origin.loader.exec_module(module)
    return module


class Counting:
    """Counts the uses of all objects that share it. At the use `act_at`, it calls `act`; the default raises Failure."""

    def __init__(self, act_at=None, act=None):
        self.uses, self.act_at, self.act = 0, act_at, act or self.fail

    def use(self):
        self.uses += 1
        if self.uses == self.act_at:
            self.act()

    def fail(self):
        raise Failure(self.uses)

    def counted(self, function):
        def call(*args, **keywords):
            self.use()
            return function(*args, **keywords)

        return call


class Failure(Exception):
    pass


class CountedNode:
    """A wrapper around a node that counts every read of an attribute."""

    def __init__(self, node, counting):
        object.__setattr__(self, "_held", (node, counting))

    def __getattribute__(self, name):
        node, counting = object.__getattribute__(self, "_held")
        counting.use()
        value = getattr(node, name)
        return [CountedNode(child, counting) for child in value] if name == "children" else value
