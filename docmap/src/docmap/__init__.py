"""docmap maps a folder of Markdown: its outline, its links, and the links that lead nowhere."""

from __future__ import annotations


def __getattr__(name: str) -> str:
    # Looked up when asked for, since the search takes longer than all else at the start.
    if name == "__version__":
        from importlib.metadata import version

        return version("docmap")
    raise AttributeError(f"module 'docmap' has no attribute {name!r}")
