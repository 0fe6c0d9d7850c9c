"""The examples do what they say. The one for Dask does so even when a worker is killed at work."""

import importlib
import json
import os
import pathlib
import signal
import sqlite3
import subprocess
import sys
import threading
import time

import pytest

EXAMPLES = pathlib.Path(__file__).parents[1] / "examples"
FILES = {
    "a.md": b"\xef\xbb\xbf# A\r\n\r\nFirst.\r\n\r\n## B\r\n[b](sub/b.md#x)",
    "sub/b.md": b"---\ntitle: T\n---\n[[A]]\n\n# C\n\n# C\n",
}


@pytest.fixture
def folder(tmp_path):
    for name, data in FILES.items():
        (tmp_path / "docs" / name).parent.mkdir(parents=True, exist_ok=True)
        (tmp_path / "docs" / name).write_bytes(data)
    return tmp_path / "docs"


def test_the_folder_is_indexed_into_sqlite(folder, tmp_path):
    database = tmp_path / "index.db"
    subprocess.run([sys.executable, EXAMPLES / "index_sqlite.py", folder, database], check=True)
    rows = sqlite3.connect(database).execute
    assert list(rows("SELECT path, fqn, start_line, end_line, docstring FROM files JOIN sections ON id = file_id")) == [
        ("a.md", "a.A", 1, 6, "First."),
        ("a.md", "a.A.B", 5, 6, "b"),
        ("sub/b.md", "sub/b.C", 6, 6, None),
        ("sub/b.md", "sub/b.C#2", 8, 8, None),
    ]  # fmt: skip
    assert list(rows("SELECT line, path, anchor, source_fqn FROM links")) == [
        (6, "sub/b.md", "x", "a.A.B"),
        (4, "A", None, None),
    ]


def test_the_typed_host_counts_links_by_section(folder):
    command = [sys.executable, EXAMPLES / "typed_host.py", folder / "a.md"]
    shown = subprocess.run(command, capture_output=True, text=True, check=True).stdout
    assert shown == f"{folder}/a.md: 2 sections, 1 links\n     1  a.A.B\n"


@pytest.fixture(scope="module")
def dask_bag():
    pytest.importorskip("distributed", reason="Dask is not installed (requirements/examples.txt)")
    sys.path.insert(0, str(EXAMPLES))
    yield importlib.import_module("dask_bag")
    sys.path.remove(str(EXAMPLES))


@pytest.fixture(scope="module")
def client(dask_bag):
    from distributed import Client, LocalCluster

    settings = {"n_workers": 2, "threads_per_worker": 1, "processes": True, "dashboard_address": None}
    with LocalCluster(**settings) as cluster, Client(cluster) as client:
        yield client


def json_lines(output, kind):
    return [json.loads(line) for file in sorted(output.glob(f"{kind}-*.jsonl")) for line in open(file)]


def test_paths_to_parquet_and_json_lines(dask_bag, client, folder, tmp_path):
    parquet = pytest.importorskip(
        "pyarrow.parquet", reason="pyarrow is not installed (requirements/examples.txt)"
    )
    paths = [str(folder / "a.md"), str(folder / "none.md"), str(folder / "sub/b.md")]
    bag = dask_bag.dask.bag.from_sequence(paths, npartitions=2)
    for as_parquet in (False, True):
        report = dask_bag.index(bag, str(tmp_path / "out"), client, parquet=as_parquet)
        assert report.counts == {"documents": 2, "sections": 4, "links": 2} and report.lost == []
        assert [(name, reason[:17]) for name, reason in report.errors] == [(paths[1], "FileNotFoundError")]
    for kind in ("sections", "links"):
        assert parquet.read_table(
            sorted((tmp_path / "out").glob(f"{kind}-*.parquet"))
        ).to_pylist() == json_lines(tmp_path / "out", kind)


def test_nothing_is_lost_or_doubled_when_a_worker_is_killed(dask_bag, client, tmp_path):
    texts = [(f"{number}.md", f"# T{number}\n\n" + "## S\n\n[x](y.md)\n\n" * 1200) for number in range(48)]
    texts[7] = ("7.md", 7)  # no text at all: an error of its own
    bag = dask_bag.dask.bag.from_sequence(texts, npartitions=24)
    expected = tmp_path / "expected"
    expected.mkdir()
    for number in range(24):
        dask_bag.write_partition(texts[2 * number : 2 * number + 2], number, str(expected), False)

    output, reports = tmp_path / "out", []
    work = threading.Thread(target=lambda: reports.append(dask_bag.index(bag, str(output), client)))
    pids = client.run(os.getpid)
    work.start()
    while len(done := list(output.glob("links-*.jsonl"))) < 2 and work.is_alive():
        time.sleep(0.005)
    os.kill(min(pids.values()), signal.SIGKILL)
    assert len(done) < 24, "the work was over before a worker could be killed"
    work.join(120)

    (report,) = reports
    assert report.lost == [] and [name for name, _ in report.errors] == ["7.md"]
    assert report.counts["documents"] == 47 and min(pids.values()) not in client.run(os.getpid).values()
    for kind in ("sections", "links"):
        assert json_lines(output, kind) == json_lines(expected, kind) != []


def test_a_document_that_kills_its_workers_costs_its_partition_alone(dask_bag, client, tmp_path):
    class Deadly:
        def __iter__(self):  # (name, text) is taken apart in the worker
            os.kill(os.getpid(), signal.SIGKILL)

    items = [(f"{n}.md", f"# T{n}\n") for n in range(12)]
    items[5] = Deadly()
    report = dask_bag.index(dask_bag.dask.bag.from_sequence(items, npartitions=12), str(tmp_path), client)
    assert [(number, "KilledWorker" in reason) for number, reason in report.lost] == [(5, True)]
    assert [row["name"] for row in json_lines(tmp_path, "sections")] == [f"T{n}" for n in range(12) if n != 5]
