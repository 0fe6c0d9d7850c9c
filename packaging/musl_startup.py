"""Makes an interpreter that was made to start one frozen program take a command line, as far as tests need it.

That interpreter imports this as `__startup__`, and calls `init` and `run`; or it has a `__startup__` of its own, which
imports this as `__init__frozen`, for a program of the name `frozen`, and calls `run`.
"""

import os
import runpy
import sys

_NO_MEANING_HERE = {"-I", "-E", "-s", "-S", "-B", "-q", "-u", "-P"}


def init():
    """Do nothing: not every such interpreter calls it."""


def _set_up():
    """Put the packages on the path, and name the program that starts this one with its libraries."""
    sys.executable = sys.executable.removesuffix("frozen") + "python"
    sys.path.append(f"{sys.path[-1]}/site-packages")
    sys.path[:0] = [folder for folder in os.environ.get("PYTHONPATH", "").split(":") if folder]
    import site

    site.addsitedir(sys.path[-1])


def run(*_):
    """Run what the command line names: -c program, -m module or a file."""
    _set_up()
    words = sys.argv[1:]
    while words and words[0] in _NO_MEANING_HERE:
        words.pop(0)
    while words and words[0] in ("-X", "-W"):
        del words[:2]
    if words and words[0] == "-c":
        sys.argv = ["-c", *words[2:]]
        sys.path.insert(0, "")
        exec(compile(words[1], "<string>", "exec"), sys.modules["__main__"].__dict__)
    elif words and words[0] == "-m":
        sys.argv = words[1:]
        sys.path.insert(0, "")
        runpy.run_module(words[1], run_name="__main__", alter_sys=True)
    else:
        sys.argv = words
        sys.path.insert(0, os.path.dirname(os.path.abspath(words[0])))
        runpy.run_path(words[0], run_name="__main__")
