"""Front matter: the reader, YAML read natively and by PyYAML, and the title section."""

import logging
import random
import threading

import pytest
import yaml
import yaml_bodies
from nodes import Node, document, heading, paragraph, sections
from quarnel.engines import markdown
from sweep_yaml import difference, is_read_natively

FrontMatter, Heading = markdown._FrontMatter, markdown._Heading
ABSENT = dict.fromkeys(FrontMatter._fields)


def fields(title=None, description=None):
    """The front matter with these fields and no others."""
    return FrontMatter(**ABSENT | {"title": title, "description": description})


NOTHING = fields()


def read(body, kind="minus_metadata", prefix="P"):
    text = body if isinstance(body, bytes) else f"---\n{body}\n---\n".encode("utf-8", "surrogatepass")
    return markdown._front_matter(Node(kind, text=text), prefix)


@pytest.fixture
def records(monkeypatch):
    """The debug records that the module's logger has made so far."""
    made = []
    monkeypatch.setattr(markdown.logger, "level", logging.DEBUG)
    monkeypatch.setattr(markdown.logger, "handle", made.append)
    markdown.logger.manager._clear_cache()
    yield made
    markdown.logger.manager._clear_cache()


TITLES = [
    ("Guide", "Guide"), ("yes", None), ("OFF", None), ("2024", "2024"), ("1.50", "1.5"), ("2024-05-01", None),
    ("[a, b]", None), ("~", None), ("", None), ("'   '", None), ("'**Install** guide'", "Install guide"),
    ("0x1A", "26"), ("010", "8"), ("1_000", "1000"), ("1:30", "90"), ("1e3", "1e3"), (".inf", "inf"), ("-.INF", "-inf"),
    (".nan", "nan"), ("'2024'", "2024"), ("-0.0", "-0.0"), ("0.00001", "1e-05"), ("1.0e-5", "1e-05"),
    ("123456789012345678.0", "1.2345678901234568e+17"), ("9999999999999998.0", "9999999999999998.0"), ("1.0e+16", "1e+16"),
    ("2.0", "2.0"), ("1234567890123456789012345", "1234567890123456789012345"), ("-9223372036854775809", "-9223372036854775809"),
    ("a\n  b\n\n  c", "a b c"), ("|\n  a\n  b", "a b"), ('"\\u00e9\\x41"', "éA"), ("{a: b}", None), ("a: b", None),
    ("!!str 5", "5"), ("&a x", "x"), ("A\ntitle: B", "B"), ("A\nTitle: B", "A"), ("!!binary aGk=", None),
]  # fmt: skip


@pytest.mark.parametrize(("value", "title"), TITLES, ids=[value[:20] or "empty" for value, _ in TITLES])
def test_titles(value, title):
    assert read(f"title: {value}").title == title
    assert difference(f"title: {value}") is None


BODIES = [
    (b"---\ntitle: Guide\n---\n", ("Guide", None)),
    (b"---\r\ntitle: Guide\n---\n\n\n", ("Guide", None)),
    (b"---\n---\n", (None, None)),
    (b"---", (None, None)),
    (b"", (None, None)),
    (b"---\ndescription: a\n  b\n---", (None, "a b")),
    (b"---\ntitle: \xff\n---", ("\ufffd", None)),
    (b"---\ntitle = 'x'\n---", (None, None)),
]


@pytest.mark.parametrize(("text", "expected"), BODIES)
def test_bodies(text, expected):
    assert read(text) == fields(*expected)
    # A node of any other type is read as TOML, even when its body is YAML.
    toml = read(text, "plus_metadata")
    assert toml == (fields("x") if b"=" in text else NOTHING)


def test_length_is_counted_in_characters(records):
    filler = "é" * (65536 - len("title: a\n#"))
    assert read(f"title: a\n#{filler}").title == "a" and not records
    assert read(f"title: a\n#{filler}é", prefix="docs.x") == NOTHING
    [record] = records
    assert (record.msg, record.args) == (
        "The front matter of %s is too long to read (%d chars)",
        ("docs.x", 65537),
    )


def chain(links, link):
    return "a0: &a0 {k: v}\n" + "".join(f"a{i}: &a{i} {link.format(i - 1)}\n" for i in range(1, links))


