"""Linear time: no input takes seconds, at sizes where a quadratic reader takes half a minute."""

import signal
import subprocess
import sys

import pytest
import shapes_in_time


@pytest.mark.long
@pytest.mark.skipif(not hasattr(signal, "setitimer"), reason="needs timers")
@pytest.mark.parametrize("table", shapes_in_time.TABLES)
def test_no_shape_takes_long(table):
    run = subprocess.run([sys.executable, shapes_in_time.__file__, table], capture_output=True, text=True)
    assert run.returncode == 0, f"{run.stdout.splitlines()[-1:]} {run.returncode} {run.stderr[-2000:]}"
