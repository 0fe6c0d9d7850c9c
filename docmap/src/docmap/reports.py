"""Writes findings: as text for people, as JSON Lines for programs, as annotations for code hosts."""

from __future__ import annotations

from collections.abc import Callable
from typing import Final

from docmap.findings import BROKEN, Finding
from docmap.json_lines import json_line
from docmap.terminal import bold, printable

# Says where in its line a finding's target stands, from 1; None when that is not known.
ColumnOf = Callable[[Finding], "int | None"]


def as_text(finding: Finding, file: str, column_of: ColumnOf) -> str:
    """One line, the place in bold on a terminal."""
    meant = "" if finding.suggestion is None else f'; did you mean "{finding.suggestion}"?'
    doubt = "" if finding.degree == BROKEN else f"; doubtful: {finding.decided_by}"
    return f"{bold(f'{printable(file)}:{finding.line}:')} {printable(finding.message + meant + doubt)}\n"


def as_json(finding: Finding, file: str, column_of: ColumnOf) -> str:
    """One object; its type is the degree."""
    return json_line(
        type=finding.degree,
        file=file,
        line=finding.line,
        column=column_of(finding),
        target=finding.target,
        message=finding.message,
        suggestion=finding.suggestion,
        decided_by=finding.decided_by,
    )


def as_annotation(finding: Finding, file: str, column_of: ColumnOf) -> str:
    """One workflow command, which the code host shows at the line: an error, or a warning for a doubtful one."""
    column = column_of(finding)
    properties = {"file": file, "line": str(finding.line)}
    if column is not None:
        properties["col"] = str(column)
    properties["title"] = f"{finding.degree} link"
    meant = "" if finding.suggestion is None else f'; did you mean "{finding.suggestion}"?'
    doubt = "" if finding.degree == BROKEN else f" ({finding.decided_by})"
    written = ",".join(f"{name}={_escaped(value, ',:')}" for name, value in properties.items())
    command = "error" if finding.degree == BROKEN else "warning"
    return f"::{command} {written}::{_escaped(printable(finding.message + meant + doubt))}\n"


def _escaped(text: str, more: str = "") -> str:
    """Text of a workflow command, in which some characters are written by their codes."""
    for character in "%\r\n" + more:
        text = text.replace(character, f"%{ord(character):02X}")
    return text


FORMATS: Final = {"text": as_text, "json": as_json, "github": as_annotation}
