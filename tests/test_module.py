"""The module as a host sees it: its names in order, their kinds, the signatures, and how it is loaded."""

import ast
import importlib.util
import inspect
import logging
import pickle
import re
import subprocess
import sys
import types
from pathlib import Path

import pytest
import quarnel.engines
import tree_sitter
from nodes import Node, document, inline, load_module
from quarnel.engines import markdown

ORDER = ["re", "yaml", "Symbol", "ReferenceInfo", "REF_DOC_LINK", "REF_WIKI_LINK", "logger", "_LEVEL_MARKERS", "_ATX_HEADING", "_SETEXT_HEADING", "_CONTAINERS", "_YAML_FRONT_MATTER", "_TOML_FRONT_MATTER", "_TITLE", "_DESCRIPTION", "MAX_FRONT_MATTER_LENGTH", "PATH_SEPARATOR", "MAX_PATH_LENGTH", "ELLIPSIS", "MAX_INLINE_LENGTH", "_CLOSING_SEQUENCE", "_CODE_SPAN", "_DESTINATION", "_IMAGE", "_LINK", "_AUTOLINK", "_HTML", "_EMPHASES", "_ESCAPE", "_TOML_FIELD", "_TOML_TABLE", "_INLINE_NODES", "_LINK_CONTAINERS", "_REFERENCE_DEFINITION", "_DESTINATION_NODE", "_INLINE_LINK", "_WIKI_LINK", "_EXTERNAL", "_Heading", "_FrontMatter", "extract_sections"]  # fmt: skip
PATTERNS = [name for name in ORDER if isinstance(getattr(markdown, name), re.Pattern)]


def test_names_are_bound_in_order():
    bound = list(vars(markdown))
    assert [name for name in bound if name in ORDER] == ORDER
    functions = [name for name in bound if inspect.isbuiltin(getattr(markdown, name))]
    assert bound[-len(functions) :] == functions and len(functions) == 24


def test_constants():
    assert list(markdown._LEVEL_MARKERS.items()) == [
        *((f"atx_h{level}_marker", level) for level in range(1, 7)), ("setext_h1_underline", 1), ("setext_h2_underline", 2),
    ]  # fmt: skip
    assert {"document", "section", "ERROR"} == markdown._CONTAINERS and isinstance(
        markdown._CONTAINERS, frozenset
    )
    assert {"inline", "pipe_table_cell"} == markdown._INLINE_NODES
    assert markdown._CONTAINERS | {
        "block_quote", "list", "list_item", "paragraph", "atx_heading", "setext_heading", "pipe_table", "pipe_table_header",
        "pipe_table_row",
    } == markdown._LINK_CONTAINERS  # fmt: skip
    values = {
        "MAX_FRONT_MATTER_LENGTH": 65536, "MAX_PATH_LENGTH": 200, "MAX_INLINE_LENGTH": 4000, "PATH_SEPARATOR": " > ",
        "ELLIPSIS": "...", "_ATX_HEADING": "atx_heading", "_SETEXT_HEADING": "setext_heading", "_TITLE": "title",
        "_DESCRIPTION": "description", "_YAML_FRONT_MATTER": "minus_metadata", "_TOML_FRONT_MATTER": "plus_metadata",
        "_REFERENCE_DEFINITION": "link_reference_definition", "_DESTINATION_NODE": "link_destination",
    }  # fmt: skip
    assert {name: getattr(markdown, name) for name in values} == values
    assert markdown.logger is logging.getLogger("quarnel.engines.markdown")
    with pytest.raises(TypeError):
        markdown._LEVEL_MARKERS["inline"] = 1


def test_a_type_that_is_a_character_off_is_no_type_of_ours():
    definition, link = "link_reference_definition", Node("link_destination", text=b"a")
    names = {
        *markdown._LEVEL_MARKERS,
        *markdown._LINK_CONTAINERS,
        *markdown._INLINE_NODES,
        definition,
        link.type,
    }
    for name in names:
        for other in {name[:i] + c + name[i + 1 :] for i in range(len(name)) for c in "07x"} - names:
            node = Node(other, inline("[a](b)"), link, text=b"[a](b)")
            targets = [node, Node(definition, Node(other, text=b"a"))]
            assert list(markdown._blocks(node)) == [node] and not any(
                map(list, map(markdown._link_targets, targets))
            )
            assert markdown._heading(Node("atx_heading", Node(other)), None).level == 1, other