ERRORS = [
    "title: {{ name }}",
    "a0: &a0 [x]\n" + "".join(f"a{i}: &a{i} [*a{i - 1}]\n" for i in range(1, 1500)),
    "title: [unclosed", "a: b\n...\nc: d", "title: !unknown x", "title: 2024-13-45", "a: !!bool x", "a: !!timestamp x",
    "title: " + "9" * 5000, "title: \x07", "a: *b", "\t- a", "[" * 30_000, "{" * 30_000, "- " * 30_000, "? " * 30_000,
    "[a: " * 15_000, "- ? " * 15_000, "\n".join(" " * i + "a:" for i in range(300)),
    "x:\n - &a0 {k: v}\n" + "".join(f" - &a{i} {{<<: *a{i - 1}}}\n" for i in range(1, 2000)) + "<<: *a1999",
    "a0: &a0 {k: v}\n" + "".join(f"a{i}: &a{i} {{<<: [*a{i - 1}, *a{i - 1}]}}\n" for i in range(1, 30)),
    "a0: &a0 {k: v}\n" + "".join(f"a{i}: &a{i} {{!!merge m: [*a{i - 1}, *a{i - 1}]}}\n" for i in range(1, 30)),
    "a0: &a0 {k: v}\n" + "".join(f"s{i}: &s{i} [*a{i - 1}, *a{i - 1}]\na{i}: &a{i} {{<<: *s{i}}}\n" for i in range(1, 30)),
    "m: {&m <<: {}}\na0: &a0 {k: v}\n" + "".join(f"a{i}: &a{i} {{*m : [*a{i - 1}, *a{i - 1}]}}\n" for i in range(1, 30)),
    chain(17, '{{! "<<\\n": [*a{0}, *a{0}]}}'),
    "<<: &m !!merge {a0: &a0 {k: v}" + "".join(f", a{i}: &a{i} {{*m : [*a{i - 1}, *a{i - 1}]}}" for i in range(1, 17)) + "}",
    "t: &a {k: v" + ", <<: *a" * 40 + "}", "t: &s [" + "{a: b}, " * 900 + "{}]\nu: [" + "{<<: *s}, " * 900 + "]",
    "a: " + "[" * 48 + "]" * 48, chain(48, "[*a{0}]"), chain(48, "{{<<: *a{0}, x: y}}"), chain(17, "{{<<: [*a{0}, *a{0}]}}"),
    "t: &s [" + "{a: b}, " * 255 + "{}]\nu: [" + "{<<: *s}, " * 257 + "]", "a: &a {" + "<<: [*a], " * 5 + "}",
    "a: &a {<<: *a, b: " + "[" * 23 + "]" * 23 + "}",
    "t: &a !!str {=: *a}", "a0: &a0 {=: x}\n" + "".join(f"a{i}: &a{i} {{=: *a{i - 1}}}\n" for i in range(1, 900)) + "d: !!str *a899",
]  # fmt: skip


@pytest.mark.parametrize("body", ERRORS, ids=[body[:14] for body in ERRORS])
def test_what_the_loader_cannot_read_is_a_debug_record(body, records):
    assert read(f"description: d\n{body}", prefix="docs.x") == NOTHING
    [record] = records
    assert (record.levelno, record.msg, record.args[0]) == (
        logging.DEBUG, "The front matter of %s is not YAML: %s", "docs.x",
    )  # fmt: skip
    assert record.getMessage().startswith("The front matter of docs.x is not YAML: ")


def test_a_template_for_a_title_is_an_error_that_only_the_loader_words():
    # Without debug records, the loader is not called. With them it is called, as for every error above.
    body = "title: {{ name }}\ndescription: d"
    assert is_read_natively(body) and read(body) == NOTHING


@pytest.mark.parametrize(
    "body", ["", "# c", "text", "- a\n- b", "5", "? a", "{}", "a: b", "<<: {title: m}\nb: c"]
)
def test_what_is_no_mapping_or_lacks_fields_makes_no_record(body, records):
    assert difference(body) is None and not records


