"""Writes trees of files, and runs the command on them."""

import json

from click.testing import CliRunner
from docmap.cli import app


def write_tree(root, files):
    for path, content in files.items():
        file = root / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_bytes(content if isinstance(content, bytes) else content.encode())


def run(*arguments, stdin=None):
    return CliRunner().invoke(app, [str(argument) for argument in arguments], input=stdin)


def records(*arguments, stdin=None):
    return [json.loads(line) for line in run(*arguments, stdin=stdin).stdout.splitlines()]
