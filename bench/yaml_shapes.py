"""Front matter that makes a YAML reader slow. The engine reads some of it itself, and PyYAML reads the rest."""

from __future__ import annotations

from shapes import Shape, repeat


def numbered(line: str, *, before: str = "", after: str = "") -> Shape:
    """A line, repeated: {i} in it is replaced by the number of the line, {before} by the number of the line before."""

    def make(n: int) -> str:
        parts, size = [], len(before) + len(after)
        while True:
            part = line.replace("{i}", str(len(parts))).replace("{before}", str(len(parts) - 1))
            if size + len(part) > n:
                return before + "".join(parts) + after
            parts.append(part)
            size += len(part)

    return make


def nested(indicator: str, closing: str = "") -> Shape:
    return lambda n: "a: " + indicator * (n // (len(indicator) + len(closing)) - 3) + closing * (n // 2 - 3)


def staircase(n: int) -> str:
    """Mappings, each inside the one before. Lines are indented ever further, so n characters make sqrt(2n) lines."""
    return "".join(" " * depth + "a:\n" for depth in range(int((2 * n) ** 0.5) - 4))


YAML = {
    "keys": numbered("key{i}: value\n"),
    "title, then keys": numbered("key{i}: some value\n", before="title: A title\n"),
    "a long plain title": repeat("word ", before="title: "),
    "a long quoted title": repeat("word ", before='title: "', after='"'),
    "a long single-quoted title": repeat("it''s ", before="title: '", after="'"),
    "a title over many lines": repeat("  word\n", before="title:\n"),
    "block list": numbered("- item {i}\n", before="tags:\n"),
    "mappings in a list": numbered("- name: a{i}\n  date: b\n", before="posts:\n"),
    "comments": repeat("# comment\n", after="title: a\n"),
    "blank lines": repeat("\n", after="title: a\n"),
    "spaces": repeat(" ", before="title: a"),
    "numbers": numbered("key{i}: 12345\n"),
    "one long decimal number": repeat("7", before="title: "),
    "dates": numbered("key{i}: 2024-05-01\n"),
    "times": numbered("key{i}: 2024-05-01T10:00:00Z\n"),
    "one key": repeat("k", after=": a\n"),
    "mappings in mappings": staircase,
    "Chinese title": repeat("今日は", before="title: "),
    "plain text with colons": repeat("a:b", before="title: "),
    "the same key": repeat("title: a\n"),
    "block scalar": repeat("  some text\n", before="title: |\n"),
    "folded scalar": repeat("  some text\n", before="title: >\n"),
    "quotes inside plain text": repeat("a'\"", before="title: a"),
    "flow list": repeat("a, ", before="title: [", after="a]"),
    "flow mapping": numbered("a{i}: b, ", before="title: {", after="}"),
    "flow lists in flow lists": nested("[", "]"),
    "unclosed flow lists": nested("["),
    "list items in list items": nested("- "),
    "complex keys": nested("? "),
    "double-quoted escapes": repeat("\\u0041", before='title: "', after='"'),
    "anchors and aliases": numbered("k{i}: &a{i} x\nl{i}: *a{i}\n"),
    "aliases of aliases": numbered("a{i}: &b{i} [*b{before}, *b{before}]\n", before="a: &b-1 x\n"),
    "aliases of aliases beside a merge key": numbered(
        "a{i}: &b{i} [*b{before}, *b{before}]\n", before="<<: {}\na: &b-1 x\n"
    ),
    "merge keys, one after another": numbered("- &a{i} {k{i}: 1}\n- {<<: *a{i}}\n"),
    "merge keys, each the one before": numbered(
        "- &a{i}\n  <<: *a{before}\n  k{i}: 1\n", before="- &a-1 {x: 1}\n"
    ),
    "merge keys, doubling": numbered("- &a{i} {<<: [*a{before}, *a{before}]}\n", before="- &a-1 {x: 1}\n"),
    "merge keys, three in each": numbered(
        "- &a{i} {<<: *a{before}, <<: *a{before}, <<: *a{before}}\n", before="- &a-1 {x: 1}\n"
    ),
    "value keys, three in each": numbered(
        "- &a{i} {=: *a{before}, =: *a{before}, =: *a{before}}\n", before="- &a-1 {=: x}\n"
    ),
    "one mapping merged often": repeat("- <<: *a\n", before="- &a {x: 1, y: 2, z: 3}\n"),
    "a list of merges": repeat("*a, ", before="- &a {x: 1, y: 2, z: 3}\n- <<: [", after="*a]\n"),
    "hexadecimal number": repeat("f", before="title: 0x"),
    "octal number": repeat("7", before="title: 0"),
    "binary number": repeat("1", before="title: 0b"),
    "base-60 number": repeat(":59", before="title: 1"),
    "base-60 float": repeat(":59", before="title: 1", after=".5"),
    "number with underscores": repeat("1_", before="title: 1", after="1"),
    "tags": repeat("- !!str a\n"),
    "an unknown tag": repeat("a", before="title: !"),
    "documents": repeat("---\na: b\n"),
    "directives": repeat("%YAML 1.1\n"),
    "tabs": repeat("\t", before="title: a\n"),
    "carriage returns": repeat("\r", before="title: a"),
    "escaped line ends": repeat("a\\\n  ", before='title: "', after='"'),
    "an unfinished quote": repeat("a ", before='title: "'),
    "question marks": repeat("?\n"),
}