# Bodies just within the limits: on nesting, on nesting through aliases, and on entries that merge keys copy.
ALLOWED = [
    "a: " + "[" * 47 + "]" * 47, "a: {b: " + "[" * 46 + "]" * 46 + "}", "\n".join(" " * i + "a:" for i in range(48)),
    chain(47, "[*a{0}]"), chain(47, "{{<<: *a{0}, x: y}}"), chain(16, "{{<<: [*a{0}, *a{0}]}}"),
    "t: &s [" + "{a: b}, " * 255 + "{}]\nu: [" + "{<<: *s}, " * 256 + "]",
    "a: &a {<<: [*a]}", "a: &a {<<: *a, k: v, b: {<<: *a}, c: {<<: *a, <<: *a}}", "a: &a {<<: *a, b: " + "[" * 22 + "]" * 22 + "}",
    "a: &a {=: *a}", "a: &a !!map {k: *a}", "a: &a [*a]", "a: &a {k: *a, l: [*a]}", "a: &a {'<<': *a}", "a: &a {? *a : b}", "a: &a !!str {=: x}",
]  # fmt: skip


@pytest.mark.long
@pytest.mark.parametrize("body", ALLOWED, ids=[body[:14] for body in ALLOWED])
def test_what_stays_within_the_limits_is_loaded(body, records):
    assert difference(f"title: t\n{body}") is None
    assert "a: &a {?" in body or (not records and read(f"title: t\n{body}").title == "t")


# The constructs that the engine reads without PyYAML. Most front matter of real documents has no others.
NATIVE = [
    "title: it’s 一", "a:\n" + "- b: c\n  d:\n    e: f\n" * 20 + "title: g",
    "# c\n\ntitle: a:b #c", "title : a#b  # c\n'b': \"c\"#d\n-e: http://f/?g=h#i", "title: a\ntitle:",
    "'title': 'it''s'\n\"description\": \"\\\"\\\\\\/\\n\\t\\x41\\u00e9\\U0010FFFF\"", "title: 1.5\ndescription: -12", "title: +0\na: -.x\nb: ../c",
    "a: 0001-01-01\nb: 9999-12-31 23:59:59\nc: 2023-02-28T00:00:00Z\nd: 2023-04-30T01:02:03+23:59\ntitle: 2023-04-30 01:02:03 -0700",
    "title: 1.2.3\ndescription: 3 ways", "title: true\ndescription: ~", "title: " + "7" * 640, "a" * 1024 + ": b\ntitle: c",
    "a:\n- b\n-\n  - c: d\n    e: [f, 'g',  # h\n  i,]\n  -\n- - j\nk:\n  l:\n    m\n\n  # n\ntitle: o", "a:\n" + "- " * 15 + "b",
    "title: |  # c\n\n  a\n   b\n\n  c\n\ndescription: >-\n  d\n  e\n\n\n  f\n# g", "title: >\n  a", "title: |\n  a\n", "title: |-\n  a\n\n", "title:\n  \"a\"",
]  # fmt: skip


@pytest.mark.parametrize("body", NATIVE, ids=[body[:14] for body in NATIVE])
def test_what_documents_hold_is_read_without_the_loader(body):
    assert is_read_natively(body)
    assert difference(body) is None


# Values that are nearly native. The loader raises for them, or gives them another meaning.
DATES = [
    "2023-02-29",
    "2024-02-29",
    "2023-04-31",
    "2023-00-01",
    "2023-13-01",
    "2023-01-00",
    "0000-01-01",
    "2023-1-1",
]
TIMES = [
    "24:00:00",
    "23:60:00",
    "23:59:60",
    "1:59:59",
    "00:00:00.5",
    "00:00:00+24:00",
    "00:00:00-23:60",
    "00:00:00 -00:00",
]
OTHERS = [
    "<<", "=", "0x_", "08", "+010", "0b2", "1:60", "1_0", "1e+3", "1.e5", "1.5e+3", ".5", "+.inf", ".nan", "-.NaN", "7" * 641,
    '"\\ud800"', '"\\U00110000"', '"\\x4"', '"\\q"', '"a\n  b"', "a\n  b", "a: b", "a:", "- a", "? a", "[a: b]", "[a b, [c]]", "[a",
    ">\n  a\n   b\n  c", "|\n   \n  a", "|\n  a\n   \n  b", "|2\n   a", "|+\n  a\n\n", "|\na", "|\n  a\n b", "|x", "a\n--- b: c",
    "a\ufffe", "a\uffff", "a\u2028b", "a\u2029b", '"\\udfff"', "|", ">-", "'a' b", "{a: b}",
]  # fmt: skip


