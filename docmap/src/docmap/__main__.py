"""Runs the command as `python -m docmap`."""

from docmap.cli import main

main()
