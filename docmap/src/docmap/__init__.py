"""docmap maps a folder of Markdown: its outline, its links, and the links that lead nowhere."""

from importlib.metadata import version

__version__ = version("docmap")
