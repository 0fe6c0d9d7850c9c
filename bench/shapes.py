"""Inputs that make a reader slow: each a function from a length to a text of about that length."""

from __future__ import annotations

from collections.abc import Callable, Iterable

Shape = Callable[[int], str]


def repeat(unit: str, *, before: str = "", after: str = "") -> Shape:
    """`unit` repeated, between `before` and `after`."""
    return lambda n: before + unit * ((n - len(before) - len(after)) // len(unit)) + after


def halves(first: str, second: str, *, between: str = "", after: str = "") -> Shape:
    """One unit repeated, then another unit repeated."""
    return lambda n: first * (n // 2 // len(first)) + between + second * (n // 2 // len(second)) + after


def every_run(letter: str, between: str, *, longest: int = 0, after: str = "") -> Shape:
    """Runs of 1, 2, 3, ... letters. After a run of `longest` letters, they start again at 1; with 0, they never do.

    Without `longest`, no two runs are equally long.
    """

    def make(n: int) -> str:
        parts, size, length = [], 0, 1
        while size + length + len(between) <= n - len(after):
            parts.append(letter * length + between)
            size += length + len(between)
            length = 1 if length == longest else length + 1
        return "".join(parts) + after

    return make


def named(shapes: Iterable[str], **more: Shape) -> dict[str, Shape]:
    """A table of shapes. Each text of `shapes` is a unit to repeat, and names itself."""
    return {repr(unit): repeat(unit) for unit in shapes} | more


PROSE = "The quick brown fox jumps over the lazy dog, and then it does so again.\n"
MIXED = "See [the *guide*](guide.md#top) and `code`, **bold _text_** <b>or</b> ~~not~~ \\* 5 < 6.\n"

INLINE = (
    named(
        ("[", "[a](", "![a](", "[a][", "[a]", "![", "[a](b", "[](()", "![a]((", "[\\]", "[!\\["),
        **{
            "prose": repeat(PROSE),
            "mixed markup": repeat(MIXED),
            "Chinese": repeat("今日は、世界。"),
            "emoji": repeat("😀 "),
            "wide white space": repeat("\u2003"),
            "brackets, halves": halves("[", "]"),
            "parentheses, halves": lambda n: "[a]" + halves("(", ")")(n - 3),
            "[a](((( ...": repeat("(", before="[a]("),
            "[a](()() ...": repeat("()", before="[a]("),
            "![a](()() ...": repeat("()", before="![a]("),
            "[aaa ...": repeat("a", before="["),
            "[ ... before one ](aaa ...": halves("[", "a", between="]("),
            "![ ... before one ](aaa ...": halves("![", "a", between="]("),
            "[a][bbb ...": repeat("b", before="[a]["),
            "[a](bbb ... per link": repeat("[a](b(c)"),
        },
    )
    | named(
        ("<!--", "<!-- -", "<a ", "<a", "<", "</a ", "<a/", "<a-", "<http:", "<http://a ", "<!-", "<a\n"),
        **{
            "<aaa ...": repeat("a", before="<"),
            "<a followed by spaces": repeat(" ", before="<a"),
            "<a = = ...": repeat("<a ="),
            "<!-- -- ...": repeat("-", before="<!--"),
            "<http:aaa ...": repeat("a", before="<http:"),
            "angles, halves": halves("<", ">"),
            "comments, halves": halves("<!--", "-->"),
        },
    )
    | named(
        (
            "*a ",
            "**a ",
            "***a ",
            "*a* ",
            "* a",
            "a* ",
            "*",
            "_a ",
            "__a ",
            "___a ",
            "_a_ ",
            "a_",
            "_",
            "*_",
            "*a_b~~",
        ),
        **{
            "~~a ": repeat("~~a "),
            "~~": repeat("~~"),
            "~": repeat("~"),
            "~~a ~ ...": repeat("a ~", before="~~"),
            "a~~ ": repeat("a~~ "),
            "asterisk runs of all lengths": every_run("*", "a ", longest=3),
            "underscore runs of all lengths": every_run("_", "a ", longest=3),
            "asterisk runs, ever longer": every_run("*", "a "),
            "openers, then closers": halves("*a ", "b* "),
            "triple openers, then single closers": halves("***a ", "b* "),
            "escaped closers": repeat("\\*", before="*a "),
            "closers after white space": repeat(" *", before="*a"),
            "underscores inside words": repeat("a_b", before=" _"),
            "word closers": repeat("é_é ", before="_"),
        },
    )
    | named(
        ("\\", "\\[", "\\\\*a ", "[*_~~<`\\", "![*_~~<!--`\\", "&amp;", "\n", " a"),
        **{
            "backticks": repeat("`"),
            "`a ": repeat("`a "),
            "``a ` ": repeat("``a ` "),
            "backtick runs of all lengths": every_run("`", "a"),
            "backtick runs up to 40": every_run("`", "a", longest=40),
            "escaped backticks": repeat("\\`"),
            "spans and markup in turn": repeat("`a` *b "),
            "spans and openers in turn": repeat("`a` [<!--"),
        },
    )
)

# Each shape holds "](" or "]]": a run without them is not searched at all.
LINKS = {
    "many links": repeat("[a](b.md) "),
    "many links on lines": repeat("[a](b.md#c)\n"),
    "many wiki links": repeat("[[Page#a|b]] "),
    "[a](": repeat("[a]("),
    "[a]( and spaces, x y": repeat(" ", before="[a](", after="x y"),
    "[a](spaces, over and over": repeat("[a](" + " " * 50),
    "[a](spaces, each line": repeat("[a](          x y\n"),
    "[\\]": repeat("[\\]", after="]("),
    "[\\] before a link": repeat("[\\]", after="](b.md)"),
    "[\\], then a tail": halves("[\\]", "a", after="]("),
    "\\[": repeat("\\[", after="]("),
    '[a](x "': repeat('[a](x "'),
    "[a](x '": repeat("[a](x '"),
    "[a](x (": repeat("[a](x ("),
    '[a](x " and text': repeat("t", before='[a](x "', after='" z'),
    '[a](x "b" ': repeat('[a](x "b" '),
    "[a](<": repeat("[a](<"),
    "[a](<b ...": repeat("b", before="[a](<"),
    "[a](b(c": repeat("[a](b(c"),
    "[a](b(c)(c) ...": repeat("(c)", before="[a](b"),
    "[a](bbb ...": repeat("b", before="[a]("),
    "[": repeat("[", after="]("),
    "[[": repeat("[[", after="]]"),
    "[[a": repeat("[[a", after="]]("),
    "[[a#": repeat("[[a#", after="]("),
    "[[a|": repeat("[[a|", after="]("),
    "[[a#b ...": repeat("b", before="[[a#", after="]("),
    "[[]": repeat("[[]", after="]("),
    "[a [b] ": repeat("[a [b] ", after="]("),
    "[a] in one opening": repeat("[a]", before="[", after="]("),
    "brackets, halves": halves("[", "]", after="]("),
    "pairs, halves": halves("[[", "]]", after="]("),
    "](": repeat("]("),
    "![a](b.md)": repeat("![a](b.md)"),
    "[![a](b)](c) ": repeat("[![a](b)](c) "),
    "newlines": repeat("\n", before="[a", after="](b.md)"),
    "links in spans": repeat("`[a](b.md)` "),
    "Chinese links": repeat("[今日](世界.md) "),
    "prose with one link": repeat(PROSE, after="[a](b.md)"),
    "percent sequences": repeat("%41%ff", before="[a](", after=")"),
}

# Openers that are searched for one byte. The C library finds one byte so fast that repeated searches only show in very
# long texts.
OPENERS = named(("[", "![", "[[", "`a", "<"))

CODE_SPANS = {
    "backtick runs of all lengths": every_run("`", "a", after=" [a](b.md)"),
    "backtick runs of all lengths, twice": lambda n: every_run("`", "a")(n // 2) * 2 + " [a](b.md)",
    "backtick runs, shrinking": lambda n: every_run("`", "a")(n)[::-1] + " [a](b.md)",
    "backtick runs up to 40": every_run("`", "a", longest=40, after=" [a](b.md)"),
    "escaped runs": repeat("\\``a", after=" [a](b.md)"),
    "one backtick, then pairs": repeat(" `` ", before="`", after=" [a](b.md)"),
    "one endless run": repeat("`", after=" [a](b.md)"),
    "many spans": repeat("`a` ", after=" [a](b.md)"),
    "wide characters in spans": repeat("`今日` ", after=" [a](b.md)"),
}

TOML = {
    "title lines": repeat('title = "A title"\n'),
    "title with escapes": repeat("\\u0041", before='title = "', after='"'),
    "title with backslashes": repeat("\\", before='title = "', after='"'),
    "title that does not end": repeat("a", before='title = "'),
    "title of quotes": repeat("'", before="title = "),
    "spaces before the equals sign": repeat(" ", before="title", after='= "a"'),
    "spaces after the value": repeat(" ", before='title = "a"', after="x"),
    "spaces only": repeat(" "),
    "newlines only": repeat("\n"),
    "tables": repeat("[a]\n"),
    "an endless table": repeat("[", before="a = 1\n"),
    "other keys": repeat("key = 'value'\n"),
}

CLOSING_SEQUENCES = {
    "number signs": repeat("#"),
    "number signs, then text": repeat("#", after="b"),
    "number signs and spaces in turn": repeat("# ", before="a", after="b"),
    "spaces, then text": repeat(" ", before="a", after="b"),
    "number signs, then spaces, then text": lambda n: "a " + halves("#", " ")(n - 3) + "b",
    "spaces, then number signs, then text": lambda n: "a" + halves(" ", "#")(n - 2) + "b",
    "tabs and number signs": repeat("\t#\t", after="b"),
    "closing sequences before newlines": repeat(" #\n", before="a"),
}