@pytest.mark.parametrize("value", DATES + [f"2023-01-01T{time}" for time in TIMES] + OTHERS)
def test_what_is_nearly_native_is_read_as_the_loader_reads_it(value):
    for body in (
        f"title: {value}",
        f"a: {value}\ntitle: b",
        f"a:\n- {value}\ntitle: b",
        f"{value}: a\ntitle: b",
    ):
        assert difference(body) is None
    assert difference("a" * 1025 + f": {value}") is None


@pytest.mark.long
def test_depth_is_refused_under_any_limit_on_a_small_stack():
    # In a process of its own, because a stack overflow ends the process.
    import subprocess
    import sys

    script = """
import sys, threading
from types import SimpleNamespace
from quarnel.engines import markdown
def run():
    sys.setrecursionlimit(1_000_000)
    bodies = [unit * (60_000 // len(unit)) for unit in ("[", "{", "- ", "? ", "{a: ", "[a: ", "- - ? ", "- [{a: ", "? - ")]
    bodies += ["t: &a {k: v" + ", <<: *a" * 7000 + "}", "t: &a !!str {=: *a}", "&a {? *a : b}", "&a [*a]", "? &a [*a]\\n: b"]
    chains = ("{{!!merge m: *a{0}}}", "{{=: *a{0}}}", "{{<<: [*a{0}]}}")
    bodies += ["x:\\n - &a0 {k: v}\\n" + "".join(f" - &a{i + 1} {chain.format(i)}\\n" for i in range(2000)) + "y: !!str *a2000\\n<<: *a2000"
               for chain in chains]
    for body in bodies:
        node = SimpleNamespace(type="minus_metadata", text=f"---\\n{body}\\n---\\n".encode())
        assert set(markdown._front_matter(node, "P")) == {None}
    print("done")
threading.stack_size(256 * 1024)
thread = threading.Thread(target=run)
thread.start()
thread.join()
"""
    done = subprocess.run([sys.executable, "-c", script], capture_output=True, text=True, check=False)
    assert (done.returncode, done.stdout) == (0, "done\n"), done.stderr


@pytest.mark.parametrize("error", [MemoryError, KeyboardInterrupt, SystemExit])
def test_what_is_not_the_documents_doing_goes_through(error, monkeypatch):
    def load(body):
        raise error

    monkeypatch.setattr(yaml, "safe_load", load)
    with pytest.raises(error):
        read("title: a")


def test_another_loader_gets_every_body(monkeypatch, records):
    bodies = []
    monkeypatch.setattr(
        yaml, "safe_load", lambda body: bodies.append(body) or {"title": True, "description": 10**30}
    )
    assert read("title: a") == fields(description=str(10**30))
    assert read("[" * 100) == fields(description=str(10**30))
    assert markdown._yaml_fields("x", "P") == ABSENT | {"title": True, "description": 10**30}
    assert bodies == ["title: a", "[" * 100, "x"]
    monkeypatch.setattr(yaml, "safe_load", lambda body: 1 / 0)
    assert read("title: a") == NOTHING and isinstance(records[0].args[1], ZeroDivisionError)


def test_integers_of_any_length():
    number = (1 << 80_000) + 12345
    for body in (f"title: {hex(number)}", f"title: !!int {hex(number)}", f"title: -{hex(number)}"):
        title = read(body).title
        # The interpreter limits the digits of an int that becomes text, so the digits are compared in pieces.
        sign = -1 if title.startswith("-") else 1
        digits = title.lstrip("-")
        assert len(title) == markdown.MAX_INLINE_LENGTH and sign == (-1 if "-" in body else 1)
        shifted = abs(number) // 10 ** (24083 - len(digits))
        assert [int(digits[i : i + 999]) for i in range(0, 3996, 999)] == [
            shifted // 10 ** (len(digits) - i - 999) % 10**999 for i in range(0, 3996, 999)
        ]


