"""Index a folder of Markdown into SQLite: python index_sqlite.py FOLDER DATABASE"""

import sqlite3
import sys
from pathlib import Path

import tree_sitter_markdown
from quarnel.engines.markdown import extract_links, extract_sections
from quarnel.engines.rules import FqnNumbering, cap_docstring
from tree_sitter import Language, Parser

TABLES = """
CREATE TABLE files (id INTEGER PRIMARY KEY, path TEXT UNIQUE);
CREATE TABLE sections (file_id, name, fqn, start_line, end_line, signature, docstring);
CREATE TABLE links (file_id, line, kind, path, anchor, source_fqn);
"""


def index(folder: Path, database: sqlite3.Connection) -> None:
    parser = Parser(Language(tree_sitter_markdown.language()))
    database.executescript(TABLES)
    for file_id, path in enumerate(sorted(folder.rglob("*.md")), 1):
        name = path.relative_to(folder).as_posix()
        # LF line ends, no byte order mark, a newline at the end; ill-formed bytes become U+FFFD.
        text = path.read_bytes().decode("utf-8-sig", "replace").replace("\r\n", "\n")
        text += "" if text.endswith("\n") else "\n"
        root = parser.parse(text.encode()).root_node
        sections = extract_sections(
            root, text, name.removesuffix(".md"), file_id,
            unique_fqn=FqnNumbering(), cap_docstring=cap_docstring,
        )  # fmt: skip
        database.execute("INSERT INTO files VALUES (?, ?)", (file_id, name))
        database.executemany(
            "INSERT INTO sections VALUES (?, ?, ?, ?, ?, ?, ?)",
            [(file_id, s.name, s.fqn, s.start_line, s.end_line, s.signature, s.docstring) for s in sections],
        )
        database.executemany(
            "INSERT INTO links VALUES (?, ?, ?, ?, ?, ?)",
            [
                (file_id, r.line, r.kind, r.name, r.qualifier, r.source_fqn)
                for r in extract_links(root, sections)
            ],
        )
    database.commit()


if __name__ == "__main__":
    index(Path(sys.argv[1]), sqlite3.connect(sys.argv[2]))