def test_patterns():
    dotall = {"_CODE_SPAN": re.DOTALL, "_HTML": re.DOTALL}
    assert all(getattr(markdown, name).flags == re.UNICODE | dotall.get(name, 0) for name in PATTERNS)
    assert isinstance(markdown._EMPHASES, tuple) and len(markdown._EMPHASES) == 3
    assert all(emphasis.flags == re.UNICODE | re.DOTALL for emphasis in markdown._EMPHASES)
    assert markdown._DESTINATION in markdown._LINK.pattern and markdown._IMAGE.pattern.endswith(
        markdown._DESTINATION
    )


def test_records_are_values():
    heading = markdown._Heading("A", 1, 0, None)
    assert heading == markdown._Heading(name="A", level=1, first_row=0, summary=None) and hash(heading)
    assert pickle.loads(pickle.dumps(heading)) == heading and "heading" in markdown._Heading.__doc__
    assert markdown._Heading._fields == ("name", "level", "first_row", "summary")
    assert markdown._FrontMatter._fields == ("title", "description")
    with pytest.raises(AttributeError):
        heading.name = "B"
    with pytest.raises(TypeError):
        markdown._FrontMatter("T")


def functions_of_the_stub():
    tree = ast.parse((Path(quarnel.engines.markdown.__file__).parent / "markdown.pyi").read_text())
    return {node.name: node for node in tree.body if isinstance(node, ast.FunctionDef)}


@pytest.mark.parametrize("name", sorted(functions_of_the_stub()))
def test_functions_say_what_they_take(name):
    function, stub = getattr(markdown, name), functions_of_the_stub()[name]
    parameters = inspect.signature(function).parameters
    assert [p for p in parameters if parameters[p].kind is inspect.Parameter.POSITIONAL_OR_KEYWORD] == [
        argument.arg for argument in stub.args.args
    ]
    assert [p for p in parameters if parameters[p].kind is inspect.Parameter.KEYWORD_ONLY] == [
        argument.arg for argument in stub.args.kwonlyargs
    ]
    first_line = function.__doc__.splitlines()[0]
    assert first_line.endswith(".") and len(first_line) < 90
    assert all(re.search(rf"^(\w+, )*{p}(, \w+)*: ", function.__doc__, re.MULTILINE) for p in parameters), (
        function.__doc__
    )
    for arguments in ((), (1,) * (len(parameters) + 1)):
        with pytest.raises(TypeError, match=re.escape(f"{name}()")):
            function(*arguments)
    with pytest.raises(TypeError, match="unexpected keyword argument 'é'"):
        function(**{"é": 1})


def test_public_docstrings_open_as_their_users_know_them():
    assert markdown.extract_sections.__doc__.startswith(
        "The sections of a Markdown document, in document order."
    )
    assert markdown.extract_links.__doc__.startswith(
        "The links of a Markdown document to files of the repository, in document order."
    )


@pytest.mark.parametrize(
    "missing", ["yaml", "tree_sitter", "quarnel.models", "quarnel.engines.references", "re"]
)
def test_loading_fails_with_the_imports_own_error(missing):
    program = Path(__file__).parent / "programs" / "load_without.py"
    done = subprocess.run([sys.executable, program, missing], capture_output=True, text=True, check=False)
    assert done.stdout == "ModuleNotFoundError True\n", done.stderr


FOREIGN = {
    "type": types.FunctionType.__dict__["__code__"]
}  # a getter that would read the memory of another type


@pytest.mark.parametrize(
    "node_type",
    [
        None,
        type("Bare", (), {}),
        type("Slots", (), {"__slots__": ("children", "type")}),
        type("Foreign", (), FOREIGN),
    ],
)
def test_anything_may_stand_for_the_bindings_node_type(node_type, monkeypatch):
    monkeypatch.setattr(tree_sitter, "Node", node_type)
    module, exact = load_module(), node_type() if node_type else None
    assert [link.name for link in module.extract_links(document(inline("[a](b)")), [])] == ["b"]
    with pytest.raises((AttributeError, TypeError)):
        module.extract_links(exact, [])


def test_module_objects_are_independent():
    origin = importlib.util.find_spec("quarnel.engines.markdown")
    other = importlib.util.module_from_spec(origin)
    origin.loader.exec_module(other)
    assert other is not markdown and other._Heading is not markdown._Heading
    assert other._plain_text("*a*") == "a"
    assert list(vars(other)) == list(vars(markdown))