FIELDS = [("a", "a"), ("", None), ("**", "**"), ("<b>", None), (True, None), (0, "0"), (-5, "-5"), (0.1, "0.1"), (1e16, "1e+16"),
          (float("-inf"), "-inf"), (None, None), ([1], None), (b"x", None), ("\ud800", "\ud800")]  # fmt: skip


@pytest.mark.parametrize(("value", "text"), FIELDS)
def test_field(value, text):
    assert markdown._field({"k": value}, "k") == text
    assert markdown._field({"k": value}, "other") is None


@pytest.mark.long
@pytest.mark.parametrize("seed", range(4))
def test_yaml_is_read_as_the_loader_reads_it(seed, records):
    rng = random.Random(seed)
    natives = 0
    for _ in range(1500):
        body = (
            yaml_bodies.generated(rng)
            if rng.random() < 0.5
            else yaml_bodies.mutated(rng, rng.choice(yaml_bodies.SAMPLES))
        )
        assert difference(body) is None
        natives += is_read_natively(body)
    assert natives > 150  # otherwise little was compared


@pytest.mark.long
@pytest.mark.parametrize(
    "letters", [yaml_bodies.SYNTAX_LETTERS, yaml_bodies.NUMBER_LETTERS, yaml_bodies.WORD_LETTERS]
)
def test_short_yaml_is_read_as_the_loader_reads_it(letters):
    for text in yaml_bodies.short_strings(letters, 2):
        for body in (
            text,
            f"title: {text}",
            f"title: a\n{text}",
            f"a: [{text}]\ntitle: b",
            f"title: 1{text}1",
        ):
            assert difference(body) is None


H1, H2 = Heading("A", 1, 4, "below"), Heading("B", 2, 6, None)
TITLES_APPLIED = [
    ([H2], ("T", "D"), None, [Heading("T", 1, 0, "D"), H2]),
    ([H2], ("T", None), paragraph("first **p**"), [Heading("T", 1, 0, "first p"), H2]),
    ([H2], ("T", None), Node("list"), [Heading("T", 1, 0, None), H2]),
    ([], ("T", None), None, [Heading("T", 1, 0, None)]),
    ([H2], (None, "D"), None, [H2]),
    ([H2, H1, H1], ("T", "D"), None, [H2, Heading("A", 1, 4, "D"), H1]),
    ([H1], ("T", None), paragraph("x"), [H1]),
]


@pytest.mark.parametrize(("headings", "front", "following", "expected"), TITLES_APPLIED)
def test_title_section(headings, front, following, expected):
    given = list(headings)
    result = markdown._with_front_matter(given, fields(*front), following)
    assert result == expected
    added = len(expected) > len(headings)
    assert (result is not given) == added and (given == list(headings)) == (added or expected == headings)

    body = "".join(f"{key}: {text}\n" for key, text in fields(*front)._asdict().items() if text)
    blocks = [Node("minus_metadata", text=f"---\n{body}---\n".encode())] + ([following] if following else [])
    for name, level, row, summary in headings:
        blocks += [heading(level, name, row)] + ([paragraph(summary, row + 1)] if summary else [])
    found = sections("\n" * 9, root=document(*blocks))
    assert [(s.name, s.docstring) for s in found] == [(h.name, h.summary) for h in expected]


def test_front_matter_in_the_outline():
    front = Node("minus_metadata", text=b"---\ntitle: T\n---\n")
    tree = document(front, paragraph("Intro.", 3), heading(2, "B", 5))
    found = sections("---\ntitle: T\n---\nIntro.\n\n## B\n\n", root=tree)
    assert [(s.name, s.start_line, s.end_line, s.signature, s.docstring) for s in found] == [
        ("T", 1, 6, "T", "Intro."), ("B", 6, 6, "T > B", None),
    ]  # fmt: skip
    late = sections("a\n---\ntitle: T\n---\n", root=document(paragraph("a"), front))
    assert late == []


def test_threads_share_no_state():
    failures = []

    def work(number):
        for i in range(200):
            if read(f"title: t{number} {i}").title != f"t{number} {i}":
                failures.append((number, i))

    threads = [threading.Thread(target=work, args=(number,)) for number in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not failures
