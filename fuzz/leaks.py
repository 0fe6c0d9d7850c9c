"""Runs pytest with the given arguments and then LeakSanitizer's check; the exit status is 1 when either finds something.

For a process into which AddressSanitizer was preloaded. The check finds memory that nothing points to any more. So it
finds an object whose reference was lost, unless the garbage collector still has that object on its lists.
"""

from __future__ import annotations

import ctypes
import gc
import os
import re
import sys
import tempfile

import pytest
from quarnel.engines import markdown


def leaks() -> list[str]:
    """The reports of lost memory, each with the stack of its allocation as far as that could be unwound."""
    check = ctypes.CDLL(None).__lsan_do_recoverable_leak_check
    gc.collect()
    with tempfile.TemporaryFile() as report:
        saved = os.dup(2)
        os.dup2(report.fileno(), 2)
        check()
        os.dup2(saved, 2)
        report.seek(0)
        text = report.read().decode("utf-8", "replace")
    if "LeakSanitizer has encountered a fatal error" in text:
        print("LeakSanitizer does not work here (it must be allowed to trace the process):", text[:500])
        return []
    reports = re.split(r"\n(?=(?:Direct|Indirect) leak)", text)[1:]
    print(f"LeakSanitizer: {len(reports)} places lost memory")
    return reports


def main() -> int:
    print("on", markdown.__file__, flush=True)
    status = int(pytest.main(sys.argv[1:]))
    found = leaks()
    print("\n".join(found), flush=True)
    return status or bool(found)


if __name__ == "__main__":
    status = main()
    sys.stdout.flush()
    os._exit(status)  # without finalising the interpreter, which leaves much memory allocated
