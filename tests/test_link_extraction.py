"""Link extraction: names and anchors, repeats, and the section that encloses a link."""

import random
from types import SimpleNamespace

import by_re
import pytest
from nodes import document, inline
from quarnel.engines import markdown


def section(start, end, fqn):
    return SimpleNamespace(start_line=start, end_line=end, fqn=fqn)


def fields(reference):
    return (reference.name, reference.line, reference.kind, reference.qualifier, reference.source_fqn)


def test_a_crowded_line():
    run = " ".join(f"[a]({i % 20}#{i % 3}) [[{i % 20}]]" for i in range(300))
    found = markdown.extract_links(document(inline(run)), ())
    assert len(found) == 80
    assert [fields(reference) for reference in found] == by_re.links(by_re.inline_targets(run, 1), [])


def test_sections_at_lines():
    nested = [section(1, 20, "A"), section(5, 12, "B"), section(30, 40, "C")]
    lines = {0: None, 1: "A", 4: "A", 5: "B", 12: "B", 13: "A", 20: "A", 21: None, 30: "C", 41: None}
    for line, fqn in lines.items():
        assert markdown._section_at(nested, line) == by_re.section_at(nested, line) == fqn
    assert markdown._section_at([section(1, 10**30, "A"), None], 0) is None
    with pytest.raises(AttributeError):
        markdown._section_at([*nested, None], 99)


@pytest.mark.parametrize("seed", range(4))
def test_any_rows_and_any_sections_equal_the_rules(seed):
    # Rows that go back and forth, repeats far apart, and sections in no order at all.
    rng = random.Random(seed)
    for _ in range(300):
        rows = [rng.randint(0, 12) for _ in range(rng.randint(1, 30))]
        if rng.random() < 0.5:
            rows.sort()
        runs = [
            (" ".join(f"[a]({rng.choice('xyz')})" for _ in range(rng.randint(0, 12))), row) for row in rows
        ]
        starts = [rng.randint(0, 14) for _ in range(8)]
        records = [section(start, start + rng.randint(-1, 9), f"s{i}") for i, start in enumerate(starts)]
        if rng.random() < 0.5:
            records.sort(key=lambda record: record.start_line)
        targets = [target for run, row in runs for target in by_re.inline_targets(run, row + 1)]
        found = markdown.extract_links(document(*(inline(run, row) for run, row in runs)), records)
        assert [fields(reference) for reference in found] == by_re.links(targets, records)


def test_section_records_are_read_as_a_plain_scan_would():
    reads = []

    class Record:
        def __init__(self, start, end, fqn):
            self.values = {"start_line": start, "end_line": end, "fqn": fqn}

        def __getattr__(self, name):
            if name == "values":
                raise AttributeError(name)
            reads.append(self.values["fqn"] + "." + name)
            return self.values[name]

    records = [Record(1, 9, "A"), Record(2, 3, "B"), Record(6, 8, "C"), Record(20, 30, "D")]
    markdown.extract_links(
        document(inline("[x](1)", 0), inline("[x](2)", 4), inline("[x](3)\n[x](4)", 6)), records
    )
    # Each field once, and none before a line needs it.
    assert reads == ["A.start_line", "A.end_line", "A.fqn", "B.start_line", "B.end_line", "C.start_line",
                     "C.end_line", "C.fqn", "D.start_line"]  # fmt: skip


def test_a_record_is_fetched_once():
    fetched = []

    class Records:
        def __len__(self):
            return 3

        def __getitem__(self, index):
            fetched.append(index)
            return section(index + 1, 9, f"s{index}")

    assert markdown._section_at(Records(), 2) == "s1"
    assert fetched == [0, 1, 2]
