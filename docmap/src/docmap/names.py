"""Reads the names that a document gives to what is in it, beside headings and HTML ids: as the target of a link."""

from __future__ import annotations

import re

from docmap.facts import Facts, Named
from docmap.inline import plain
from docmap.source import Source, text_of

# Patterns of whole lines are for `Source.find_lines`.
_BRACES = re.compile(rb"\{(?<!\{\{):?([^{}\n#=]{0,1000}(?:#|=)[^{}\n]{0,1000})\}")
_ID_IN_BRACES = re.compile(rb"""(?:^|[ \t])(?:#([^\s#=]+)|id=(?:"([^"]*)"|'([^']*)'|([^\s"']+)))(?![^ \t])""")
_BLOCK_ID = re.compile(rb"\^(?<![^ \t\n]\^)([A-Za-z0-9-]+)[ \t]*$", re.MULTILINE)
_TARGET = re.compile(rb"\n[ >\t]*\(([^()\n]+)\)=[ \t]*$", re.MULTILINE)
# The name that an option gives what a directive makes (of an equation, its label); and a target in reStructuredText,
# which directives can hold.
_DIRECTIVE_NAME = re.compile(rb"\n[ \t>]*(?::(?:name|label):[ \t]+([^\n]+)|\.\. _([^:\n]+):)")
# The label of an equation: $$ x $$ (label)
_EQUATION = re.compile(rb"\$\$[ \t]*\(([^()\s]+)\)[ \t]*$", re.MULTILINE)
# What stands below a term of a definition list.
_DEFINITION = re.compile(rb"\n[ ]{0,3}[:~][ \t]")


def read_names(source: Source, facts: Facts) -> None:
    """Add the names to the facts of a document whose headings are known."""
    data, signs = source.data, source.signs
    if b"{" in signs:
        heading_lines = {heading.line for heading in facts.headings}
        for match in _BRACES.finditer(data):
            own = _ID_IN_BRACES.search(match[1])
            if own is not None and not source.is_inside_code(match.start()):
                line = source.line_of(match.start())
                if line not in heading_lines:
                    facts.attribute_ids.append(Named(line, plain(text_of(own[own.lastindex or 1]))))
    if b"^" in signs:
        facts.block_ids.extend(
            Named(source.line_of(match.start()), text_of(match[1]))
            for match in _BLOCK_ID.finditer(data)
            if match.start(1) not in source.code
        )
    if b")=" in signs:
        facts.targets.extend(
            Named(source.line_of(begin), text_of(match[1]).strip())
            for begin, match in source.find_lines(_TARGET)
            if begin + match.start(1) - match.start() - 1 not in source.code
        )
    if (b"::" in signs and (b":name:" in data or b":label:" in data)) or b"\n.. _" in data:
        for begin, match in source.find_lines(_DIRECTIVE_NAME):
            facts.targets.append(Named(source.line_of(begin), text_of(match[1] or match[2]).strip()))
    for match in _EQUATION.finditer(data) if b"$$" in signs else ():
        if match.start() not in source.code:
            facts.targets.append(Named(source.line_of(match.start()), text_of(match[1])))
    for match in _DEFINITION.finditer(data) if b"\n:" in signs or b"\n~" in signs else ():
        # One empty line may stand between.
        end = match.start() if data[match.start() - 1 : match.start()] != b"\n" else match.start() - 1
        begin = data.rfind(b"\n", 0, max(end, 0)) + 1
        term = text_of(data[begin:end]).strip()
        if term and term[0] not in ":|>#-~" and begin not in source.code:
            facts.terms.append(Named(source.line_of(begin), term))
