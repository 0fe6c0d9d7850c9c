"""The benchmark: real documents, worst cases, memory and import. Each ratio is between two times of the same run."""

from __future__ import annotations

import argparse
import os
import platform
import shutil
import subprocess
from pathlib import Path

import documents
import import_cost
import memory
import timing
import worst_cases

_TABLES = ("documents", "worst-cases", "memory", "import")


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("folders", nargs="*", type=Path, help="folders of documents, a row each")
    parser.add_argument("--corpus", type=Path, help="a folder of such folders")
    parser.add_argument(
        "--rounds", type=int, default=15, help="paired rounds over the documents (default: 15)"
    )
    parser.add_argument(
        "--quick", action="store_true", help="fewer documents, rounds and sizes: under a minute"
    )
    parser.add_argument("--only", choices=_TABLES, action="append", help="this table only (may be repeated)")
    options = parser.parse_args()
    wanted = options.only or _TABLES
    print(_machine())
    missed: list[str] = []
    if "documents" in wanted:
        missed += _documents(options)
    if "worst-cases" in wanted:
        _heading("Worst cases")
        missed += worst_cases.report(quick=options.quick)
    if "memory" in wanted:
        _heading("Memory")
        missed += memory.report(quick=options.quick)
    if "import" in wanted:
        _heading("Import")
        import_cost.report(rounds=5 if options.quick else 15)
    _heading("Missed targets")
    print("\n".join(missed) if missed else "none")


def _documents(options: argparse.Namespace) -> list[str]:
    _heading("Documents")
    folders = options.folders + (documents.folders_of(options.corpus) if options.corpus else [])
    if not folders:
        print("No documents to read: name folders of Markdown with DOCS=path.")
        return []
    rounds = min(options.rounds, 3) if options.quick else options.rounds
    return documents.report(folders, rounds=rounds, limit=60 if options.quick else None)


def _heading(title: str) -> None:
    print(f"\n== {title}\n", flush=True)


def _machine() -> str:
    """A description of the machine, the interpreter and the compiler."""
    cpu = platform.processor() or platform.machine()
    cpuinfo = Path("/proc/cpuinfo")
    if cpuinfo.exists():
        models = [
            line.partition(":")[2].strip()
            for line in cpuinfo.read_text().splitlines()
            if "model name" in line
        ]
        cpu = models[0] if models else cpu
    compiler = shutil.which(os.environ.get("CXX", "c++"))
    version = (
        subprocess.run([compiler, "--version"], capture_output=True, text=True).stdout if compiler else ""
    )
    load = ", ".join(f"{load:.1f}" for load in os.getloadavg())
    return (
        f"{cpu}, {os.cpu_count()} cores in sight, load {load}; {platform.system()} {platform.release()}; "
        f"{platform.python_implementation()} {platform.python_version()}; {version.partition(chr(10))[0] or 'no compiler'}.\n"
        f"Clock: processor time of the thread, {timing.clock.__name__}()."
    )


if __name__ == "__main__":
    main()
