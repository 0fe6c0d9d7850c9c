"""The last byte of memory: a process that has no memory left gets MemoryError and goes on."""

import os
import subprocess
import sys
from pathlib import Path

import pytest

# The process has not thrown a C++ exception before. Small objects use up the memory that it has left.
PROGRAM = """
import resource
import sys
from nodes import Node
from quarnel.engines import markdown

root = Node("document")
root.children = range(min(10**12, sys.maxsize))
used = int(open("/proc/self/statm").read().split()[0]) * resource.getpagesize()
resource.setrlimit(resource.RLIMIT_AS, (used + 2**26, used + 2**26))
try:
    bytearray(2**27)
except MemoryError:
    pass
else:
    raise SystemExit("no limit")
try:
    markdown.extract_sections(root, "", "P", 1, unique_fqn=str, cap_docstring=str)
except MemoryError:
    pass
try:
    markdown.extract_links(root, [])
except MemoryError:
    print("still here")
"""


@pytest.mark.skipif(sys.platform != "linux", reason="needs a limit on the address space")
@pytest.mark.skipif("asan" in os.environ.get("LD_PRELOAD", ""), reason="the sanitizer reserves address space")
def test_a_process_without_memory_left_gets_a_memory_error():
    paths = os.pathsep.join([str(Path(__file__).parent), os.environ.get("PYTHONPATH", "")])
    run = subprocess.run([sys.executable, "-c", PROGRAM], env=os.environ | {"PYTHONPATH": paths},
                         capture_output=True, text=True)  # fmt: skip
    if run.stderr.strip() == "no limit":
        pytest.skip("a limit on the address space has no effect, as under an emulator")
    assert (run.returncode, run.stdout) == (0, "still here\n"), run.stderr
