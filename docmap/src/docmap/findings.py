"""What the check finds: links that lead nowhere, or perhaps so."""

from __future__ import annotations

from typing import Final, NamedTuple

BROKEN: Final = "broken"
IN_DOUBT: Final = "doubtful"


class Finding(NamedTuple):
    """A link that leads nowhere, or perhaps so.

    `file`: relative to the repository; `target`: as the document has it; `suggestion`: a target in its writer's form;
    `decided_by`: the kind of site whose rules deny it, or, of a doubtful one, what cannot be read and decides.
    """

    file: str
    line: int
    target: str
    message: str
    suggestion: str | None
    degree: str
    decided_by: str
