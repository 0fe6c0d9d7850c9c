"""Finds the folder that a check is about: the top of the repository around some paths, or of their site."""

from __future__ import annotations

import os
from collections.abc import Sequence

# The pages of a site are often a few folders below what defines it.
_FOLDERS_ABOVE = 3


def common_folder(paths: Sequence[str]) -> str:
    """The innermost folder that all paths lie in, absolute. Raises ValueError for paths on several drives."""
    folders = [path if os.path.isdir(path) else os.path.dirname(path) or "." for path in paths]
    return os.path.commonpath([os.path.abspath(folder) for folder in folders])


def root_of(folder: str) -> str:
    """The top of the Git repository that a folder lies in. Without one, as in an unpacked archive: the nearest of it
    and the folders above, up to three, that defines a site; else the folder itself."""
    from docmap.sites import defines_a_site

    innermost = folder
    above = [folder]
    while not os.path.exists(os.path.join(folder, ".git")):
        if os.path.dirname(folder) == folder:
            return next(filter(defines_a_site, above[: 1 + _FOLDERS_ABOVE]), innermost)
        folder = os.path.dirname(folder)
        above.append(folder)
    return folder
